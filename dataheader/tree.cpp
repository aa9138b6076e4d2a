#include "dataheader/tree.h"

#include "dataheader/wide_text.h"
#include "foundation/alloc.h"
#include "sc_hdrpars.h"

namespace sc::hdr {

Tag *NewTag(std::u16string_view name, std::u16string_view value) {
  auto *tag = static_cast<Tag *>(RawCalloc(1, sizeof(Tag)));
  if (!tag) return nullptr;
  tag->name = CopyText(name);
  tag->value = tag->name ? CopyText(value) : nullptr;
  if (!tag->value) {
    RawFree(tag->name);
    RawFree(tag);
    return nullptr;
  }
  return tag;
}

namespace {

// Compares as View(text) == name does, stopping at the first difference instead of measuring
// the text first.
bool NameEquals(const char16_t *text, std::u16string_view name) {
  if (!text) return name.empty();
  for (char16_t c : name)
    if (*text == 0 || *text++ != c) return false;
  return *text == 0;
}

}  // namespace

Tag *FindSibling(Tag *first, std::u16string_view name) {
  for (Tag *tag = first; tag; tag = tag->next)
    if (NameEquals(tag->name, name)) return tag;
  return nullptr;
}

VQRESULT FindBlockDescription(Tag *first, std::u16string_view name, Tag **out) {
  for (Tag *tag = FindSibling(first, kDataBlockName); tag;
       tag = FindSibling(tag->next, kDataBlockName)) {
    const Tag *brokerString = FindSibling(tag->children, kBrokerStringName);
    if (!brokerString) return HDRPARS_E_TAG_MISSING;
    if (View(brokerString->value) == name) {
      *out = tag;
      return 0;
    }
  }
  return HDRPARS_E_DATABLOCK_NOT_FOUND;
}

}  // namespace sc::hdr
