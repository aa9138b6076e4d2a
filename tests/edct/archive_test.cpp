#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "edct_test_util.h"
#include "foundation/alloc.h"
#include "speechcommon.h"

namespace {

using namespace edct_test;

constexpr uint32_t kBufferTooSmall = 0x80010207u;

// The dictionary of the worked example: key b's items were added "qq" first, so "p" is newest.
void FillWorkedExample(SafeHandle dictionary) {
  const EDCT_INFO info{u"D", nullptr, 0, 0};
  ASSERT_EQ(edct_DctSetInfo(dictionary, &info), 0u);
  ASSERT_EQ(Add(dictionary, u"a", std::string("x\0", 2)), 0u);
  ASSERT_EQ(Add(dictionary, u"b", std::string("qq\0", 3)), 0u);
  ASSERT_EQ(Add(dictionary, u"b", std::string("p\0", 2)), 0u);
}

TEST(Archive, WritesTheWorkedExampleByteForByte) {
  Writable dictionary;
  FillWorkedExample(dictionary);
  const Image image = Archive(dictionary);
  EXPECT_EQ(image.Bytes(), std::vector<unsigned char>(kWorkedExample, kWorkedExample + 126));
  // One byte short: the call fails part-way and leaves the size alone.
  std::vector<unsigned char> buffer(125);
  uint32_t size = 125;
  EXPECT_EQ(edct_DctArchive(dictionary, buffer.data(), &size, 0), kBufferTooSmall);
  EXPECT_EQ(size, 125u);
  EXPECT_EQ(edct_DctArchive(dictionary, nullptr, nullptr, 0), kNullPointer);
}

TEST(Archive, EmptyDictionaryIsTwentyEightBytes) {
  Writable dictionary;
  const Image image = Archive(dictionary);
  EXPECT_EQ(image.Bytes(), std::vector<unsigned char>(kEmptyImage, kEmptyImage + 28));
  SafeHandle loaded, view;
  ASSERT_EQ(Open(image.data(), EDCT_OPEN_WRITABLE, &loaded), 0u);
  EDCT_INFO info{};
  ASSERT_EQ(edct_DctGetInfo(loaded, &info), 0u);
  EXPECT_EQ(info.Name, nullptr);
  EXPECT_EQ(info.NbrKeys, 0u);
  EXPECT_EQ(Add(loaded, u"k", "v"), 0u);  // a loaded dictionary is writable
  EXPECT_EQ(edct_DctClose(loaded), 0u);
  EXPECT_EQ(Open(image.data(), EDCT_OPEN_READONLY, &view), kCorrupt);
}

TEST(Archive, SectionsWithoutKeysAndEncodingTies) {
  Writable dictionary;
  Entry tie;
  tie.language = "x";
  tie.data = "t";
  ASSERT_EQ(Add(dictionary, u"\u0800", {tie}), 0u);  // 4 bytes in either encoding
  ASSERT_EQ(Add(dictionary, u"gone", "g"), 0u);
  ASSERT_EQ(edct_DctRemoveEntry(dictionary, u"gone"), 0u);
  const Image image = Archive(dictionary);
  const std::vector<unsigned char> bytes = image.Bytes();
  // Header, two zero units, a two-entry section table; the first section starts at 36.
  ASSERT_EQ(image.words[5], 2u);
  const uint32_t first = 36, second = 36 + image.words[8];
  EXPECT_EQ(image.words[first / 4 + 1], 1u);  // UTF-16 keys on a tie
  EXPECT_EQ(std::string(reinterpret_cast<const char *>(&bytes[first + 48])), "x");
  // The empty section: header, key table {0}, no key block, data table {1}, the marker.
  const std::vector<uint32_t> header(image.words.begin() + second / 4,
                                     image.words.begin() + second / 4 + 12);
  EXPECT_EQ(header, (std::vector<uint32_t>{57, 1, EDCT_CONTENT_ORTHOGRAPHIC, EDCT_REPR_SZ_STRING,
                                           0xFFFFFFFFu, 0, 0, 0, 0, 0, 0, 1}));
  EXPECT_EQ(image.words[second / 4 + 12], 0u);
  EXPECT_EQ(image.words[second / 4 + 13], 1u);
  EXPECT_EQ(bytes[second + 56], 0xAA);
  EXPECT_EQ(image.size, second + 57);
  SafeHandle view;
  ASSERT_EQ(Open(image.data(), EDCT_OPEN_READONLY, &view), 0u);
  EXPECT_EQ(Lookup(view, u"\u0800"), std::vector<std::string>{"t"});
  EXPECT_TRUE(Lookup(view, u"gone").empty());
  EXPECT_EQ(edct_DctClose(view), 0u);
}

// Reverses the listed fields (offset, width) of an image in place.
void ReverseFields(std::vector<unsigned char> &bytes,
                   const std::vector<std::pair<size_t, size_t>> &fields) {
  for (auto [at, width] : fields)
    std::reverse(bytes.begin() + at, bytes.begin() + at + width);
}

TEST(Archive, SwappedImagesReverseEveryField) {
  Writable dictionary;
  FillWorkedExample(dictionary);
  const Image swapped = Archive(dictionary, 1);
  ASSERT_EQ(swapped.size, 126u);
  EXPECT_EQ(swapped.Bytes()[0], 0);
  EXPECT_EQ(swapped.Bytes()[3], 3);
  std::vector<unsigned char> expected(kWorkedExample, kWorkedExample + 126);
  std::vector<std::pair<size_t, size_t>> fields;
  for (size_t at : {0, 4, 8, 12, 16, 20, 32})  // header and section table
    fields.push_back({at, 4});
  for (size_t at : {24, 26, 28})  // Name and Description units
    fields.push_back({at, 2});
  for (size_t i = 0; i < 12; ++i)  // section header
    fields.push_back({36 + 4 * i, 4});
  for (size_t i = 0; i < 3; ++i) {  // key and data offset tables
    fields.push_back({84 + 4 * i, 4});
    fields.push_back({100 + 4 * i, 4});
  }
  fields.push_back({116, 2});  // item lengths
  fields.push_back({120, 2});
  ReverseFields(expected, fields);
  EXPECT_EQ(swapped.Bytes(), expected);  // UTF-8 keys and byte data stay as they are
  SafeHandle out;
  EXPECT_EQ(Open(swapped.data(), EDCT_OPEN_WRITABLE, &out), kCorrupt);
  EXPECT_EQ(Open(swapped.data(), EDCT_OPEN_READONLY, &out), kCorrupt);
}

TEST(Archive, SwappedWideKeysAndWideData) {
  Writable dictionary;
  Entry wide;
  wide.representation = EDCT_REPR_WSZ_STRING;
  wide.data = std::string("w\0i\0\0\0", 6);
  ASSERT_EQ(Add(dictionary, u"\u4e00", {wide}), 0u);  // 4 bytes in UTF-16 against 4 in UTF-8
  Entry narrow = wide;
  narrow.representation = EDCT_REPR_SZ_STRING;
  ASSERT_EQ(Add(dictionary, u"\u4e00", {narrow}), 0u);
  const Image host = Archive(dictionary), swapped = Archive(dictionary, 1);
  ASSERT_EQ(host.size, swapped.size);
  const std::vector<unsigned char> a = host.Bytes(), b = swapped.Bytes();
  // Both sections: encoding 1 becomes 2, stored reversed; the key's units are reversed.
  for (uint32_t slot = 0; slot < 2; ++slot) {
    const uint32_t section = 36 + host.words[7 + slot];  // no Name: the table is at 28
    EXPECT_EQ(host.words[section / 4 + 1], 1u);
    EXPECT_EQ(swapped.words[section / 4 + 1], 0x02000000u);
    const size_t key = section + 48 + 8;
    EXPECT_EQ(a[key], b[key + 1]);
    EXPECT_EQ(a[key + 1], b[key]);
    const size_t data = key + 4 + 8 + 1;
    const std::vector<unsigned char> hostData(a.begin() + data, a.begin() + data + 6);
    std::vector<unsigned char> swappedData(b.begin() + data, b.begin() + data + 6);
    if (slot == 0) ReverseFields(swappedData, {{0, 2}, {2, 2}, {4, 2}});  // only wide data
    EXPECT_EQ(hostData, swappedData) << "section " << slot;
  }
}

// A dictionary of every kind of piece, with a reference copy of what each key holds.
struct Sample {
  std::vector<std::u16string> keys;
  std::u16string name = u"Sample \u00e9";
};

void FillSample(SafeHandle dictionary, Sample *sample, unsigned seed) {
  std::mt19937 random(seed);
  const std::string model = ModelBlock("m");
  std::vector<Entry> kinds(6);
  kinds[0].content = EDCT_CONTENT_BROAD_NARROWS;
  kinds[0].representation = EDCT_REPR_SZZ_STRING;
  kinds[1].content = EDCT_CONTENT_USERWORDS;
  kinds[1].representation = EDCT_REPR_BINARY;
  kinds[1].language = "de";
  kinds[2].representation = EDCT_REPR_WSZ_STRING;
  kinds[2].model = nullptr;
  kinds[3].engine = "engine";
  kinds[3].pos = 12;
  kinds[4].language = "fr";
  kinds[4].engine = "e2";
  kinds[5].representation = EDCT_REPR_WSZ_STRING;
  static std::string modelCopy;
  modelCopy = model;
  kinds[5].model = modelCopy.c_str();
  const char16_t alphabet[] = {u'a', u'b', u'Z', 0xe9, 0x20ac, 0x4e00, u'0'};
  const EDCT_INFO info{sample->name.c_str(), u"d", 0, 0};
  ASSERT_EQ(edct_DctSetInfo(dictionary, &info), 0u);
  for (int i = 0; i < 300; ++i) {
    std::u16string key;
    for (int n = 1 + random() % 6; n > 0; --n)
      key += alphabet[random() % std::size(alphabet)];
    // Wide alphabets in some sections make their keys UTF-16, ASCII ones make them UTF-8.
    Entry entry = kinds[random() % kinds.size()];
    entry.data = std::string(random() % 5, static_cast<char>('a' + random() % 26));
    ASSERT_EQ(Add(dictionary, key, {entry}), 0u);
    sample->keys.push_back(key);
  }
  // A SubDictionary of CJK keys, which are smaller in UTF-16.
  Entry chinese;
  chinese.language = "zh";
  for (const char16_t *key : {u"\u4e00", u"\u4e01\u4e02", u"\u9fa5"}) {
    chinese.data = "c";
    ASSERT_EQ(Add(dictionary, key, {chinese, chinese}), 0u);
    sample->keys.push_back(key);
  }
  Entry big;
  big.data = std::string(70000, 'b');  // a single item may be long
  ASSERT_EQ(Add(dictionary, u"big", {big}), 0u);
  sample->keys.push_back(u"big");
}

TEST(Archive, RoundTripsKeepEveryEntry) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  Writable dictionary;
  Sample sample;
  FillSample(dictionary, &sample, seed);
  const Image image = Archive(dictionary);
  SafeHandle view, loaded;
  ASSERT_EQ(Open(image.data(), EDCT_OPEN_READONLY, &view), 0u);
  ASSERT_EQ(Open(image.data(), EDCT_OPEN_WRITABLE, &loaded), 0u);
  for (SafeHandle copy : {view, loaded}) {
    EDCT_INFO original{}, info{};
    ASSERT_EQ(edct_DctGetInfo(dictionary, &original), 0u);
    ASSERT_EQ(edct_DctGetInfo(copy, &info), 0u);
    EXPECT_EQ(std::u16string(info.Name), sample.name);
    EXPECT_EQ(std::u16string(info.Description), u"d");
    EXPECT_EQ(info.NbrKeys, original.NbrKeys);
    EXPECT_EQ(info.NbrEntries, original.NbrEntries);
    edct_DctFreeInfo(dictionary, &original);
    edct_DctFreeInfo(copy, &info);
  }
  for (const std::u16string &key : sample.keys) {
    const std::vector<std::string> original = Lookup(dictionary, key);
    EXPECT_EQ(Lookup(view, key), original);
    // The loader adds an item list from its first item, so each SubDictionary's entries of
    // one key come out reversed; with one entry per SubDictionary nothing changes.
    std::vector<std::string> loadedEntries = Lookup(loaded, key);
    EXPECT_EQ(loadedEntries.size(), original.size());
    std::sort(loadedEntries.begin(), loadedEntries.end());
    std::vector<std::string> sorted = original;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(loadedEntries, sorted);
  }
  // Loading reverses item lists, so loading twice gives back the first image exactly.
  const Image again = Archive(loaded);
  SafeHandle twice;
  ASSERT_EQ(Open(again.data(), EDCT_OPEN_WRITABLE, &twice), 0u);
  EXPECT_EQ(Archive(twice).Bytes(), image.Bytes());
  for (SafeHandle handle : {view, loaded, twice})
    EXPECT_EQ(edct_DctClose(handle), 0u);
}

