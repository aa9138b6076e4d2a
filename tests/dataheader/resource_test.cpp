// Parser resources: mapping, window retirement, closing, and their failures.
#include <gtest/gtest.h>

#include <string>

#include "fixtures.h"
#include "test_util.h"

namespace {

using hdrtest::Mapped;

constexpr VQRESULT kBadState = 0x80220180;
constexpr VQRESULT kMissingArgument = 0x80220182;
constexpr VQRESULT kNoMemory = 0x80220186;
constexpr VQRESULT kCannotOpen = 0x8022018B;
constexpr VQRESULT kReadError = 0x8022018D;
constexpr VQRESULT kStillMapped = 0x8022010A;

// Bytes whose value tells their offset apart over a long stretch.
std::string Pattern(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i)
    bytes[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
  return bytes;
}

struct Map {
  VQRESULT result;
  const void *data;
  uint32_t available;
};

Map MapRange(ParserResource *resource, uint32_t offset, int32_t length) {
  Map map{0, reinterpret_cast<const void *>(1), 99};
  map.result = hdrpars_DataMap(resource, offset, length, &map.data, &map.available);
  return map;
}

ParserResource *OpenFile(const std::string &path, uint32_t base = 0,
                         uint32_t size = PARSER_RESOURCE_SIZE_UNKNOWN) {
  ParserResource *resource = nullptr;
  EXPECT_EQ(hdrpars_OpenResource(path.c_str(), base, size, PARSER_RESOURCE_FILE, 0, &resource), 0u);
  return resource;
}

class ResourceTest : public ::testing::Test {
 protected:
  hdrtest::TempDir dir_;
};

TEST_F(ResourceTest, MemoryResourceCopiesAndMapsWithoutCounting) {
  std::string bytes = "0123456789";
  ParserResource *resource = nullptr;
  ASSERT_EQ(hdrpars_OpenResource(bytes.data(), 2, 10, PARSER_RESOURCE_MEMORY, 0, &resource), 0u);
  bytes[3] = 'X';  // the resource holds its own copy
  Map map = MapRange(resource, 1, 4);
  EXPECT_EQ(Mapped(map.data, map.available), "3456");
  map = MapRange(resource, 5, 100);  // position 7: three bytes left
  EXPECT_EQ(Mapped(map.data, map.available), "789");
  map = MapRange(resource, 0, -1);
  EXPECT_EQ(Mapped(map.data, map.available), "23456789");
  map = MapRange(resource, 8, 1);  // position 10: past the copy
  EXPECT_EQ(map.data, nullptr);
  EXPECT_EQ(map.available, 0u);
  map = MapRange(resource, 0, 3);
  EXPECT_EQ(hdrpars_DataUnMap(resource, map.data), 0u);
  EXPECT_EQ(hdrpars_DataUnMap(resource, "foreign"), 0u);
  EXPECT_EQ(hdrpars_CloseResource(resource), 0u);  // mappings of a copy are not counted
}

TEST_F(ResourceTest, FileOfUnknownSizeMapsWhatTheFileHolds) {
  const std::string content = Pattern(100);
  ParserResource *resource = OpenFile(dir_.Write("f", content));
  Map tail = MapRange(resource, 95, 10);
  ASSERT_EQ(tail.result, 0u);
  EXPECT_EQ(Mapped(tail.data, tail.available), content.substr(95));
  Map end = MapRange(resource, 100, 10);
  ASSERT_EQ(end.result, 0u);
  EXPECT_EQ(end.available, 0u);
  ASSERT_NE(end.data, nullptr);  // still a mapping to give back
  Map whole = MapRange(resource, 0, -1);
  EXPECT_EQ(Mapped(whole.data, whole.available), content);
  Map zero = MapRange(resource, 0, 0);
  EXPECT_EQ(zero.data, nullptr);
  for (const void *data : {tail.data, end.data, whole.data}) {
    EXPECT_EQ(hdrpars_CloseResource(resource), kStillMapped);
    EXPECT_EQ(hdrpars_DataUnMap(resource, data), 0u);
  }
  EXPECT_EQ(hdrpars_CloseResource(resource), 0u);
}

TEST_F(ResourceTest, KnownSizeLimitsMappingsToTheBlock) {
  const std::string content = Pattern(200);
  // A block of 50 bytes starting at byte 30 of the file.
  ParserResource *resource = OpenFile(dir_.Write("f", content), 30, 50);
  Map map = MapRange(resource, 20, 80);
  ASSERT_EQ(map.result, 0u);
  EXPECT_EQ(Mapped(map.data, map.available), content.substr(50, 30));
  EXPECT_EQ(hdrpars_DataUnMap(resource, map.data), 0u);
  for (uint32_t offset : {50u, 60u, 0xFFFFFFF0u}) {
    map = MapRange(resource, offset, 10);
    EXPECT_EQ(map.result, 0u);
    EXPECT_EQ(map.data, nullptr) << offset;
    EXPECT_EQ(map.available, 0u);
  }
  map = MapRange(resource, 10, -1);  // the rest of the block, not beyond it
  EXPECT_EQ(Mapped(map.data, map.available), content.substr(40, 40));
  EXPECT_EQ(hdrpars_DataUnMap(resource, map.data), 0u);
  EXPECT_EQ(hdrpars_CloseResource(resource), 0u);  // the misses were not counted
}

TEST_F(ResourceTest, RetiredWindowsKeepEarlierMappingsValidUntilGivenBack) {
  const std::string content = Pattern(20000);
  ParserResource *resource = OpenFile(dir_.Write("f", content));
  const int64_t base = sc::testing::LiveBlocks();
  Map a = MapRange(resource, 0, 16);
  Map b = MapRange(resource, 100, 16);  // same window, no new buffer
  EXPECT_EQ(sc::testing::LiveBlocks(), base + 1);
  Map c = MapRange(resource, 5000, 16);    // first window retired with two mappings
  Map d = MapRange(resource, 9000, 2000);  // second window retired, larger third one
  EXPECT_EQ(sc::testing::LiveBlocks(), base + 5);
  const struct {
    Map map;
    size_t offset;
  } all[] = {{a, 0}, {b, 100}, {c, 5000}, {d, 9000}};
  for (const auto &m : all)
    EXPECT_EQ(Mapped(m.map.data, m.map.available), content.substr(m.offset, m.map.available));
  EXPECT_EQ(d.available, 2000u);

  // Give back out of order; a window is freed with its last mapping, and every mapping still
  // out reads the same bytes.
  EXPECT_EQ(hdrpars_DataUnMap(resource, b.data), 0u);
  EXPECT_EQ(sc::testing::LiveBlocks(), base + 5);
  EXPECT_EQ(hdrpars_DataUnMap(resource, c.data), 0u);
  EXPECT_EQ(sc::testing::LiveBlocks(), base + 3);
  EXPECT_EQ(Mapped(a.data, 16), content.substr(0, 16));
  EXPECT_EQ(hdrpars_DataUnMap(resource, c.data), kBadState);  // given back already
  EXPECT_EQ(hdrpars_CloseResource(resource), kStillMapped);
  EXPECT_EQ(hdrpars_DataUnMap(resource, d.data), 0u);
  EXPECT_EQ(hdrpars_DataUnMap(resource, d.data), kBadState);
  EXPECT_EQ(hdrpars_CloseResource(resource), kStillMapped);  // a retired window is left
  EXPECT_EQ(hdrpars_DataUnMap(resource, a.data), 0u);
  EXPECT_EQ(sc::testing::LiveBlocks(), base + 1);
  EXPECT_EQ(hdrpars_DataUnMap(resource, &content[0]), kBadState);

  // With nothing mapped the buffer is reused: moving around costs no new block.
  for (uint32_t offset = 0; offset < 20000; offset += 777) {
    Map m = MapRange(resource, offset, 64);
    ASSERT_EQ(Mapped(m.data, m.available), content.substr(offset, m.available));
    ASSERT_EQ(hdrpars_DataUnMap(resource, m.data), 0u);
  }
  EXPECT_EQ(sc::testing::LiveBlocks(), base + 1);
  EXPECT_EQ(hdrpars_CloseResource(resource), 0u);
}

TEST_F(ResourceTest, ArgumentsAndKinds) {
  ParserResource *resource = reinterpret_cast<ParserResource *>(1);
  EXPECT_EQ(hdrpars_OpenResource("x", 0, 1, 7, 0, &resource), kBadState);
  EXPECT_EQ(resource, nullptr);
  resource = reinterpret_cast<ParserResource *>(1);
  EXPECT_EQ(
      hdrpars_OpenResource(dir_.File("missing").c_str(), 0, 0, PARSER_RESOURCE_FILE, 0, &resource),
      kCannotOpen);
  EXPECT_EQ(resource, nullptr);
  EXPECT_EQ(hdrpars_OpenResource(nullptr, 0, 0, PARSER_RESOURCE_FILE, 0, &resource),
            kMissingArgument);
  EXPECT_EQ(hdrpars_OpenResource("x", 0, 1, PARSER_RESOURCE_FILE, 0, nullptr), kMissingArgument);
  Map none = MapRange(nullptr, 0, 10);
  EXPECT_EQ(none.result, 0u);
  EXPECT_EQ(none.data, nullptr);
  uint32_t available;
  EXPECT_EQ(hdrpars_DataMap(nullptr, 0, 1, nullptr, &available), kMissingArgument);
  EXPECT_EQ(hdrpars_CloseResource(nullptr), 0u);
}

TEST_F(ResourceTest, OutOfMemoryLeavesNothingBehind) {
  const std::string path = dir_.Write("f", Pattern(8000));
  const std::string bytes = Pattern(300);
  sctest::ForEachAllocationFailure(
      [&]() -> VQRESULT {
        ParserResource *resource = nullptr;
        VQRESULT result =
            hdrpars_OpenResource(bytes.data(), 0, 300, PARSER_RESOURCE_MEMORY, 0, &resource);
        if (!result) hdrpars_CloseResource(resource);
        return result;
      },
      kNoMemory);
  // Opening, then mapping so that a window with mappings must be retired.
  sctest::ForEachAllocationFailure(
      [&]() -> VQRESULT {
        ParserResource *resource = nullptr;
        VQRESULT result =
            hdrpars_OpenResource(path.c_str(), 0, 0xFFFFFFFF, PARSER_RESOURCE_FILE, 0, &resource);
        if (result) return result;
        Map first = MapRange(resource, 0, 10);
        Map second{kBadState, nullptr, 0};
        if (!first.result) {
          second = MapRange(resource, 4000, 10);
          if (second.result) {
            // The failed mapping changed nothing: the first is intact and another one works.
            EXPECT_EQ(second.data, nullptr);
            EXPECT_EQ(Mapped(first.data, 10), Pattern(10));
          }
        }
        result = first.result ? first.result : second.result;
        hdrpars_DataUnMap(resource, first.data);
        hdrpars_DataUnMap(resource, second.data);
        EXPECT_EQ(hdrpars_CloseResource(resource), 0u);
        return result;
      },
      kNoMemory);
}

TEST_F(ResourceTest, ReadAndSeekFailuresMapNothing) {
  const std::string content = Pattern(3000);
  ParserResource *resource = OpenFile(dir_.Write("f", content));
  {
    hdrtest::FaultySyscalls faults;
    faults.Table().read = [](void *, size_t, sc::plat::File *) -> size_t { return 0; };
    faults.Table().error = [](sc::plat::File *) { return 1; };
    Map map = MapRange(resource, 0, 10);
    EXPECT_EQ(map.result, kReadError);
    EXPECT_EQ(map.data, nullptr);
    faults.Table() = sc::plat::DefaultSyscalls();
    faults.Table().seek = [](sc::plat::File *, int64_t, int) { return -1; };
    EXPECT_EQ(MapRange(resource, 2000, 10).result, kReadError);
    EXPECT_EQ(MapRange(resource, 0, -1).result, kReadError);  // the file's length is unknown
  }
  EXPECT_EQ(hdrpars_CloseResource(resource), 0u);  // nothing was counted
  resource = OpenFile(dir_.File("f"));
  Map map = MapRange(resource, 2990, 10);  // and the source works again
  EXPECT_EQ(Mapped(map.data, map.available), content.substr(2990));
  hdrpars_DataUnMap(resource, map.data);
  EXPECT_EQ(hdrpars_CloseResource(resource), 0u);
}

}  // namespace
