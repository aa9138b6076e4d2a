// Checking an archive image against the bytes it is given: what the writer produces passes
// and opens both ways; every field that can lie, and every cut, is refused without a read past
// the bytes given.
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

void Put(std::vector<unsigned char> &bytes, size_t at, uint32_t value) {
  std::memcpy(bytes.data() + at, &value, 4);
}

// Two sections: one with every attribute and UTF-16 keys (one unit above U+07FF makes UTF-8
// no smaller), one of user words with an item list.
std::vector<unsigned char> TwoSections() {
  Opened dictionary(nullptr, EDCT_OPEN_WRITABLE);
  Entry rich;
  rich.language = "en";
  const std::string model = ModelBlock("m");
  rich.model = model.c_str();
  rich.engine = "tts";
  rich.data = std::string("x\0", 2);
  EXPECT_EQ(Add(dictionary, u"\u0800", std::vector<Entry>{rich}), 0u);
  Entry word;
  word.content = EDCT_CONTENT_USERWORDS;
  word.representation = EDCT_REPR_BINARY;
  word.data = "\x01\x02";
  EXPECT_EQ(Add(dictionary, u"w", std::vector<Entry>{word, word}), 0u);
  uint32_t size = 0;
  EXPECT_EQ(edct_DctArchive(dictionary, nullptr, &size, 0), 0u);
  std::vector<unsigned char> image(size);
  EXPECT_EQ(edct_DctArchive(dictionary, image.data(), &size, 0), 0u);
  return image;
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

TEST(ImageCheck, EveryLyingFieldIsRefused) {
  // Offsets in the worked example: header 0, section table 32, section header 36 (its
  // fields every 4 bytes), key offsets 84, data offsets 100.
  const struct {
    size_t at;
    uint32_t value;
  } lies[] = {
      {0, 4},
      {4, 127},
      {4, 122},
      {8, 1},
      {20, 2},
      {20, 5000000},
      {32, 4},
      {36, 91},
      {40, 2},
      {40, 3},
      {56, 2},
      {56, 1},
      {60, 1},
      {64, 1},
      {68, 3},
      {68, 0xFFFFFFFF},
      {72, 1},
      {72, 100},
      {76, 5},
      {80, 13},
      {84, 1},
      {88, 5},
      {88, 0},
      {92, 3},
      {100, 0},
      {104, 15},
      {104, 0x80000000u},
      {108, 13},
      {108, 0xFFFFFFF2u},
  };
  for (const auto &lie : lies) {
    std::vector<unsigned char> image = Worked();
    Put(image, lie.at, lie.value);
    EXPECT_EQ(Check(image), EDCT_E_CORRUPT) << lie.at << " = " << lie.value;
  }
  // A recorded size past the last section.
  std::vector<unsigned char> padded = Worked();
  padded.resize(132, 0xAA);
  Put(padded, 4, 132);
  EXPECT_EQ(Check(padded), EDCT_E_CORRUPT);
  // Two sections at one place (no Name or Description: the table stands at 28).
  std::vector<unsigned char> two = TwoSections();
  ASSERT_EQ(two[20], 2);
  Put(two, 32, 0);
  EXPECT_EQ(Check(two), EDCT_E_CORRUPT);
  // A table of 100,000 entries all pointing at one section, then one entry pointing where the
  // section does not lie.
  std::vector<unsigned char> aliased(28 + 4 * 100000, 0);
  aliased.insert(aliased.end(), kWorkedExample + 36, kWorkedExample + 126);
  Put(aliased, 0, 3);
  Put(aliased, 4, uint32_t(aliased.size()));
  Put(aliased, 20, 100000);
  EXPECT_EQ(Check(aliased), EDCT_E_CORRUPT);
  Put(aliased, 20, 1);
  EXPECT_EQ(Check(aliased), EDCT_E_CORRUPT);
}

TEST(ImageCheck, EveryCutIsRefused) {
  for (const std::vector<unsigned char> &image : {Worked(), TwoSections()}) {
    for (size_t length = 0; length < image.size(); ++length) {
      std::vector<unsigned char> cut(image.begin(), image.begin() + length);
      ASSERT_EQ(Check(cut), EDCT_E_CORRUPT) << length;
      if (length < 8) continue;
      Put(cut, 4, uint32_t(length));  // a cut whose header says so
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
