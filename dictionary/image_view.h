// The read-only dictionary: a view that reads an archive image in place. Opening checks the
// header and locates each section (no copy, no index); a lookup probes each section's hash
// index, built on the first lookup (image_index.h), or bisects the section's keys.
// The view never reads outside [image, image + recorded image size), whatever the image holds.
#pragma once

#include <cstdint>

#include "dictionary/dictionary.h"

namespace sc::edct {

// Fills the dictionary's Name, Description, counts and sections from the image.
VQRESULT OpenImageView(Dictionary *dictionary, const unsigned char *image);
void CloseImageView(Dictionary *dictionary);

// Adds the entries of `key` in every section that passes the filter, in section order, to
// the block. A corrupt section met on the way gives the corrupt-buffer code.
// The first call builds the sections' key indexes.
VQRESULT CollectImageEntries(Dictionary *dictionary, const char16_t *key, const EDCT_FILTER *filter,
                             EntryBlock *block);

// Key i of a section: its bytes and where they end (UTF-8 bytes or 16-bit units in host order).
struct ImageKey {
  const unsigned char *begin;
  const unsigned char *end;
};
ImageKey ImageKeyAt(const ImageSubDictionary &section, uint32_t index);
// Adds the entries of key i of a section to the block; false when the section is corrupt.
bool AddImageEntries(const ImageSubDictionary &section, uint32_t index, EntryBlock *block);

}  // namespace sc::edct
