// Archive images: written from writable dictionaries byte for byte, read in place by a
// read-only view, loaded back into writable dictionaries, and refused when corrupt.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "edct_test_util.h"
#include "speechcommon.h"

namespace {

using namespace edct_test;
using Bytes = std::vector<unsigned char>;

std::string Slice(const Bytes &bytes, size_t at, size_t size) {
  return std::string(bytes.begin() + at, bytes.begin() + at + size);
}

auto Fields(const EDCT_ENTRY &e) {
  return std::tuple(e.Content, e.Representation, e.POS, e.Language, e.Model, e.Engine, e.Data,
                    e.DataSize);
}

// The worked example is written from a dictionary (key b's items added "qq" first, so "p" is
// newest) either way round, and read in place.
TEST(Image, WorkedExampleWrittenBothWaysAndReadInPlace) {
  Writable dictionary, empty;
  const EDCT_INFO named{u"D", nullptr, 0, 0};
  ASSERT_EQ(edct_DctSetInfo(dictionary, &named), 0u);
  for (const auto &[key, data] :
       {std::pair(u"a", "x"), std::pair(u"b", "qq"), std::pair(u"b", "p")})
    ASSERT_EQ(Add(dictionary, key, std::string(data) + '\0'), 0u);
  const Bytes worked(std::begin(kWorkedExample), std::end(kWorkedExample));
  EXPECT_EQ(Archive(dictionary).Bytes(), worked);
  EXPECT_EQ(Archive(empty).Bytes(), Bytes(std::begin(kEmptyImage), std::end(kEmptyImage)));
  // One byte short: the call fails part-way and leaves the size alone.
  Bytes buffer(125);
  uint32_t size = 125;
  EXPECT_EQ(edct_DctArchive(dictionary, buffer.data(), &size, 0), SRVSPI_E_ARRAY_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 125u);
  // For the other byte order every multi-byte field is reversed ({first, end, width}: header,
  // Name and Description units, section table, section header and key offsets, data offsets,
  // item lengths); UTF-8 keys, pads, the marker and byte data stay as they are.
  Bytes swapped = worked;
  const size_t fields[][3] = {{0, 24, 4},    {24, 30, 2},   {32, 96, 4},
                              {100, 112, 4}, {116, 118, 2}, {120, 122, 2}};
  for (const auto &[first, end, width] : fields)
    for (size_t at = first; at < end; at += width)
      std::reverse(swapped.begin() + at, swapped.begin() + at + width);
  EXPECT_EQ(Archive(dictionary, 1).Bytes(), swapped);

  Opened view(kWorkedExample, EDCT_OPEN_READONLY);
  EXPECT_EQ(Summary(view), "D|-|2|3");
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
  const EDCT_INFO renamed{u"n", nullptr, 0, 0};
  for (uint32_t refused :
       {Add(view, u"c", "z"), edct_DctRemoveEntry(view, u"a"), edct_DctSetInfo(view, &renamed),
        edct_DctArchive(view, nullptr, &size, 0)})
    EXPECT_EQ(refused, EDCT_E_READ_ONLY);
}

// One key of 4 bytes in either encoding (UTF-16 wins the tie) in a section of wide data and
// one of byte data, and a section with a Language whose only key is gone.
TEST(Image, EncodingTiesEmptySectionsAndSwappedUnits) {
  Writable dictionary;
  const std::string units("w\0i\0\0\0", 6);
  const Entry wide{.representation = EDCT_REPR_WSZ_STRING, .data = units}, narrow{.data = units},
      gone{.language = "x"};
  ASSERT_EQ(Add(dictionary, u"\u4e00", {wide, narrow}), 0u);
  ASSERT_EQ(Add(dictionary, u"gone", {gone}), 0u);
  ASSERT_EQ(edct_DctRemoveEntry(dictionary, u"gone"), 0u);
  const Image host = Archive(dictionary), swapped = Archive(dictionary, 1);
  ASSERT_EQ(host.size, swapped.size);
  ASSERT_EQ(host.words[5], 3u);
  const Bytes a = host.Bytes(), b = swapped.Bytes();
  for (uint32_t slot = 0; slot < 2; ++slot) {
    const uint32_t section = 40 + host.words[7 + slot];  // no Name: the table is at 28
    EXPECT_EQ(host.words[section / 4 + 1], 1u);
    EXPECT_EQ(swapped.words[section / 4 + 1], 0x02000000u);
    const size_t key = section + 48 + 8, data = key + 4 + 8 + 1;
    EXPECT_EQ(Slice(a, key, 4), std::string("\x00\x4e\x00\x00", 4));
    EXPECT_EQ(Slice(b, key, 4), std::string("\x4e\x00\x00\x00", 4));
    EXPECT_EQ(Slice(a, data, 6), units);
    EXPECT_EQ(Slice(b, data, 6), slot == 0 ? std::string("\0w\0i\0\0", 6) : units);
  }
  // The empty section: header, Language, pad, key table {0}, no key block, data table {1},
  // the marker.
  const uint32_t empty = 40 + host.words[9];
  EXPECT_EQ(std::vector<uint32_t>(&host.words[empty / 4], &host.words[empty / 4 + 12]),
            (std::vector<uint32_t>{61, 1, EDCT_CONTENT_ORTHOGRAPHIC, EDCT_REPR_SZ_STRING,
                                   0xFFFFFFFFu, 1, 0, 0, 0, 0, 0, 1}));
  EXPECT_EQ(Slice(a, empty + 48, 13), std::string("x\0\xAA\xAA\0\0\0\0\1\0\0\0\xAA", 13));
  EXPECT_EQ(host.size, empty + 61);
}

// A dictionary of every kind of piece; returns the keys it was given.
std::vector<std::u16string> FillSample(SafeHandle dictionary, unsigned seed) {
  std::mt19937 random(seed);
  static const std::string model = ModelBlock("m");
  const uint32_t any = 0xFFFFFFFFu;
  const Entry kinds[] = {
      {EDCT_CONTENT_BROAD_NARROWS, EDCT_REPR_SZZ_STRING},
      {EDCT_CONTENT_USERWORDS, EDCT_REPR_BINARY, any, "de"},
      {EDCT_CONTENT_ORTHOGRAPHIC, EDCT_REPR_WSZ_STRING},
      {EDCT_CONTENT_ORTHOGRAPHIC, EDCT_REPR_SZ_STRING, 12, nullptr, nullptr, "e"},
      {EDCT_CONTENT_ORTHOGRAPHIC, EDCT_REPR_SZ_STRING, any, "fr", nullptr, "e2"},
      {EDCT_CONTENT_ORTHOGRAPHIC, EDCT_REPR_WSZ_STRING, any, nullptr, model.c_str()}};
  const char16_t alphabet[] = {u'a', u'b', u'Z', 0xe9, 0x20ac, 0x4e00, u'0'};
  const EDCT_INFO info{u"Sample \u00e9", u"d", 0, 0};
  EXPECT_EQ(edct_DctSetInfo(dictionary, &info), 0u);
  std::vector<std::u16string> keys;
  for (int i = 0; i < 300; ++i) {
    // Wide alphabets in some sections make their keys UTF-16, ASCII ones make them UTF-8.
    std::u16string key;
    for (int n = 1 + random() % 6; n > 0; --n)
      key += alphabet[random() % std::size(alphabet)];
    Entry entry = kinds[random() % std::size(kinds)];
    entry.data = std::string(random() % 5, static_cast<char>('a' + random() % 26));
    EXPECT_EQ(Add(dictionary, key, {entry}), 0u);
    keys.push_back(key);
  }
  // CJK keys, smaller in UTF-16; an item list; a single item longer than 16 bits can tell.
  Entry chinese{.language = "zh", .data = "c"};
  for (const char16_t *key : {u"\u4e00", u"\u4e01\u4e02", u"\u9fa5"}) {
    EXPECT_EQ(Add(dictionary, key, {chinese, chinese}), 0u);
    keys.push_back(key);
  }
  for (const char *data : {"1", "2", "3"})
    EXPECT_EQ(Add(dictionary, u"k", data), 0u);
  EXPECT_EQ(Add(dictionary, u"big", std::string(70000, 'b')), 0u);
  keys.insert(keys.end(), {u"k", u"big"});
  return keys;
}

TEST(Image, RoundTripsKeepEveryEntry) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  Writable dictionary;
  const std::vector<std::u16string> keys = FillSample(dictionary, seed);
  const Image image = Archive(dictionary);
  Opened view(image.data(), EDCT_OPEN_READONLY), loaded(image.data(), EDCT_OPEN_WRITABLE);
  EXPECT_EQ(Summary(view) + Summary(loaded), Summary(dictionary) + Summary(dictionary));
  for (const std::u16string &key : keys) {
    const Data entries = Lookup(dictionary, key);
    EXPECT_EQ(Lookup(view, key), entries);
    // The loader adds an item list from its first item, so each SubDictionary's entries of
    // one key come out reversed.
    Data sorted = entries, loadedEntries = Lookup(loaded, key);
    std::sort(sorted.begin(), sorted.end());
    std::sort(loadedEntries.begin(), loadedEntries.end());
    EXPECT_EQ(loadedEntries, sorted);
  }
  EXPECT_EQ(Lookup(view, u"k"), (Data{"3", "2", "1"}));
  EXPECT_EQ(Lookup(loaded, u"k"), (Data{"1", "2", "3"}));
  // So loading twice gives back the first image exactly.
  const Image again = Archive(loaded);
  Opened twice(again.data(), EDCT_OPEN_WRITABLE);
  EXPECT_EQ(Archive(twice).Bytes(), image.Bytes());
}

