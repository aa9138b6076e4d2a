#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "edct_test_util.h"
#include "foundation/alloc.h"
#include "speechcommon.h"

namespace {

using namespace edct_test;

uint32_t OpenReadOnly(const void *image, SafeHandle *out) {
  return edct_DctOpen(g_vqNullHandle, image, EDCT_OPEN_READONLY, nullptr, nullptr, out);
}

TEST(ImageView, WorkedExampleReadsInPlace) {
  SafeHandle view;
  ASSERT_EQ(OpenReadOnly(kWorkedExample, &view), 0u);
  EDCT_INFO info{};
  ASSERT_EQ(edct_DctGetInfo(view, &info), 0u);
  EXPECT_EQ(std::u16string(info.Name), u"D");
  EXPECT_EQ(reinterpret_cast<const unsigned char *>(info.Name), kWorkedExample + 24);
  EXPECT_EQ(info.Description, nullptr);
  EXPECT_EQ(info.NbrKeys, 2u);
  EXPECT_EQ(info.NbrEntries, 3u);
  EXPECT_EQ(edct_DctFreeInfo(view, &info), 0u);

  EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(edct_DctGetEntryData(view, u"b", nullptr, &entries, &count), 0u);
  ASSERT_EQ(count, 2u);
  EXPECT_EQ(entries[0].Data, kWorkedExample + 118);  // in the image, not copied
  EXPECT_EQ(entries[0].DataSize, 2u);
  EXPECT_EQ(entries[1].Data, kWorkedExample + 122);
  EXPECT_EQ(entries[1].DataSize, 3u);
  EXPECT_EQ(entries[1].Content, EDCT_CONTENT_ORTHOGRAPHIC);
  EXPECT_EQ(entries[1].Representation, EDCT_REPR_SZ_STRING);
  EXPECT_EQ(entries[1].POS, 0xFFFFFFFFu);
  EXPECT_EQ(entries[1].Language, nullptr);
  EXPECT_EQ(entries[1].Model, nullptr);
  EXPECT_EQ(entries[1].Engine, nullptr);
  EXPECT_EQ(edct_DctFreeEntryData(view, entries, count), 0u);
  EXPECT_EQ(Lookup(view, u"a"), std::vector<std::string>{std::string("x\0", 2)});
  for (const char16_t *absent : {u"", u"A", u"ab", u"c", u"`", u"\u00e1"})
    EXPECT_TRUE(Lookup(view, absent).empty()) << std::string(absent, absent + 1);

  // Every change is refused.
  EXPECT_EQ(Add(view, u"c", "z"), kReadOnly);
  EXPECT_EQ(edct_DctRemoveEntry(view, u"a"), kReadOnly);
  const EDCT_INFO named{u"n", nullptr, 0, 0};
  EXPECT_EQ(edct_DctSetInfo(view, &named), kReadOnly);
  EXPECT_EQ(edct_DctClose(view), 0u);
}

TEST(ImageView, RefusesWhatIsNotAnImage) {
  SafeHandle view{reinterpret_cast<void *>(8), 1};
  EXPECT_EQ(OpenReadOnly(kEmptyImage, &view), kCorrupt);  // no section
  EXPECT_EQ(view.pointer, nullptr);
  alignas(4) unsigned char copy[sizeof kWorkedExample];
  std::memcpy(copy, kWorkedExample, sizeof copy);
  copy[0] = 2;  // format number
  EXPECT_EQ(OpenReadOnly(copy, &view), kCorrupt);
  copy[0] = 3;
  copy[8] = 1;  // reserved word
  EXPECT_EQ(OpenReadOnly(copy, &view), kCorrupt);
  copy[8] = 0;
  // A Notify callback has no place in a read-only dictionary.
  EXPECT_EQ(
      edct_DctOpen(
          g_vqNullHandle, copy, EDCT_OPEN_READONLY,
          [](SafeHandle, uint32_t, const char16_t *, const EDCT_ENTRY *, void *) { return 0u; },
          nullptr, &view),
      kReadOnly);
  EXPECT_EQ(view.pointer, nullptr);
  // Sizes that point past the recorded image size.
  const size_t fields[] = {4, 36 + 32, 36 + 40, 36 + 44, 32};
  for (size_t field : fields) {
    std::memcpy(copy, kWorkedExample, sizeof copy);
    copy[field] = 0xF0;
    copy[field + 3] = 0x7F;
    EXPECT_EQ(OpenReadOnly(copy, &view), field == 4 ? 0u : kCorrupt) << "field " << field;
    if (field == 4) {
      EXPECT_EQ(edct_DctClose(view), 0u);
    }
  }
  // Key and data tables that point outside their blocks find nothing rather than read out.
  std::memcpy(copy, kWorkedExample, sizeof copy);
  copy[88] = 200;    // second key offset
  copy[104] = 0x80;  // data offset of b
  ASSERT_EQ(OpenReadOnly(copy, &view), 0u);
  Lookup(view, u"a");
  Lookup(view, u"b");
  EXPECT_EQ(edct_DctClose(view), 0u);
}

TEST(ImageView, OutOfMemoryAtOpenAndLookup) {
  const int64_t live = sc::testing::LiveBlocks();
  SafeHandle view{};
  FailEachAllocation([&] { return OpenReadOnly(kWorkedExample, &view); },
                     [&] { EXPECT_EQ(view.pointer, nullptr); }, kAnyOutOfMemory);
  EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  sc::testing::FailNthAllocation(1);
  EXPECT_EQ(edct_DctGetEntryData(view, u"b", nullptr, &entries, &count), kNoMemory);
  sc::testing::FailNthAllocation(0);
  EXPECT_EQ(entries, nullptr);
  EXPECT_EQ(edct_DctClose(view), 0u);
  EXPECT_EQ(sc::testing::LiveBlocks(), live);
}

}  // namespace
