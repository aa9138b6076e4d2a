// speechcommon dict check: lexicons checked as a compiler checks sources.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/dict_file.h"

namespace cli {

// Checks each file and prints its findings (file:line:column: warning|error: message), or all
// of them as JSON. Returns 1 when there is an error (with werror, also a warning).
int CheckLexicons(const std::vector<std::string> &files, Encoding encoding, bool werror, bool json);

// Walks the dictionary for what its text stream in `encoding` (UTF-8 unless a 16-bit one is
// named) would not give back, calling `lost` with one sentence for each ("key \"k\": the key is
// empty: ..."): a Name or Description, a section's attributes where it begins (one that an
// earlier section has and this one lacks is read back from that one; POS is not written), an
// entry's key and data. Returns the first failure of the library.
VQRESULT TextFormLosses(SafeHandle dictionary, Encoding encoding,
                        const std::function<void(std::string)> &lost);

}  // namespace cli