// A view indexes its keys on the first lookup; it must answer exactly as a bisection of the
// sorted keys would, for keys held, keys absent and keys out of order.
TEST(Image, IndexedLookupsAnswerAsTheSortedKeysDo) {
  Writable dictionary;
  std::vector<std::u16string> keys;
  for (int i = 0; i < 3000; ++i) {
    std::u16string key = {u'w', static_cast<char16_t>(u'a' + i % 26)};
    for (int n = i; n; n /= 7)
      key += static_cast<char16_t>(i % 3 ? u'0' + n % 7 : 0x4e00 + n % 7);
    keys.push_back(key);
    // A second section holds every third key, so many lookups miss in one of them.
    ASSERT_EQ(Add(dictionary, key, std::string(12, 'd') + std::to_string(i)), 0u);
    if (i % 3 == 0) {
      ASSERT_EQ(Add(dictionary, key, {Entry{.language = "x", .data = "y"}}), 0u);
    }
  }
  const Image image = Archive(dictionary);
  Opened view(image.data(), EDCT_OPEN_READONLY);
  EXPECT_TRUE(Lookup(view, u"absent first").empty());
  for (const std::u16string &key : keys) {
    EXPECT_EQ(Lookup(view, key), Lookup(dictionary, key));
    EXPECT_TRUE(Lookup(view, key + u"0").empty());
    EXPECT_TRUE(Lookup(view, key.substr(0, key.size() - 1) + u"~").empty());
  }
  // Keys out of order: the bisection turns both away, so an index must not find them either.
  Bytes unsorted(std::begin(kWorkedExample), std::end(kWorkedExample));
  std::swap(unsorted[96], unsorted[98]);
  Opened outOfOrder(unsorted.data(), EDCT_OPEN_READONLY);
  EXPECT_TRUE(Lookup(outOfOrder, u"a").empty());
  EXPECT_TRUE(Lookup(outOfOrder, u"b").empty());
}

