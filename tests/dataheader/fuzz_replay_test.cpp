// The fuzz target's seed corpus, and every crash it found, run as a normal test.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "dataheader/fixtures.h"
#include "fuzz/dataheader_input.h"

namespace {

TEST(DataHeaderCorpus, EveryFileKeepsItsPromises) {
  int files = 0;
  for (const auto &entry : std::filesystem::directory_iterator(SC_FUZZ_CORPUS)) {
    const std::string bytes = hdrtest::ReadBytes(entry.path().string());
    std::string problem;
    EXPECT_TRUE(sc::fuzz::CheckDataHeaderInput(reinterpret_cast<const uint8_t *>(bytes.data()),
                                               bytes.size(), problem))
        << entry.path() << ": " << problem;
    ++files;
  }
  EXPECT_GE(files, 8);
}

}  // namespace
