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

void FreeTags(Tag *first) {
  while (first) {
    Tag *next = first->next;
    FreeTags(first->children);
    RawFree(first->name);
    RawFree(first->value);
    RawFree(first);
    first = next;
  }
}

Tag *FindSibling(Tag *first, std::u16string_view name) {
  for (Tag *tag = first; tag; tag = tag->next)
    if (View(tag->name) == name) return tag;
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