TEST(Image, ItemsInAListMustFitSixteenBits) {
  Writable dictionary;
  ASSERT_EQ(Add(dictionary, u"k", std::string(65535, 'a')), 0u);
  ASSERT_EQ(Add(dictionary, u"k", "b"), 0u);
  // 32 to the section; header, key table, key "k" in UTF-8 and a pad, data table, marker,
  // then pad, length, "b", pad, length, the long item, pad.
  EXPECT_EQ(Archive(dictionary).size, 32u + 48 + 8 + 2 + 2 + 8 + 1 + 1 + 2 + 1 + 1 + 2 + 65535 + 1);
  ASSERT_EQ(Add(dictionary, u"k", std::string(65536, 'c')), 0u);
  uint32_t size = 0;
  EXPECT_EQ(edct_DctArchive(dictionary, nullptr, &size, 0), EDCT_E_OUT_OF_RANGE);
}

TEST(Image, CorruptImagesAreRefused) {
  Writable dictionary;
  FillSample(dictionary, 7);
  const Image image = Archive(dictionary);
  const int64_t live = sc::testing::LiveBlocks();
  SafeHandle out{reinterpret_cast<void *>(8), 1};
  // The loader: every recorded size short of the real one fails, whatever was loaded by then.
  for (uint32_t size = 0; size < image.size; size += 1 + size / 7) {
    Image cut = image;
    cut.words[1] = size;
    EXPECT_EQ(Open(cut.data(), EDCT_OPEN_WRITABLE, &out), SRVSPI_E_ARRAY_BUFFER_TOO_SMALL)
        << "size " << size;
    EXPECT_EQ(out.pointer, nullptr);
    EXPECT_EQ(sc::testing::LiveBlocks(), live);
  }
  // Patches of the worked example, {offset, value, read-only result, writable result}: the
  // format, the reserved word, UTF-16 keys of the other byte order; the section offset, key
  // count, key and data block sizes pointing past the recorded image size, which itself may
  // be larger than needed.
  constexpr uint32_t kFar = 0x7F0000F0, kBad = EDCT_E_CORRUPT,
                     kShort = SRVSPI_E_ARRAY_BUFFER_TOO_SMALL;
  const std::tuple<size_t, uint32_t, uint32_t, uint32_t> patches[] = {
      {0, 2, kBad, kBad},       {8, 1, kBad, kBad},       {40, 2, kBad, kBad}, {32, kFar, kBad, 0},
      {68, kFar, kBad, kShort}, {76, kFar, kBad, kShort}, {80, kFar, kBad, 0}, {4, kFar, 0, 0}};
  for (const auto &[at, value, viewed, loaded] : patches) {
    alignas(4) unsigned char copy[sizeof kWorkedExample];
    std::memcpy(copy, kWorkedExample, sizeof copy);
    std::memcpy(copy + at, &value, 4);
    for (const auto &[mode, expected] :
         {std::pair(EDCT_OPEN_READONLY, viewed), std::pair(EDCT_OPEN_WRITABLE, loaded)}) {
      EXPECT_EQ(Open(copy, mode, &out), expected) << "at " << at << " mode " << mode;
      if (expected == 0) edct_DctClose(out);
    }
  }
  EXPECT_EQ(Open(kEmptyImage, EDCT_OPEN_READONLY, &out), EDCT_E_CORRUPT);  // no section
  // A Notify callback has no place in a read-only dictionary.
  const auto notify = [](SafeHandle, uint32_t, const char16_t *, const EDCT_ENTRY *, void *) {
    return 0u;
  };
  EXPECT_EQ(edct_DctOpen(g_vqNullHandle, kWorkedExample, EDCT_OPEN_READONLY, notify, nullptr, &out),
            EDCT_E_READ_ONLY);
  EXPECT_EQ(out.pointer, nullptr);
  EXPECT_EQ(sc::testing::LiveBlocks(), live);
  // Key and data tables that point outside their blocks find nothing rather than read out.
  alignas(4) unsigned char copy[sizeof kWorkedExample];
  std::memcpy(copy, kWorkedExample, sizeof copy);
  copy[88] = 200;    // second key offset
  copy[104] = 0x80;  // data offset of b
  Opened broken(copy, EDCT_OPEN_READONLY);
  EXPECT_EQ(Lookup(broken, u"a"), Data{});
  EXPECT_EQ(Lookup(broken, u"b"), Data{});
}

}  // namespace
