// Opening and closing the named data blocks of a file.
#include <gtest/gtest.h>

#include <string>

#include "dataheader/tree.h"
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
constexpr VQRESULT kBadState = 0x80220180;
constexpr VQRESULT kMissingArgument = 0x80220182;
constexpr VQRESULT kNoMemory = 0x80220186;
constexpr VQRESULT kCannotOpen = 0x8022018B;
constexpr VQRESULT kReadError = 0x8022018D;

std::u16string Block(std::u16string_view name, std::u16string_view offset,
                     std::u16string_view size) {
  return u"<DATABLOCK><BROKERSTRING>" + std::u16string(name) + u"</BROKERSTRING><OFFSET>" +
         std::u16string(offset) + u"</OFFSET><SIZE>" + std::u16string(size) +
         u"</SIZE></DATABLOCK>\r\n";
}

// 60 data bytes "abc...": block "one" is bytes 0-9, "two" bytes 10-59 (SIZE 50), "far" lies
// past the end of the file.
const std::string kData =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
    "!@#$%^&*";
const std::u16string kBody =
    u"<NOTE>text that mentions <BINARY DATA></NOTE>\r\n" + Block(u"one", u"           0", u"10") +
    Block(u"two", u"10", u"          50") + Block(u"far", u"500", u"4") +
    Block(u"huge", u"0", u"2000000000") +
    u"<DATABLOCK><BROKERSTRING>nooffset</BROKERSTRING><SIZE>1</SIZE></DATABLOCK>"
    u"<DATABLOCK><BROKERSTRING>nosize</BROKERSTRING><OFFSET>1</OFFSET></DATABLOCK>"
    u"<DATABLOCK><SIZE>1</SIZE></DATABLOCK>"
    u"<DATABLOCK><BROKERSTRING>late</BROKERSTRING><OFFSET>0</OFFSET><SIZE>1</SIZE></DATABLOCK>";
const std::string kFile =
    HeaderFile(kBody, Le(u"\r\n<BINARYDATA>") + kData.substr(0, 60) + Le(u"</BINARYDATA>"));

class DataTest : public ::testing::Test {
 protected:
  FileStructure *ReadFile(const std::string &bytes, const std::string &name = "h") {
    FileStructure *structure = nullptr;
    EXPECT_EQ(hdrpars_ReadFileHeader(dir_.Write(name, bytes).c_str(), &structure), 0u);
    return structure;
  }
  hdrtest::TempDir dir_;
};

TEST_F(DataTest, BlocksCountFromTheFirstByteAfterBinaryData) {
  FileStructure *structure = ReadFile(kFile);
  DataBlock *one = nullptr;
  DataBlock *two = nullptr;
  ASSERT_EQ(hdrpars_OpenData(u"one", structure, &one), 0u);
  ASSERT_EQ(hdrpars_OpenData(u"two", structure, &two), 0u);
  EXPECT_EQ(one->size, 10u);
  EXPECT_EQ(two->size, 50u);
  EXPECT_EQ(structure->dataBlocks, one);
  EXPECT_EQ(one->next, two);
  DataBlock *again = nullptr;
  EXPECT_EQ(hdrpars_OpenData(u"two", structure, &again), 0u);
  EXPECT_EQ(again, two);
  EXPECT_EQ(two->next, nullptr);

  const void *data = nullptr;
  uint32_t available = 0;
  ASSERT_EQ(hdrpars_DataMap(one->source, 0, -1, &data, &available), 0u);
  EXPECT_EQ(Mapped(data, available), kData.substr(0, 10));
  hdrpars_DataUnMap(one->source, data);
  ASSERT_EQ(hdrpars_DataMap(two->source, 20, 80, &data, &available), 0u);
  EXPECT_EQ(Mapped(data, available), kData.substr(30, 30));
  EXPECT_EQ(hdrpars_DataUnMap(two->source, data), 0u);
  ASSERT_EQ(hdrpars_DataMap(two->source, 60, 4, &data, &available), 0u);
  EXPECT_EQ(data, nullptr);

  // A block past the end of the file opens and maps nothing.
  DataBlock *far = nullptr;
  ASSERT_EQ(hdrpars_OpenData(u"far", structure, &far), 0u);
  ASSERT_EQ(hdrpars_DataMap(far->source, 0, 4, &data, &available), 0u);
  EXPECT_EQ(available, 0u);

  // A block whose size claims far more than the file holds maps what is there.
  DataBlock *huge = nullptr;
  ASSERT_EQ(hdrpars_OpenData(u"huge", structure, &huge), 0u);
  const void *all = nullptr;
  ASSERT_EQ(hdrpars_DataMap(huge->source, 0, -1, &all, &available), 0u);
  EXPECT_EQ(Mapped(all, available), kData.substr(0, 60) + Le(u"</BINARYDATA>"));
  EXPECT_EQ(hdrpars_DataUnMap(huge->source, all), 0u);

  // A block still mapped cannot close; deleting the structure leaves its source open so that
  // the mapping stays readable.
  EXPECT_EQ(hdrpars_CloseData(far, structure), kStillMapped);
  EXPECT_EQ(structure->dataBlocks->next->next, far);
  EXPECT_EQ(far->next, huge);
  EXPECT_EQ(hdrpars_CloseData(one, structure), 0u);
  EXPECT_EQ(hdrpars_CloseData(one, structure), kBlockNotFound);
  EXPECT_EQ(structure->dataBlocks, two);
  ParserResource *left = far->source;
  const void *held = nullptr;
  ASSERT_EQ(hdrpars_DataMap(two->source, 0, 5, &held, &available), 0u);
  ParserResource *twoSource = two->source;
  EXPECT_EQ(hdrpars_DeleteFileStructure(structure), 0u);
  EXPECT_EQ(Mapped(held, 5), kData.substr(10, 5));
  EXPECT_EQ(hdrpars_DataUnMap(twoSource, held), 0u);
  EXPECT_EQ(hdrpars_CloseResource(twoSource), 0u);
  EXPECT_EQ(hdrpars_DataUnMap(left, data), 0u);
  EXPECT_EQ(hdrpars_CloseResource(left), 0u);
}

