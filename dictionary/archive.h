// Writing a writable dictionary as an archive image, and copying an image back into a
// writable dictionary.
#pragma once

#include "dictionary/dictionary.h"

namespace sc::edct {

// Fills a fresh, empty writable dictionary from the image; reads nothing past the image size
// its header records. On failure the dictionary holds what was loaded so far and the caller
// frees it.
VQRESULT LoadArchive(Dictionary *dictionary, const unsigned char *image);

}  // namespace sc::edct
