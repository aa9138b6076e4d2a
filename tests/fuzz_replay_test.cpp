// Runs every file of one fuzz corpus through its fuzz entry, as a normal test. Each program
// built from this file links one fuzz target and names its corpus directory.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

TEST(FuzzReplay, SC_FUZZ_NAME) {
  int files = 0;
  for (const auto &entry : std::filesystem::directory_iterator(SC_FUZZ_CORPUS)) {
    std::ifstream in(entry.path(), std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
    SCOPED_TRACE(entry.path().string());
    EXPECT_EQ(LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()),
              0);
    ++files;
  }
  EXPECT_GE(files, SC_FUZZ_MIN_FILES);
}
