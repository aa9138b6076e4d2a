// Parser resources: mapping, window retirement, closing, and their failures.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "fixtures.h"
#include "test_util.h"

namespace {

using hdrtest::Mapped;

constexpr VQRESULT kStillMapped = 0x8022010A;
constexpr VQRESULT kBadState = 0x80220180;
constexpr VQRESULT kMissingArgument = 0x80220182;
constexpr VQRESULT kNoMemory = 0x80220186;
constexpr VQRESULT kCannotOpen = 0x8022018B;
constexpr VQRESULT kReadError = 0x8022018D;

struct Map {
  VQRESULT result;
  const void *data;
  uint32_t available;
  std::string Bytes() const { return Mapped(data, available); }
};

Map MapRange(ParserResource *resource, uint32_t offset, int32_t length) {
  Map map{0, nullptr, 0};
  map.result = hdrpars_DataMap(resource, offset, length, &map.data, &map.available);
  return map;
}

ParserResource *Open(const void *what, uint32_t base, uint32_t size, uint32_t kind) {
  ParserResource *resource = nullptr;
  EXPECT_EQ(hdrpars_OpenResource(what, base, size, kind, 0, &resource), 0u);
  return resource;
}

class ResourceTest : public ::testing::Test {
 protected:
  hdrtest::TempDir dir_;
  const std::string content_ = [] {  // bytes that tell their offsets apart
    std::string bytes(20000, '\0');
    for (size_t i = 0; i < bytes.size(); ++i)
      bytes[i] = static_cast<char>(i * 7 + i / 251);
    return bytes;
  }();
  const std::string path_ = dir_.Write("f", content_);
};

TEST_F(ResourceTest, MemoryCopyMapsWithoutCounting) {
  std::string bytes = "0123456789";
  ParserResource *resource = Open(bytes.data(), 2, 10, PARSER_RESOURCE_MEMORY);
  bytes[3] = 'X';  // the resource holds its own copy
  EXPECT_EQ(MapRange(resource, 1, 4).Bytes(), "3456");
  EXPECT_EQ(MapRange(resource, 5, 100).Bytes(), "789");
  EXPECT_EQ(MapRange(resource, 0, -1).Bytes(), "23456789");
  EXPECT_EQ(MapRange(resource, 8, 1).Bytes(), "<null>");  // past the copy
  EXPECT_EQ(hdrpars_DataUnMap(resource, "foreign"), 0u);
  EXPECT_EQ(hdrpars_CloseResource(resource), 0u);  // mappings of a copy are not counted
}

TEST_F(ResourceTest, FileMappingsStopAtTheEndOfTheFile) {
  // The file's end limits what is available, but a mapping at the end still counts and must
  // be given back. (A known size is a data block's; see the block tests.)
  ParserResource *resource = Open(path_.c_str(), 19900, 0xFFFFFFFF, PARSER_RESOURCE_FILE);
  const Map tail = MapRange(resource, 95, 10);
  const Map end = MapRange(resource, 100, 10);
  EXPECT_EQ(tail.Bytes(), content_.substr(19995));
  ASSERT_NE(end.data, nullptr);
  EXPECT_EQ(end.available, 0u);
  EXPECT_EQ(MapRange(resource, 0, 0).data, nullptr);
  for (const Map &map : {tail, end}) {
    EXPECT_EQ(hdrpars_CloseResource(resource), kStillMapped);
    EXPECT_EQ(hdrpars_DataUnMap(resource, map.data), 0u);
  }
  EXPECT_EQ(hdrpars_CloseResource(resource), 0u);
}

TEST_F(ResourceTest, RetiredWindowsKeepMappingsValidUntilGivenBack) {
  ParserResource *resource = Open(path_.c_str(), 0, 0xFFFFFFFF, PARSER_RESOURCE_FILE);
  const int64_t base = sc::testing::LiveBlocks();
  const Map a = MapRange(resource, 0, 16);
  const Map b = MapRange(resource, 100, 16);  // same window, no new buffer
  EXPECT_EQ(sc::testing::LiveBlocks(), base + 1);
  const Map c = MapRange(resource, 5000, 16);    // first window retired with two mappings
  const Map d = MapRange(resource, 9000, 2000);  // second retired, a larger third window
  EXPECT_EQ(sc::testing::LiveBlocks(), base + 5);
  EXPECT_EQ(d.available, 2000u);

  // Given back out of order, a window goes with its last mapping; the rest read the same.
  EXPECT_EQ(hdrpars_DataUnMap(resource, b.data), 0u);
  EXPECT_EQ(hdrpars_DataUnMap(resource, c.data), 0u);
  EXPECT_EQ(sc::testing::LiveBlocks(), base + 3);
  EXPECT_EQ(hdrpars_DataUnMap(resource, c.data), kBadState);
  EXPECT_EQ(a.Bytes(), content_.substr(0, 16));
  EXPECT_EQ(d.Bytes(), content_.substr(9000, 2000));
  EXPECT_EQ(hdrpars_DataUnMap(resource, d.data), 0u);
  EXPECT_EQ(hdrpars_CloseResource(resource), kStillMapped);  // a retired window is left
  EXPECT_EQ(hdrpars_DataUnMap(resource, a.data), 0u);
  EXPECT_EQ(sc::testing::LiveBlocks(), base + 1);
  EXPECT_EQ(hdrpars_DataUnMap(resource, &content_[0]), kBadState);

  EXPECT_EQ(hdrpars_CloseResource(resource), 0u);
}

TEST_F(ResourceTest, RefusedOpensAndArguments) {
  for (const auto &[path, kind, code] :
       {std::tuple{"x", 7u, kBadState}, std::tuple{"/no/such/file", 0u, kCannotOpen},
        std::tuple{static_cast<const char *>(nullptr), 0u, kMissingArgument}}) {
    ParserResource *resource = reinterpret_cast<ParserResource *>(1);
    EXPECT_EQ(hdrpars_OpenResource(path, 0, 1, kind, 0, &resource), code);
    EXPECT_EQ(resource, nullptr);
  }
  EXPECT_EQ(hdrpars_OpenResource("x", 0, 1, PARSER_RESOURCE_FILE, 0, nullptr), kMissingArgument);
  uint32_t available;
  EXPECT_EQ(hdrpars_DataMap(nullptr, 0, 1, nullptr, &available), kMissingArgument);
  EXPECT_EQ(MapRange(nullptr, 0, 10).Bytes(), "<null>");
  EXPECT_EQ(hdrpars_CloseResource(nullptr), 0u);
}

TEST_F(ResourceTest, OutOfMemoryLeavesNothingBehind) {
  sctest::ForEachAllocationFailure(
      [&]() -> VQRESULT {
        ParserResource *copy = nullptr;
        ParserResource *file = nullptr;
        VQRESULT result = hdrpars_OpenResource("abc", 0, 3, PARSER_RESOURCE_MEMORY, 0, &copy);
        if (!result) result = hdrpars_OpenResource(path_.c_str(), 0, 0xFFFFFFFF, 0, 0, &file);
        Map first{0, nullptr, 0}, second{0, nullptr, 0};
        if (!result) result = (first = MapRange(file, 0, 10)).result;
        if (!result) result = (second = MapRange(file, 4000, 10)).result;  // retires a window
        if (result && first.data) {  // the failed mapping left the first intact
          EXPECT_EQ(first.Bytes(), content_.substr(0, 10));
        }
        hdrpars_DataUnMap(file, first.data);
        hdrpars_DataUnMap(file, second.data);
        EXPECT_EQ(hdrpars_CloseResource(file), 0u);
        EXPECT_EQ(hdrpars_CloseResource(copy), 0u);
        return result;
      },
      kNoMemory);
}

TEST_F(ResourceTest, ReadAndSeekFailuresMapNothing) {
  ParserResource *resource = Open(path_.c_str(), 0, 0xFFFFFFFF, PARSER_RESOURCE_FILE);
  {
    hdrtest::FaultySyscalls faults;
    faults.FailReads();
    EXPECT_EQ(MapRange(resource, 0, 10).result, kReadError);
    faults.Table() = sc::plat::DefaultSyscalls();
    faults.Table().seek = [](sc::plat::File *, int64_t, int) { return -1; };
    EXPECT_EQ(MapRange(resource, 2000, 10).result, kReadError);
    EXPECT_EQ(MapRange(resource, 0, -1).result, kReadError);  // the length is unknown
  }
  const Map map = MapRange(resource, 19990, 10);  // and the source works again
  EXPECT_EQ(map.Bytes(), content_.substr(19990));
  EXPECT_EQ(hdrpars_DataUnMap(resource, map.data), 0u);
  EXPECT_EQ(hdrpars_CloseResource(resource), 0u);  // the failures counted nothing
}

}  // namespace
