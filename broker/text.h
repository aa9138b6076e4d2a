// The broker's strings: conversions between the 8-bit strings of the interface and the 16-bit
// strings of the registry, copies and paths from the class heap, comparisons that fold ASCII
// letters only, and the split of a data name off a broker string.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/text.h"
#include "sc_common.h"
#include "sc_hdrpars.h"
#include "sc_heap.h"

namespace sc::brk {

using plat::View;

// The class heap as the allocator of a copy.
struct HeapAllocator {
  HeapInstance heap;
  void *operator()(size_t bytes) const { return heap_Alloc(heap, bytes); }
};

// The 16-bit form of an 8-bit string, from the heap; null for a null input or when out of
// memory.
inline char16_t *WideFromBytes(HeapInstance heap, const char *bytes) {
  return bytes ? plat::WideFromBytes(bytes, HeapAllocator{heap}) : nullptr;
}
// The 8-bit form of a 16-bit string, from the heap; null for a null input, when out of memory,
// or when the text has no 8-bit form.
inline char *BytesFromWide(HeapInstance heap, std::u16string_view text) {
  return plat::BytesFromWide(text, HeapAllocator{heap});
}
inline char *BytesFromWide(HeapInstance heap, const char16_t *text) {
  return text ? BytesFromWide(heap, View(text)) : nullptr;
}
// A NUL-terminated copy from the heap, or null when out of memory.
inline char16_t *CopyText(HeapInstance heap, std::u16string_view text) {
  return plat::CopyText(text, HeapAllocator{heap});
}
// "directory/name" from the heap, or null when out of memory.
char *JoinPath(HeapInstance heap, std::string_view directory, std::string_view name);
char16_t *JoinPath(HeapInstance heap, std::u16string_view directory, std::u16string_view name);

// Whether directory + "/" + name stays below root, read as the system reads it: "." and
// empty parts stay where they are, ".." goes up one directory, and going up from the root
// leaves it. `directory` is the root or a path below it, as the scan builds it.
bool PathStaysBelow(std::u16string_view root, std::u16string_view directory,
                    std::u16string_view name);

inline char16_t FoldAscii(char16_t c) {
  return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c + (u'a' - u'A')) : c;
}
bool EqualIgnoringCase(std::u16string_view a, std::u16string_view b);
// The first `length` characters of both are equal ignoring case (a shorter one does not match).
bool PrefixEqualIgnoringCase(std::u16string_view a, std::u16string_view b, size_t length);

// The first of `first` and its following siblings with this name, or null.
Tag *FindTag(Tag *first, const char16_t *name);
inline const char16_t *TagValue(Tag *first, const char16_t *name) {
  const Tag *tag = FindTag(first, name);
  return tag ? tag->value : nullptr;
}

// Splits "component:block" at its last colon that is neither the first nor the last
// character: the colon becomes the end of the broker string and the data name follows it.
// Null when the string carries no data name.
char16_t *SplitDataName(char16_t *brokerString);

}  // namespace sc::brk
