// Entries of a dictionary as the dict commands show them, as text and as JSON, and the walk
// over every key.
#pragma once

#include <string>
#include <type_traits>
#include <vector>

#include "speechcommon.h"
#include "tools/output.h"
#include "tools/text.h"

namespace cli {

// "broad-narrows", "userwords", "orthographic" (the names --content takes), else "content N".
std::string ContentName(uint32_t content);
// "szz", "binary", "sz", "wsz", else "representation N".
std::string RepresentationName(uint32_t representation);
// The Model text: the block up to its NUL, at most 128 bytes.
std::string ModelText(const char *model);

// The data in the form its kind calls for: //a//b for a broad-narrows list, the quoted text
// of an orthographic entry, "bytes 0A 1B" otherwise.
std::string DataText(const EDCT_ENTRY &entry);
// " language=en engine=e model=m", for the attributes present.
std::string AttributesText(const EDCT_ENTRY &entry);
// "orthographic (sz) language=en": what the entries of one section share.
std::string SectionText(const EDCT_ENTRY &entry);

// The text of an orthographic entry (8-bit or 16-bit), up to its terminator.
std::string OrthographicText(const EDCT_ENTRY &entry);
// The pieces of a broad-narrows list, up to its closing NUL.
std::vector<std::string> BroadNarrows(const EDCT_ENTRY &entry);

// {"content", "representation", "language", "model", "engine", "data"}: data is a string for
// orthographic entries, an array of strings for broad-narrows lists, hex pairs otherwise.
Json EntryJson(const EDCT_ENTRY &entry);
// The same without the data: what identifies a section.
Json SectionJson(const EDCT_ENTRY &entry);

// Walks every key in iterator order; `visit` gets the key (UTF-8), its entries and whether a
// section begins there. Returns the first failure of the iterator.
template <class Visit>
VQRESULT Walk(SafeHandle dictionary, Visit visit);

}  // namespace cli

template <class Visit>
VQRESULT cli::Walk(SafeHandle dictionary, Visit visit) {
  // Closed however the walk ends, an exception of `visit` included: an open iterator would keep
  // the dictionary from closing.
  struct Iterator {
    SafeHandle handle{};
    VQRESULT Close() {
      const VQRESULT closed = handle.pointer ? edct_DctItClose(handle) : 0;
      handle = SafeHandle{};
      return closed;
    }
    ~Iterator() { Close(); }
  } iterator;
  VQRESULT result = edct_DctItOpen(g_vqNullHandle, dictionary, &iterator.handle);
  if (result) return result;
  uint32_t ended = 0;
  while (!(result = edct_DctItHasEnded(iterator.handle, &ended)) && !ended) {
    const char16_t *key = nullptr;
    const EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0, newSection = 0;
    result = edct_DctItCurrent(iterator.handle, &key, &entries, &count, &newSection);
    if (result) break;
    if constexpr (std::is_invocable_v<Visit, const char16_t *, const EDCT_ENTRY *, uint32_t, bool>)
      visit(key, entries, count, newSection != 0);
    else
      visit(Utf8(key), entries, count, newSection != 0);
    result = edct_DctItIncrement(iterator.handle);
    if (result) break;
  }
  const VQRESULT closed = iterator.Close();
  return result ? result : closed;
}
