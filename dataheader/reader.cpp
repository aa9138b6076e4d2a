// The reader of the tagged text: elements, sibling lists, the file header, and tag lookup.
#include "dataheader/char_cursor.h"
#include "dataheader/tree.h"
#include "dataheader/wide_text.h"
#include "foundation/alloc.h"
#include "sc_hdrpars.h"

namespace {

using sc::hdr::ResourceChars;
using sc::hdr::StringChars;

constexpr uint64_t kMaxName = 256;
// Children are read only this deep, which bounds the recursion on hostile files; deeper
// elements keep their value text.
constexpr unsigned kMaxDepth = 1000;

struct Span {
  uint64_t begin;
  uint64_t end;
};

struct Element {
  Span name;
  Span value;  // trimmed
};

bool IsBlank(char16_t c) {
  return c == u' ' || c == u'\r' || c == u'\n';
}

template <class Source>
VQRESULT Ended(const Source &source) {
  return source.Status() ? source.Status() : HDRPARS_S_NO_ELEMENT;
}

// Reads the element that starts at `index` (after blanks), and moves `index` past it. No
// element there gives the informational no-element code; a missing closing tag the
// wrong-format code.
template <class Source>
VQRESULT ReadElement(Source &source, uint64_t &index, Element &element) {
  uint64_t i = index;
  char16_t c;
  do {
    if (!source.At(i++, c)) return Ended(source);
  } while (IsBlank(c));
  if (c != u'<') return HDRPARS_S_NO_ELEMENT;
  const uint64_t nameBegin = i;
  for (;; ++i) {
    if (i - nameBegin > kMaxName || !source.At(i, c)) return Ended(source);
    if (c == u'>') break;
  }
  element.name = {nameBegin, i};
  char16_t closing[kMaxName + 3];
  size_t length = 0;
  closing[length++] = u'<';
  closing[length++] = u'/';
  for (uint64_t k = nameBegin; k < i; ++k)
    source.At(k, closing[length++]);
  closing[length++] = u'>';
  uint64_t match;
  const VQRESULT found = FindText(source, std::u16string_view(closing, length), i + 1, match);
  if (found) return found;
  Span value{i + 1, match};
  while (value.begin < value.end && source.At(value.begin, c) && IsBlank(c))
    ++value.begin;
  while (value.end > value.begin && source.At(value.end - 1, c) && IsBlank(c))
    --value.end;
  element.value = value;
  index = match + length;
  return 0;
}

template <class Source>
bool SpanEquals(Source &source, Span span, std::u16string_view text) {
  if (span.end - span.begin != text.size()) return false;
  char16_t c;
  for (size_t k = 0; k < text.size(); ++k)
    if (!source.At(span.begin + k, c) || c != text[k]) return false;
  return true;
}

// A NUL-terminated copy of the span, or null when out of memory (or the source failed).
char16_t *CopySpan(ResourceChars &source, Span span) {
  const uint64_t length = span.end - span.begin;
  if (length >= SIZE_MAX / sizeof(char16_t)) return nullptr;
  auto *copy = static_cast<char16_t *>(sc::RawAlloc((length + 1) * sizeof(char16_t)));
  if (!copy) return nullptr;
  if (source.Copy(span.begin, length, copy) != length) {
    sc::RawFree(copy);
    return nullptr;
  }
  copy[length] = 0;
  return copy;
}

std::u16string_view SpanText(const StringChars &source, Span span) {
  return source.Text().substr(span.begin, span.end - span.begin);
}

// Reads `text` as a sequence of elements into a sibling list. The first point where no
// element can be read ends the list without failing; only running out of memory fails.
// Children are read straight from the parent's value string, which holds exactly the text a
// private copy of it would.
VQRESULT ReadSequence(std::u16string_view text, Tag **first, unsigned depth) {
  StringChars source(text);
  uint64_t index = 0;
  Tag **link = first;
  for (;;) {
    Element element;
    if (ReadElement(source, index, element) != 0) return 0;
    Tag *tag = sc::hdr::NewTag(SpanText(source, element.name), SpanText(source, element.value));
    if (!tag) return HDRPARS_E_OUT_OF_MEMORY;
    *link = tag;
    link = &tag->next;
    if (depth < kMaxDepth) {
      const VQRESULT children = ReadSequence(sc::hdr::View(tag->value), &tag->children, depth + 1);
      if (children) return children;
    }
  }
}

// Anything that is not an element where one must stand is a format fault.
VQRESULT AsFormatFault(VQRESULT code) {
  return code == HDRPARS_S_NO_ELEMENT ? HDRPARS_E_WRONG_FORMAT : code;
}

VQRESULT ReadHeader(ParserResource *file, FileStructure *structure) {
  ResourceChars source(file);
  // The first seven characters (a byte-order mark, "<VQS>" and a line end, or less without
  // the mark) are not examined.
  uint64_t index = 7;
  Element element;
  VQRESULT read = ReadElement(source, index, element);
  if (read == HDRPARS_S_NO_ELEMENT) {
    index = 8;
    read = ReadElement(source, index, element);
  }
  if (read) return AsFormatFault(read);
  Span prefix{element.value.begin, element.value.begin + 3};
  if (!SpanEquals(source, element.name, u"VERSION") || element.value.end < prefix.end ||
      !SpanEquals(source, prefix, u"VQ_"))
    return source.Status() ? source.Status() : HDRPARS_E_WRONG_FORMAT;
  do {
    read = ReadElement(source, index, element);
    if (read) return AsFormatFault(read);
  } while (!SpanEquals(source, element.name, u"HEADER"));
  char16_t *text = CopySpan(source, element.value);
  if (!text) return source.Status() ? source.Status() : HDRPARS_E_OUT_OF_MEMORY;
  read = ReadSequence(text, &structure->tags, 1);
  sc::RawFree(text);
  return read;
}

}  // namespace

extern "C" {

SC_API VQRESULT hdrpars_ReadFileHeader(const char *path, FileStructure **out) {
  if (!out) return HDRPARS_E_INVALID_ARGUMENT;
  *out = nullptr;
  ParserResource *file = nullptr;
  VQRESULT result =
      hdrpars_OpenResource(path, 0, PARSER_RESOURCE_SIZE_UNKNOWN, PARSER_RESOURCE_FILE, 0, &file);
  if (result) return result;
  auto *structure = static_cast<FileStructure *>(sc::RawCalloc(1, sizeof(FileStructure)));
  if (structure) structure->path = sc::hdr::WidePathFromBytes(path);
  result = structure && structure->path ? ReadHeader(file, structure) : HDRPARS_E_OUT_OF_MEMORY;
  hdrpars_CloseResource(file);
  if (result) {
    hdrpars_DeleteFileStructure(structure);
    return result;
  }
  *out = structure;
  return 0;
}

SC_API VQRESULT hdrpars_FindTag(Tag *first, const char16_t *name, Tag **out) {
  if (!out) return HDRPARS_E_INVALID_ARGUMENT;
  *out = name ? sc::hdr::FindSibling(first, name) : nullptr;
  return 0;
}

}  // extern "C"