TEST(Archive, LoadingReversesItemListsButTheViewDoesNot) {
  Writable dictionary;
  for (const char *data : {"1", "2", "3"})
    ASSERT_EQ(Add(dictionary, u"k", data), 0u);
  const Image image = Archive(dictionary);
  SafeHandle view, loaded;
  ASSERT_EQ(Open(image.data(), EDCT_OPEN_READONLY, &view), 0u);
  ASSERT_EQ(Open(image.data(), EDCT_OPEN_WRITABLE, &loaded), 0u);
  EXPECT_EQ(Lookup(dictionary, u"k"), (std::vector<std::string>{"3", "2", "1"}));
  EXPECT_EQ(Lookup(view, u"k"), (std::vector<std::string>{"3", "2", "1"}));
  EXPECT_EQ(Lookup(loaded, u"k"), (std::vector<std::string>{"1", "2", "3"}));
  uint32_t size = 0;
  EXPECT_EQ(edct_DctArchive(view, nullptr, &size, 0), kReadOnly);
  EXPECT_EQ(edct_DctClose(view), 0u);
  EXPECT_EQ(edct_DctClose(loaded), 0u);
}

TEST(Archive, ItemsInAListMustFitSixteenBits) {
  Writable dictionary;
  ASSERT_EQ(Add(dictionary, u"k", std::string(65535, 'a')), 0u);
  ASSERT_EQ(Add(dictionary, u"k", "b"), 0u);
  // 32 to the section; header, key table, key "k" in UTF-8 and a pad, data table, marker,
  // then pad, length, "b", pad, length, the long item, pad.
  EXPECT_EQ(Archive(dictionary).size, 32u + 48 + 8 + 2 + 2 + 8 + 1 + 1 + 2 + 1 + 1 + 2 + 65535 + 1);
  ASSERT_EQ(Add(dictionary, u"k", std::string(65536, 'c')), 0u);
  uint32_t size = 0;
  EXPECT_EQ(edct_DctArchive(dictionary, nullptr, &size, 0), 0x801E0084u);
}

