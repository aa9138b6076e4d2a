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

// Writes one section with UTF-16 or UTF-8 keys in ascending order; each key has one or more
// items (more than one makes an item list).
struct Section {
  uint32_t content = EDCT_CONTENT_ORTHOGRAPHIC;
  uint32_t representation = EDCT_REPR_SZ_STRING;
  uint32_t pos = 0xFFFFFFFFu;
  const char *language = nullptr;
  std::string model;  // empty: none
  const char *engine = nullptr;
  bool utf8 = false;
  std::vector<std::pair<std::u16string, std::vector<std::string>>> keys;
};

std::string Utf8(const std::u16string &text) {
  std::string out;
  for (char16_t u : text) {
    if (u < 0x80) {
      out += static_cast<char>(u);
    } else if (u < 0x800) {
      out += static_cast<char>(0xC0 | (u >> 6));
      out += static_cast<char>(0x80 | (u & 0x3F));
    } else {
      out += static_cast<char>(0xE0 | (u >> 12));
      out += static_cast<char>(0x80 | ((u >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (u & 0x3F));
    }
  }
  return out;
}

void WriteSection(ImageBytes &image, const Section &section) {
  image.Pad(4);
  const size_t start = image.size();
  uint32_t entries = 0;
  for (const auto &key : section.keys)
    entries += static_cast<uint32_t>(key.second.size());
  const uint32_t header[12] = {0,
                               section.utf8 ? 0u : 1u,
                               section.content,
                               section.representation,
                               section.pos,
                               section.language != nullptr,
                               !section.model.empty(),
                               section.engine != nullptr,
                               static_cast<uint32_t>(section.keys.size()),
                               entries,
                               0,
                               0};
  image.Raw(header, sizeof header);
  if (section.language) image.Text(section.language);
  if (!section.model.empty()) image.Raw(section.model.data(), 128);
  if (section.engine) image.Text(section.engine);
  image.Pad(4);
  const size_t keyTable = image.size();
  for (size_t i = 0; i <= section.keys.size(); ++i)
    image.U32(0);
  const size_t keyBlock = image.size();
  for (size_t i = 0; i < section.keys.size(); ++i) {
    image.Set32(keyTable + 4 * i, static_cast<uint32_t>(image.size() - keyBlock));
    if (section.utf8)
      image.Text(Utf8(section.keys[i].first));
    else
      image.Wide(section.keys[i].first);
  }
  const uint32_t keyBlockSize = static_cast<uint32_t>(image.size() - keyBlock);
  image.Set32(keyTable + 4 * section.keys.size(), keyBlockSize);
  image.Pad(4);
  const size_t dataTable = image.size();
  for (size_t i = 0; i <= section.keys.size(); ++i)
    image.U32(0);
  const size_t dataBlock = image.size();
  image.Raw("\xAA", 1);
  for (size_t i = 0; i < section.keys.size(); ++i) {
    const auto &items = section.keys[i].second;
    const int32_t at = static_cast<int32_t>(image.size() - dataBlock);
    image.Set32(dataTable + 4 * i, static_cast<uint32_t>(items.size() > 1 ? -at : at));
    if (items.size() == 1) {
      image.Raw(items[0].data(), items[0].size());
      continue;
    }
    for (const std::string &item : items) {
      image.Pad(2);
      image.U16(static_cast<uint16_t>(item.size()));
      image.Raw(item.data(), item.size());
    }
    image.Pad(2);
  }
  const uint32_t dataBlockSize = static_cast<uint32_t>(image.size() - dataBlock);
  image.Set32(dataTable + 4 * section.keys.size(), dataBlockSize);
  image.Set32(start, static_cast<uint32_t>(image.size() - start));
  image.Set32(start + 40, keyBlockSize);
  image.Set32(start + 44, dataBlockSize);
}

ImageBytes BuildImage(const std::u16string &name, const std::u16string &description,
                      const std::vector<Section> &sections) {
  ImageBytes image;
  for (int i = 0; i < 6; ++i)
    image.U32(0);
  image.Wide(name);
  image.Wide(description);
  image.Pad(4);
  const size_t table = image.size();
  for (size_t i = 0; i < sections.size(); ++i)
    image.U32(0);
  const size_t base = image.size();
  uint32_t keys = 0, entries = 0;
  for (size_t i = 0; i < sections.size(); ++i) {
    image.Pad(4);
    image.Set32(table + 4 * i, static_cast<uint32_t>(image.size() - base));
    WriteSection(image, sections[i]);
    keys += static_cast<uint32_t>(sections[i].keys.size());
    for (const auto &key : sections[i].keys)
      entries += static_cast<uint32_t>(key.second.size());
  }
  const uint32_t header[6] = {3,       static_cast<uint32_t>(image.size()),   0, keys,
                              entries, static_cast<uint32_t>(sections.size())};
  std::memcpy(image.bytes().data(), header, sizeof header);
  return image;
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

Section Utf16Section() {
  Section section;
  section.content = EDCT_CONTENT_USERWORDS;
  section.representation = EDCT_REPR_BINARY;
  section.pos = 7;
  section.language = "de-DE";
  section.model = ModelBlock("model");
  section.engine = "engine";
  for (const char16_t *key :
       {u"Apfel", u"Birne", u"Zebra", u"apfel", u"\u00c4pfel", u"\u20ac", u"\uffff"})
    section.keys.push_back({key, {Utf8(key)}});
  section.keys[2].second = {"z1", "", "z333"};
  return section;
}

TEST(ImageView, BisectsEverySectionWithBothEncodings) {
  Section wide = Utf16Section();
  Section narrow;
  narrow.utf8 = true;
  for (const char16_t *key : {u"Zebra", u"caf\u00e9", u"\u00e9t\u00e9"})
    narrow.keys.push_back({key, {"n"}});
  Section empty;
  ImageBytes image = BuildImage(u"Fruit", u"A test image", {wide, empty, narrow});
  SafeHandle view;
  ASSERT_EQ(OpenReadOnly(image.Aligned(), &view), 0u);
  for (const auto &[key, items] : wide.keys) {
    std::vector<std::string> expected = items;
    if (key == u"Zebra") expected.push_back("n");  // the third section holds it too
    EXPECT_EQ(Lookup(view, key), expected);
  }
  for (const auto &[key, items] : narrow.keys)
    if (key != u"Zebra") {
      EXPECT_EQ(Lookup(view, key), items);
    }
  for (const char16_t *absent : {u"", u"Apfe", u"Apfelx", u"B", u"caf", u"\ufffe", u"zz"})
    EXPECT_TRUE(Lookup(view, absent).empty());

  EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(edct_DctGetEntryData(view, u"Birne", nullptr, &entries, &count), 0u);
  ASSERT_EQ(count, 1u);
  EXPECT_EQ(entries[0].Content, EDCT_CONTENT_USERWORDS);
  EXPECT_EQ(entries[0].Representation, EDCT_REPR_BINARY);
  EXPECT_EQ(entries[0].POS, 7u);
  EXPECT_STREQ(entries[0].Language, "de-DE");
  EXPECT_EQ(std::string(entries[0].Model, 128), wide.model);
  EXPECT_STREQ(entries[0].Engine, "engine");
  EXPECT_EQ(edct_DctFreeEntryData(view, entries, count), 0u);
  EDCT_INFO info{};
  ASSERT_EQ(edct_DctGetInfo(view, &info), 0u);
  EXPECT_EQ(std::u16string(info.Description), u"A test image");
  EXPECT_EQ(info.NbrKeys, 10u);
  EXPECT_EQ(edct_DctClose(view), 0u);
}

TEST(ImageView, ReadOnlyFiltersNeedTheAttribute) {
  Section bare;
  bare.keys.push_back({u"k", {"bare"}});
  Section german = bare;
  german.language = "de";
  german.keys[0].second = {"de"};
  ImageBytes image = BuildImage(u"", u"", {bare, german});
  SafeHandle view;
  ASSERT_EQ(OpenReadOnly(image.Aligned(), &view), 0u);
  EDCT_INFO info{};
  ASSERT_EQ(edct_DctGetInfo(view, &info), 0u);
  EXPECT_EQ(info.Name, nullptr);  // an empty Name reads as none
  EDCT_FILTER filter = AnyFilter();
  EXPECT_EQ(Lookup(view, u"k", &filter), (std::vector<std::string>{"bare", "de"}));
  filter.Language = "de";
  EXPECT_EQ(Lookup(view, u"k", &filter), std::vector<std::string>{"de"});
  filter.Language = "fr";
  EXPECT_TRUE(Lookup(view, u"k", &filter).empty());
  filter = AnyFilter();
  filter.Engine = "e";
  EXPECT_TRUE(Lookup(view, u"k", &filter).empty());
  filter = AnyFilter();
  filter.POS = 1;
  EXPECT_TRUE(Lookup(view, u"k", &filter).empty());
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
