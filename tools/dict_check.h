// speechcommon dict check: lexicons checked as a compiler checks sources.
#pragma once

#include <string>
#include <vector>

#include "tools/dict_file.h"

namespace cli {

// Checks each file and prints its findings (file:line:column: warning|error: message), or all
// of them as JSON. Returns 1 when there is an error (with werror, also a warning).
int CheckLexicons(const std::vector<std::string> &files, Encoding encoding, bool werror, bool json);

// What an entry would lose on its way through the text form (a key that does not read back,
// a broad-narrows list cut at an empty piece, blanks that are trimmed, ...).
std::vector<std::string> TextFormLosses(const std::string &key, const EDCT_ENTRY &entry);

}  // namespace cli