TEST_F(DataTest, DescriptionFaults) {
  FileStructure *structure = ReadFile(kFile);
  DataBlock *block = reinterpret_cast<DataBlock *>(1);
  EXPECT_EQ(hdrpars_OpenData(u"nooffset", structure, &block), kTagMissing);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(hdrpars_OpenData(u"nosize", structure, &block), kTagMissing);
  // The DATABLOCK without BROKERSTRING stands before "late".
  EXPECT_EQ(hdrpars_OpenData(u"late", structure, &block), kTagMissing);
  EXPECT_EQ(hdrpars_OpenData(u"ONE", structure, &block), kTagMissing);
  EXPECT_EQ(hdrpars_OpenData(nullptr, structure, &block), kMissingArgument);
  EXPECT_EQ(hdrpars_OpenData(u"one", nullptr, &block), kMissingArgument);
  EXPECT_EQ(hdrpars_OpenData(u"one", structure, nullptr), kMissingArgument);
  FileStructure empty{nullptr, nullptr, nullptr};
  EXPECT_EQ(hdrpars_OpenData(u"one", &empty, &block), kMissingArgument);
  EXPECT_EQ(hdrpars_CloseData(nullptr, structure), kMissingArgument);
  DataBlock stranger{};
  EXPECT_EQ(hdrpars_CloseData(&stranger, structure), kBlockNotFound);
  EXPECT_EQ(structure->dataBlocks, nullptr);
  hdrpars_DeleteFileStructure(structure);
  structure = ReadFile(HeaderFile(Block(u"one", u"0", u"1")));
  EXPECT_EQ(hdrpars_OpenData(u"ONE", structure, &block), kBlockNotFound);
  hdrpars_DeleteFileStructure(structure);
}

TEST_F(DataTest, FindingTheBinaryData) {
  // No "<BINARYDATA>" at all, or only an odd-aligned one.
  FileStructure *structure =
      ReadFile(HeaderFile(Block(u"d", u"0", u"1"), "x" + Le(u"<BINARYDATA>")));
  DataBlock *block = nullptr;
  EXPECT_EQ(hdrpars_OpenData(u"d", structure, &block), kNoBinaryData);
  hdrpars_DeleteFileStructure(structure);

  // The first occurrence wins, even inside the header text.
  structure = ReadFile(HeaderFile(u"<N><BINARYDATA>xyz</N>" + Block(u"d", u"0", u"3"),
                                  Le(u"\r\n<BINARYDATA>") + "abc"));
  ASSERT_EQ(hdrpars_OpenData(u"d", structure, &block), 0u);
  const void *data = nullptr;
  uint32_t available = 0;
  ASSERT_EQ(hdrpars_DataMap(block->source, 0, 3, &data, &available), 0u);
  EXPECT_EQ(Mapped(data, available), Le(u"xyz").substr(0, 3));
  hdrpars_DataUnMap(block->source, data);
  hdrpars_DeleteFileStructure(structure);
}

TEST_F(DataTest, PathsTheSystemRefusesOrThatHaveNoByteForm) {
  // A name that is not valid UTF-8 opens the same file again through the stored path.
  FileStructure *structure = ReadFile(kFile, "odd-\xFF\xC3-\xC3\xA9.hdr");
  DataBlock *block = nullptr;
  EXPECT_EQ(hdrpars_OpenData(u"one", structure, &block), 0u);
  hdrpars_DeleteFileStructure(structure);

  structure = ReadFile(kFile);
  {
    hdrtest::FaultySyscalls faults;
    faults.Table().open = [](const char *, const char *) -> sc::plat::File * { return nullptr; };
    EXPECT_EQ(hdrpars_OpenData(u"one", structure, &block), kCannotOpen);
    faults.Table() = sc::plat::DefaultSyscalls();
    faults.Table().error = [](sc::plat::File *) { return 1; };
    faults.Table().read = [](void *, size_t, sc::plat::File *) -> size_t { return 0; };
    EXPECT_EQ(hdrpars_OpenData(u"one", structure, &block), kReadError);
  }
  sc::RawFree(structure->path);
  structure->path = sc::hdr::CopyText(u"h\xD800.hdr");
  EXPECT_EQ(hdrpars_OpenData(u"one", structure, &block), kBadState);
  EXPECT_EQ(structure->dataBlocks, nullptr);
  hdrpars_DeleteFileStructure(structure);
}

TEST_F(DataTest, OutOfMemoryOpensNothing) {
  FileStructure *structure = ReadFile(kFile);
  DataBlock *block = nullptr;
  sctest::ForEachAllocationFailure([&] { return hdrpars_OpenData(u"two", structure, &block); },
                                   kNoMemory, [&] { EXPECT_EQ(structure->dataBlocks, nullptr); });
  const void *data = nullptr;
  uint32_t available = 0;
  EXPECT_EQ(hdrpars_DataMap(block->source, 0, -1, &data, &available), 0u);
  EXPECT_EQ(Mapped(data, available), kData.substr(10, 50));
  hdrpars_DataUnMap(block->source, data);
  EXPECT_EQ(hdrpars_CloseData(block, structure), 0u);
  hdrpars_DeleteFileStructure(structure);
}

}  // namespace
