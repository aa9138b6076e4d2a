// Copying an archive image into a writable dictionary, and writing one as an image.
#pragma once

#include "core/edctspi/dictionary.h"

namespace sc::edct {

// Fills a fresh, empty writable dictionary from the image. On failure the dictionary holds
// what was loaded so far and the caller frees it.
VQRESULT LoadArchive(Dictionary *dictionary, const unsigned char *image);

}  // namespace sc::edct
