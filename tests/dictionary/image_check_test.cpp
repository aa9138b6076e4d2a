// Checking an archive image against the bytes it is given: what the writer produces passes
// and opens both ways; every cut is refused without a read past the bytes given. (Each field
// that can lie has its image in tests/corpus/archive.)
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "edct_test_util.h"

namespace {

using namespace edct_test;

// The bytes in a heap block of exactly their size, so that a sanitizer sees any read past it.
VQRESULT Check(const std::vector<unsigned char> &bytes) {
  std::vector<unsigned char> exact(bytes);
  return edct_DctCheckImage(exact.empty() ? reinterpret_cast<const void *>(1) : exact.data(),
                            exact.size());
}

std::vector<unsigned char> Worked() {
  return std::vector<unsigned char>(std::begin(kWorkedExample), std::end(kWorkedExample));
}

// Two sections: one with every attribute and UTF-16 keys (one unit above U+07FF makes UTF-8
// no smaller), one of user words with an item list.
std::vector<unsigned char> TwoSections() {
  Writable dictionary;
  const std::string model = ModelBlock("m");
  const Entry rich{.language = "en", .model = model.c_str(), .engine = "tts", .data = {"x\0", 2}};
  const Entry word{EDCT_CONTENT_USERWORDS, EDCT_REPR_BINARY, 0xFFFFFFFFu, {}, {}, {}, "\x01\x02"};
  EXPECT_EQ(Add(dictionary, u"\u0800", {rich}), 0u);
  EXPECT_EQ(Add(dictionary, u"w", {word, word}), 0u);
  return Archive(dictionary).Bytes();
}

TEST(ImageCheck, WrittenImagesPassAndOpenBothWays) {
  for (const std::vector<unsigned char> &image :
       {Worked(), TwoSections(),
        std::vector<unsigned char>(std::begin(kEmptyImage), std::end(kEmptyImage))}) {
    EXPECT_EQ(Check(image), 0u);
    std::vector<unsigned char> longer(image);
    longer.resize(image.size() + 7, 0xEE);  // bytes after the recorded size are not read
    EXPECT_EQ(Check(longer), 0u);
    std::vector<uint32_t> aligned(image.size() / 4 + 1);
    std::memcpy(aligned.data(), image.data(), image.size());
    Opened writable(aligned.data(), EDCT_OPEN_WRITABLE);
    if (image.size() == sizeof kEmptyImage) continue;  // the view wants a section
    Opened view(aligned.data(), EDCT_OPEN_READONLY);
  }
  EXPECT_EQ(edct_DctCheckImage(nullptr, 126), EDCT_E_NULL_POINTER);
}

TEST(ImageCheck, EveryCutIsRefused) {
  for (const std::vector<unsigned char> &image : {Worked(), TwoSections()}) {
    for (size_t length = 0; length < image.size(); ++length) {
      std::vector<unsigned char> cut(image.begin(), image.begin() + length);
      ASSERT_EQ(Check(cut), EDCT_E_CORRUPT) << length;
      if (length < 8) continue;
      const uint32_t size = uint32_t(length);  // a cut whose header says so
      std::memcpy(cut.data() + 4, &size, 4);
      ASSERT_EQ(Check(cut), EDCT_E_CORRUPT) << length;
    }
  }
  // The first 40 bytes of an image right before a page that cannot be read.
  const long page = sysconf(_SC_PAGESIZE);
  void *pages =
      mmap(nullptr, size_t(2 * page), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(pages, MAP_FAILED);
  ASSERT_EQ(mprotect(static_cast<char *>(pages) + page, size_t(page), PROT_NONE), 0);
  unsigned char *start = static_cast<unsigned char *>(pages) + page - 40;
  std::memcpy(start, kWorkedExample, 40);
  EXPECT_EQ(edct_DctCheckImage(start, 40), EDCT_E_CORRUPT);
  munmap(pages, size_t(2 * page));
}

}  // namespace