TEST(Archive, LoaderRefusesCorruptImages) {
  Writable dictionary;
  Sample sample;
  FillSample(dictionary, &sample, 7);
  const Image image = Archive(dictionary);
  const int64_t live = sc::testing::LiveBlocks();
  SafeHandle out;
  // Every recorded size short of the real one fails, whatever was loaded by then.
  for (uint32_t size = 0; size < image.size; size += 1 + size / 7) {
    Image cut = image;
    cut.words[1] = size;
    const uint32_t result = Open(cut.data(), EDCT_OPEN_WRITABLE, &out);
    EXPECT_EQ(result, kBufferTooSmall) << "size " << size;
    EXPECT_EQ(out.pointer, nullptr);
    EXPECT_EQ(sc::testing::LiveBlocks(), live);
  }
  Image bad = image;
  bad.words[0] = 2;
  EXPECT_EQ(Open(bad.data(), EDCT_OPEN_WRITABLE, &out), kCorrupt);
  bad = image;
  bad.words[2] = 1;
  EXPECT_EQ(Open(bad.data(), EDCT_OPEN_WRITABLE, &out), kCorrupt);
  // A section whose UTF-16 keys are in the other byte order.
  int foreign = 0;
  for (uint32_t i = 0; i < image.words[5]; ++i) {
    bad = image;
    const uint32_t table = 24 + (sample.name.size() + 1) * 2 + 4;  // Name, Description "d"
    const uint32_t tableAt = (table + 3) / 4 * 4;
    const uint32_t section = tableAt + image.words[5] * 4 + image.words[tableAt / 4 + i];
    if (bad.words[section / 4 + 1] != 1) continue;
    bad.words[section / 4 + 1] = 2;
    ++foreign;
    EXPECT_EQ(Open(bad.data(), EDCT_OPEN_WRITABLE, &out), kCorrupt);
    EXPECT_EQ(Open(bad.data(), EDCT_OPEN_READONLY, &out), kCorrupt);
  }
  EXPECT_GT(foreign, 0);
  EXPECT_EQ(sc::testing::LiveBlocks(), live);
}

TEST(Archive, LoadingOutOfMemoryReleasesEverything) {
  Writable dictionary;
  FillWorkedExample(dictionary);
  Entry other;
  other.language = "de";
  other.model = nullptr;
  other.engine = "e";
  ASSERT_EQ(Add(dictionary, u"\u00e9t\u00e9", {other}), 0u);
  const Image image = Archive(dictionary);
  SafeHandle loaded{};
  FailEachAllocation([&] { return Open(image.data(), EDCT_OPEN_WRITABLE, &loaded); },
                     [&] { EXPECT_EQ(loaded.pointer, nullptr); }, kAnyOutOfMemory);
  EXPECT_EQ(Lookup(loaded, u"\u00e9t\u00e9"), std::vector<std::string>{""});
  EXPECT_EQ(edct_DctClose(loaded), 0u);
}

}  // namespace
