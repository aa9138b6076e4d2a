// Building a data header file from the elements given on the command line, in order.
#pragma once

#include <string>
#include <vector>

namespace cli {

// One element option of `hdr pack`, as given.
struct PackStep {
  enum Kind { kTag, kBegin, kEnd, kData } kind;
  std::string argument;  // PATH=VALUE, NAME, nothing, NAME=FILE
};

// Writes the file OUT from the steps and reads it back; throws Failure (status 2 for a step
// that is malformed, 1 when the file cannot be made or would not read back as given).
void Pack(const std::string &out, const std::vector<PackStep> &steps);

}  // namespace cli
