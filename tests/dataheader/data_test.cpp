// Opening and closing the named data blocks of a file.
#include <gtest/gtest.h>

#include <string>

#include "dataheader/wide_text.h"
#include "fixtures.h"
#include "test_util.h"

namespace {

using hdrtest::HeaderFile;
using hdrtest::Le;
using hdrtest::Mapped;

constexpr VQRESULT kTagMissing = 0x80220105;
constexpr VQRESULT kBlockNotFound = 0x80220106;
constexpr VQRESULT kNoBinaryData = 0x80220109;
constexpr VQRESULT kStillMapped = 0x8022010A;
constexpr VQRESULT kMissingArgument = 0x80220182;

std::u16string Block(std::u16string_view name, std::u16string_view offset,
                     std::u16string_view size) {
  return u"<DATABLOCK><BROKERSTRING>" + std::u16string(name) + u"</BROKERSTRING><OFFSET>" +
         std::u16string(offset) + u"</OFFSET><SIZE>" + std::u16string(size) +
         u"</SIZE></DATABLOCK>\r\n";
}

// 60 data bytes: "one" is bytes 0-9, "two" bytes 10-59; "far" lies past the end of the file
// and "huge" claims far more than the file holds.
const std::string kData = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ01234567";
const std::u16string kBody =
    u"<NOTE>mentions <BINARY DATA></NOTE>\r\n" + Block(u"one", u"           0", u"10") +
    Block(u"two", u"10", u"          50") + Block(u"far", u"500", u"4") +
    Block(u"huge", u"0", u"2000000000") +
    u"<DATABLOCK><BROKERSTRING>nooffset</BROKERSTRING><SIZE>1</SIZE></DATABLOCK>"
    u"<DATABLOCK><SIZE>1</SIZE></DATABLOCK>"
    u"<DATABLOCK><BROKERSTRING>late</BROKERSTRING><OFFSET>0</OFFSET><SIZE>1</SIZE></DATABLOCK>";
const std::string kFile = HeaderFile(kBody, Le(u"\r\n<BINARYDATA>") + kData + Le(u"</BINARY"));

class DataTest : public ::testing::Test {
 protected:
  static std::string Bytes(DataBlock *block, uint32_t offset, int32_t length) {
    return hdrtest::MapOnce(block->source, offset, length);
  }
  hdrtest::TempDir dir_;
};

TEST_F(DataTest, BlocksCountFromTheFirstByteAfterBinaryData) {
  FileStructure *structure = dir_.Read(kFile);
  DataBlock *one = nullptr, *two = nullptr, *again = nullptr, *far = nullptr, *huge = nullptr;
  ASSERT_EQ(hdrpars_OpenData(u"one", structure, &one), 0u);
  ASSERT_EQ(hdrpars_OpenData(u"two", structure, &two), 0u);
  EXPECT_EQ(hdrpars_OpenData(u"two", structure, &again), 0u);
  EXPECT_EQ(again, two);
  EXPECT_EQ(structure->dataBlocks, one);
  EXPECT_EQ(one->next, two);
  EXPECT_EQ(two->size, 50u);
  EXPECT_EQ(Bytes(one, 0, -1), kData.substr(0, 10));
  EXPECT_EQ(Bytes(two, 20, 80), kData.substr(30, 30));
  EXPECT_EQ(Bytes(two, 40, -1), kData.substr(50, 10));  // the rest of the block, no more
  EXPECT_EQ(Bytes(two, 60, 4), "<null>");
  ASSERT_EQ(hdrpars_OpenData(u"far", structure, &far), 0u);
  EXPECT_EQ(Bytes(far, 0, 4), "");
  ASSERT_EQ(hdrpars_OpenData(u"huge", structure, &huge), 0u);
  EXPECT_EQ(Bytes(huge, 0, -1), kData + Le(u"</BINARY"));

  // A block still mapped cannot close, and deleting the structure leaves its source open so
  // that the mapping stays readable.
  const void *held = nullptr;
  uint32_t available = 0;
  ASSERT_EQ(hdrpars_DataMap(two->source, 0, 5, &held, &available), 0u);
  EXPECT_EQ(hdrpars_CloseData(two, structure), kStillMapped);
  EXPECT_EQ(hdrpars_CloseData(one, structure), 0u);
  EXPECT_EQ(hdrpars_CloseData(one, structure), kBlockNotFound);
  EXPECT_EQ(structure->dataBlocks, two);
  ParserResource *source = two->source;
  EXPECT_EQ(hdrpars_DeleteFileStructure(structure), 0u);
  EXPECT_EQ(Mapped(held, 5), kData.substr(10, 5));
  EXPECT_EQ(hdrpars_DataUnMap(source, held), 0u);
  EXPECT_EQ(hdrpars_CloseResource(source), 0u);
}

TEST_F(DataTest, DescriptionFaults) {
  FileStructure *structure = dir_.Read(kFile);
  DataBlock *block = reinterpret_cast<DataBlock *>(1);
  EXPECT_EQ(hdrpars_OpenData(u"nooffset", structure, &block), kTagMissing);
  EXPECT_EQ(block, nullptr);
  // The DATABLOCK without BROKERSTRING stands before "late" and any name not found sooner.
  EXPECT_EQ(hdrpars_OpenData(u"late", structure, &block), kTagMissing);
  EXPECT_EQ(hdrpars_OpenData(u"ONE", structure, &block), kTagMissing);
  FileStructure empty{nullptr, nullptr, nullptr};
  EXPECT_EQ(hdrpars_OpenData(u"one", &empty, &block), kMissingArgument);
  DataBlock stranger{};
  EXPECT_EQ(hdrpars_CloseData(&stranger, structure), kBlockNotFound);
  hdrpars_DeleteFileStructure(structure);

  structure = dir_.Read(HeaderFile(Block(u"one", u"0", u"1")));
  EXPECT_EQ(hdrpars_OpenData(u"ONE", structure, &block), kBlockNotFound);
  EXPECT_EQ(hdrpars_OpenData(u"one", structure, &block), kNoBinaryData);
  hdrpars_DeleteFileStructure(structure);
}

TEST_F(DataTest, TheFirstAlignedBinaryDataWins) {
  // An odd-aligned marker does not count; one inside the header text does.
  FileStructure *structure = dir_.Read(HeaderFile(
      u"<N><BINARYDATA>xyz</N>" + Block(u"d", u"0", u"3"), "x" + Le(u"<BINARYDATA>") + "abc"));
  DataBlock *block = nullptr;
  ASSERT_EQ(hdrpars_OpenData(u"d", structure, &block), 0u);
  EXPECT_EQ(Bytes(block, 0, 3), Le(u"xyz").substr(0, 3));
  hdrpars_DeleteFileStructure(structure);
  structure = dir_.Read(HeaderFile(Block(u"d", u"0", u"1"), "x" + Le(u"<BINARYDATA>")));
  EXPECT_EQ(hdrpars_OpenData(u"d", structure, &block), kNoBinaryData);
  hdrpars_DeleteFileStructure(structure);
}

TEST_F(DataTest, PathsAndSystemFailures) {
  // A name that is not valid UTF-8 opens the same file again through the stored path.
  FileStructure *structure = dir_.Read(kFile, "odd-\xFF\xC3-\xC3\xA9.hdr");
  DataBlock *block = nullptr;
  ASSERT_EQ(hdrpars_OpenData(u"one", structure, &block), 0u);
  EXPECT_EQ(Bytes(block, 0, 3), "abc");
  EXPECT_EQ(hdrpars_CloseData(block, structure), 0u);
  {
    hdrtest::FaultySyscalls faults;
    faults.Table().open = [](const char *, const char *) -> sc::plat::File * { return nullptr; };
    EXPECT_EQ(hdrpars_OpenData(u"one", structure, &block), 0x8022018Bu);
    faults.Table() = sc::plat::DefaultSyscalls();
    faults.FailReads();
    EXPECT_EQ(hdrpars_OpenData(u"one", structure, &block), 0x8022018Du);
  }
  sc::RawFree(structure->path);
  structure->path = sc::hdr::CopyText(u"h\xD800.hdr");  // no byte string converts to it
  EXPECT_EQ(hdrpars_OpenData(u"one", structure, &block), 0x80220180u);
  EXPECT_EQ(structure->dataBlocks, nullptr);
  hdrpars_DeleteFileStructure(structure);
}

TEST_F(DataTest, OutOfMemoryOpensNothing) {
  FileStructure *structure = dir_.Read(kFile);
  DataBlock *block = nullptr;
  sctest::ForEachAllocationFailure([&] { return hdrpars_OpenData(u"two", structure, &block); },
                                   0x80220186, [&] { EXPECT_EQ(structure->dataBlocks, nullptr); });
  EXPECT_EQ(Bytes(block, 0, -1), kData.substr(10, 50));
  hdrpars_DeleteFileStructure(structure);
}

}  // namespace
