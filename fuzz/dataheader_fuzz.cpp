// libFuzzer target: arbitrary bytes as a data header file.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/dataheader_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::string problem;
  if (!sc::fuzz::CheckDataHeaderInput(data, size, problem)) {
    std::fprintf(stderr, "dataheader: %s\n", problem.c_str());
    std::abort();
  }
  return 0;
}
