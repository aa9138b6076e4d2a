#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>

#include "edct_test_util.h"
#include "speechcommon.h"

namespace {

using namespace edct_test;

auto Fields(const EDCT_ENTRY &e) {
  return std::tuple(e.Content, e.Representation, e.POS, e.Language, e.Model, e.Engine, e.Data,
                    e.DataSize);
}

TEST(ImageView, WorkedExampleReadsInPlace) {
  Opened view(kWorkedExample, EDCT_OPEN_READONLY);
  EXPECT_EQ(Summary(view), "D|-|2|3");
  EDCT_INFO info{};
  ASSERT_EQ(edct_DctGetInfo(view, &info), 0u);
  EXPECT_EQ(reinterpret_cast<const unsigned char *>(info.Name), kWorkedExample + 24);  // in place
  EXPECT_EQ(edct_DctFreeInfo(view, &info), 0u);

  EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(edct_DctGetEntryData(view, u"b", nullptr, &entries, &count), 0u);
  ASSERT_EQ(count, 2u);
  const uint32_t any = 0xFFFFFFFFu;
  EXPECT_EQ(Fields(entries[0]),
            Fields({2, 2, any, nullptr, nullptr, nullptr, kWorkedExample + 118, 2}));
  EXPECT_EQ(Fields(entries[1]),
            Fields({2, 2, any, nullptr, nullptr, nullptr, kWorkedExample + 122, 3}));
  EXPECT_EQ(edct_DctFreeEntryData(view, entries, count), 0u);
  EXPECT_EQ(Lookup(view, u"a"), Data{std::string("x\0", 2)});
  for (const char16_t *absent : {u"", u"A", u"ab", u"c", u"`", u"\u00e1"})
    EXPECT_EQ(Lookup(view, absent), Data{}) << std::string(absent, absent + 1);

  EXPECT_EQ(Add(view, u"c", "z"), EDCT_E_READ_ONLY);
  EXPECT_EQ(edct_DctRemoveEntry(view, u"a"), EDCT_E_READ_ONLY);
  const EDCT_INFO named{u"n", nullptr, 0, 0};
  EXPECT_EQ(edct_DctSetInfo(view, &named), EDCT_E_READ_ONLY);
}

TEST(ImageView, RefusesWhatIsNotAnImage) {
  SafeHandle view{reinterpret_cast<void *>(8), 1};
  EXPECT_EQ(Open(kEmptyImage, EDCT_OPEN_READONLY, &view), EDCT_E_CORRUPT);  // no section
  EXPECT_EQ(view.pointer, nullptr);
  alignas(4) unsigned char copy[sizeof kWorkedExample];
  // A Notify callback has no place in a read-only dictionary.
  const auto notify = [](SafeHandle, uint32_t, const char16_t *, const EDCT_ENTRY *, void *) {
    return 0u;
  };
  EXPECT_EQ(
      edct_DctOpen(g_vqNullHandle, kWorkedExample, EDCT_OPEN_READONLY, notify, nullptr, &view),
      EDCT_E_READ_ONLY);
  EXPECT_EQ(view.pointer, nullptr);
  // Format and reserved word; then the section offset, key count, key and data block sizes
  // pointing past the recorded image size, which itself may be larger than needed.
  const std::pair<size_t, uint32_t> patches[] = {
      {0, 2},           {8, 1},           {32, 0x7F0000F0}, {68, 0x7F0000F0},
      {76, 0x7F0000F0}, {80, 0x7F0000F0}, {4, 0x7F0000F0}};
  for (const auto &[at, value] : patches) {
    std::memcpy(copy, kWorkedExample, sizeof copy);
    std::memcpy(copy + at, &value, 4);
    const uint32_t result = Open(copy, EDCT_OPEN_READONLY, &view);
    EXPECT_EQ(result, at == 4 ? 0u : EDCT_E_CORRUPT) << "at " << at;
    if (result == 0) edct_DctClose(view);
  }
  // Key and data tables that point outside their blocks find nothing rather than read out.
  std::memcpy(copy, kWorkedExample, sizeof copy);
  copy[88] = 200;    // second key offset
  copy[104] = 0x80;  // data offset of b
  Opened broken(copy, EDCT_OPEN_READONLY);
  EXPECT_EQ(Lookup(broken, u"a"), Data{});
  EXPECT_EQ(Lookup(broken, u"b"), Data{});
}

}  // namespace
