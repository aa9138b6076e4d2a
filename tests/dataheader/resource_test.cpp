// Parser resources (mapping, window retirement, closing, their failures) and the named data
// blocks of a file that are opened on them.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "dataheader/wide_text.h"
#include "fixtures.h"
#include "test_util.h"

namespace {

using namespace hdrtest;

struct Map {
  VQRESULT result;
  const void *data;
  uint32_t available;
  std::string Bytes() const {
    return data ? std::string(static_cast<const char *>(data), available) : "<null>";
  }
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
  sctest::TempDir dir_;
  const std::string content_ = [] {  // bytes that tell their offsets apart
    std::string bytes(20000, '\0');
    for (size_t i = 0; i < bytes.size(); ++i)
      bytes[i] = static_cast<char>(i * 7 + i / 251);
    return bytes;
  }();
  const std::string path_ = dir_.Write("f", content_);
};

TEST_F(ResourceTest, MemoryCopiesMapWithoutCountingFilesUpToTheirEnd) {
  std::string bytes = "0123456789";
  ParserResource *resource = Open(bytes.data(), 2, 10, PARSER_RESOURCE_MEMORY);
  bytes[3] = 'X';  // the resource holds its own copy
  EXPECT_EQ(MapRange(resource, 1, 4).Bytes(), "3456");
  EXPECT_EQ(MapRange(resource, 5, 100).Bytes(), "789");
  EXPECT_EQ(MapRange(resource, 8, 1).Bytes(), "<null>");  // past the copy
  EXPECT_EQ(hdrpars_CloseResource(resource), 0u);         // mappings of a copy are not counted

  // The file's end limits what is available, but a mapping at the end still counts and must
  // be given back.
  resource = Open(path_.c_str(), 19900, PARSER_RESOURCE_SIZE_UNKNOWN, PARSER_RESOURCE_FILE);
  const Map tail = MapRange(resource, 95, 10);
  const Map end = MapRange(resource, 100, 10);
  EXPECT_EQ(tail.Bytes(), content_.substr(19995));
  ASSERT_NE(end.data, nullptr);
  EXPECT_EQ(end.available, 0u);
  for (const Map &map : {tail, end}) {
    EXPECT_EQ(hdrpars_CloseResource(resource), HDRPARS_E_STILL_MAPPED);
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
  EXPECT_EQ(hdrpars_DataUnMap(resource, c.data), HDRPARS_E_UNEXPECTED);
  EXPECT_EQ(a.Bytes(), content_.substr(0, 16));
  EXPECT_EQ(d.Bytes(), content_.substr(9000, 2000));
  EXPECT_EQ(hdrpars_DataUnMap(resource, d.data), 0u);
  EXPECT_EQ(hdrpars_CloseResource(resource), HDRPARS_E_STILL_MAPPED);  // a retired window is left
  EXPECT_EQ(hdrpars_DataUnMap(resource, a.data), 0u);
  EXPECT_EQ(sc::testing::LiveBlocks(), base + 1);
  EXPECT_EQ(hdrpars_CloseResource(resource), 0u);
}

TEST_F(ResourceTest, RefusalsAndFailuresMapNothing) {
  for (const auto &[path, kind, code] :
       {std::tuple{"x", 7u, HDRPARS_E_UNEXPECTED},
        std::tuple{"/no/such/file", 0u, HDRPARS_E_FILE_OPEN},
        std::tuple{static_cast<const char *>(nullptr), 0u, HDRPARS_E_INVALID_ARGUMENT}}) {
    ParserResource *resource = reinterpret_cast<ParserResource *>(1);
    EXPECT_EQ(hdrpars_OpenResource(path, 0, 1, kind, 0, &resource), code);
    EXPECT_EQ(resource, nullptr);
  }
  uint32_t available;
  EXPECT_EQ(hdrpars_DataMap(nullptr, 0, 1, nullptr, &available), HDRPARS_E_INVALID_ARGUMENT);

  ParserResource *resource = Open(path_.c_str(), 0, 0xFFFFFFFF, PARSER_RESOURCE_FILE);
  {
    FaultySyscalls faults;
    faults.FailReads();
    EXPECT_EQ(MapRange(resource, 0, 10).result, HDRPARS_E_FILE_READ);
    faults.Table() = sc::plat::DefaultSyscalls();
    faults.Table().seek = [](sc::plat::File *, int64_t, int) { return -1; };
    EXPECT_EQ(MapRange(resource, 2000, 10).result, HDRPARS_E_FILE_READ);
    EXPECT_EQ(MapRange(resource, 0, -1).result, HDRPARS_E_FILE_READ);  // the length is unknown
  }
  EXPECT_EQ(MapOnce(resource, 19990, 10), content_.substr(19990));  // working again
  EXPECT_EQ(hdrpars_CloseResource(resource), 0u);                   // the failures counted nothing
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
      HDRPARS_E_OUT_OF_MEMORY);
}

std::u16string Block(std::u16string_view name, std::u16string_view offset,
                     std::u16string_view size) {
  return u"<DATABLOCK><BROKERSTRING>" + std::u16string(name) + u"</BROKERSTRING><OFFSET>" +
         std::u16string(offset) + u"</OFFSET><SIZE>" + std::u16string(size) +
         u"</SIZE></DATABLOCK>\r\n";
}

// 60 data bytes: "one" is bytes 0-9, "two" bytes 10-59. (Blocks past the end, of huge sizes
// and with faulty descriptions have their files in tests/corpus/dataheader.)
const std::string kData = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ01234567";
const std::string kFile =
    HeaderFile(u"<NOTE>mentions <BINARY DATA></NOTE>\r\n" + Block(u"one", u"           0", u"10") +
                   Block(u"two", u"10", u"          50"),
               Le(u"\r\n<BINARYDATA>") + kData + Le(u"</BINARY"));

using DataTest = ResourceTest;

TEST_F(DataTest, BlocksCountFromTheFirstByteAfterBinaryData) {
  FileStructure *structure = ReadHeader(dir_, kFile);
  DataBlock *one = nullptr, *two = nullptr, *again = nullptr;
  ASSERT_EQ(hdrpars_OpenData(u"one", structure, &one), 0u);
  ASSERT_EQ(hdrpars_OpenData(u"two", structure, &two), 0u);
  EXPECT_EQ(hdrpars_OpenData(u"two", structure, &again), 0u);
  EXPECT_EQ(std::tuple(again, two->size), std::tuple(two, 50u));
  EXPECT_EQ(MapOnce(one->source, 0, -1), kData.substr(0, 10));
  EXPECT_EQ(MapOnce(two->source, 20, 80), kData.substr(30, 30));
  EXPECT_EQ(MapOnce(two->source, 40, -1), kData.substr(50, 10));  // the rest of the block
  EXPECT_EQ(MapOnce(two->source, 60, 4), "<null>");
  EXPECT_EQ(hdrpars_OpenData(u"ONE", structure, &again), HDRPARS_E_DATABLOCK_NOT_FOUND);
  FileStructure empty{nullptr, nullptr, nullptr};
  EXPECT_EQ(hdrpars_OpenData(u"one", &empty, &again), HDRPARS_E_INVALID_ARGUMENT);

  // A block still mapped cannot close, and deleting the structure leaves its source open so
  // that the mapping stays readable.
  const void *held = nullptr;
  uint32_t available = 0;
  ASSERT_EQ(hdrpars_DataMap(two->source, 0, 5, &held, &available), 0u);
  EXPECT_EQ(hdrpars_CloseData(two, structure), HDRPARS_E_STILL_MAPPED);
  EXPECT_EQ(hdrpars_CloseData(one, structure), 0u);
  EXPECT_EQ(hdrpars_CloseData(one, structure), HDRPARS_E_DATABLOCK_NOT_FOUND);
  ParserResource *source = two->source;
  EXPECT_EQ(hdrpars_DeleteFileStructure(structure), 0u);
  EXPECT_EQ(std::string(static_cast<const char *>(held), 5), kData.substr(10, 5));
  EXPECT_EQ(hdrpars_DataUnMap(source, held), 0u);
  EXPECT_EQ(hdrpars_CloseResource(source), 0u);
}

TEST_F(DataTest, PathsSystemFailuresAndOutOfMemory) {
  // A name that is not valid UTF-8 opens the same file again through the stored path.
  FileStructure *structure = ReadHeader(dir_, kFile, "odd-\xFF\xC3-\xC3\xA9.hdr");
  DataBlock *block = nullptr;
  {
    FaultySyscalls faults;
    faults.Table().open = [](const char *, const char *) -> sc::plat::File * { return nullptr; };
    EXPECT_EQ(hdrpars_OpenData(u"one", structure, &block), HDRPARS_E_FILE_OPEN);
  }
  sctest::ForEachAllocationFailure([&] { return hdrpars_OpenData(u"two", structure, &block); },
                                   HDRPARS_E_OUT_OF_MEMORY,
                                   [&] { EXPECT_EQ(structure->dataBlocks, nullptr); });
  EXPECT_EQ(MapOnce(block->source, 0, 3), kData.substr(10, 3));
  sc::RawFree(structure->path);
  structure->path = sc::hdr::CopyText(u"h\xD800.hdr");  // no byte string converts to it
  EXPECT_EQ(hdrpars_OpenData(u"one", structure, &block), HDRPARS_E_UNEXPECTED);
  hdrpars_DeleteFileStructure(structure);
}

}  // namespace
