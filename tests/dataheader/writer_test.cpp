// Writing, printing and deleting structures.
#include <gtest/gtest.h>

#include <string>

#include "dataheader/tree.h"
#include "dataheader/wide_text.h"
#include "fixtures.h"
#include "test_util.h"

namespace {

using namespace hdrtest;

const std::string kOne("\0\x01\xFFone-\r\n<>", 10);

class WriterTest : public ::testing::Test {
 protected:
  // A structure read from a file made of `body`, to be written to out.hdr.
  FileStructure *Structure(std::u16string_view body) {
    FileStructure *structure = ReadHeader(dir_, HeaderFile(body), "in");
    sc::RawFree(structure->path);
    structure->path = sc::hdr::WidePathFromBytes(path_.c_str());
    return structure;
  }
  // Appends an open block over a copy of `bytes` that claims `size` bytes.
  static void AddBlock(FileStructure *structure, std::u16string_view name, const std::string &bytes,
                       uint32_t size) {
    auto *block = static_cast<DataBlock *>(sc::RawCalloc(1, sizeof(DataBlock)));
    hdrpars_OpenResource(bytes.data(), 0, uint32_t(bytes.size()), 1, 0, &block->source);
    block->size = size;
    block->name = sc::hdr::CopyText(name);
    DataBlock **tail = &structure->dataBlocks;
    while (*tail)
      tail = &(*tail)->next;
    *tail = block;
  }
  // Blocks listed one (10 bytes), two (6 bytes); their descriptions stand the other way round,
  // and two's already has OFFSET (with a child) and SIZE, which are overwritten in place.
  FileStructure *TwoBlocks() {
    FileStructure *structure = Structure(
        u"<COMPTYPE>ADDON</COMPTYPE><P><X>1</X><Y>2</Y></P><DATABLOCK><BROKERSTRING>two"
        u"</BROKERSTRING><OFFSET><Q>9</Q></OFFSET><SIZE>x</SIZE></DATABLOCK><DATABLOCK>"
        u"<BROKERSTRING>one</BROKERSTRING></DATABLOCK>");
    AddBlock(structure, u"one", kOne, 10);
    AddBlock(structure, u"two", "two!!!", 6);
    return structure;
  }
  const std::string kTwoBlocksFile =
      "\xFF\xFE" +
      Le(u"<VQS>\r\n<VERSION>VQ_1.0</VERSION>\r\n<HEADER>\r\n  <COMPTYPE>ADDON</COMPTYPE>\r\n"
         u"  <P>\r\n    <X>1</X>\r\n    <Y>2</Y>\r\n  </P>\r\n"
         u"  <DATABLOCK>\r\n    <BROKERSTRING>two</BROKERSTRING>\r\n"
         u"    <OFFSET>          10</OFFSET>\r\n    <SIZE>           6</SIZE>\r\n  </DATABLOCK>\r\n"
         u"  <DATABLOCK>\r\n    <BROKERSTRING>one</BROKERSTRING>\r\n"
         u"    <SIZE>          10</SIZE>\r\n    <OFFSET>           0</OFFSET>\r\n  </DATABLOCK>\r\n"
         u"</HEADER>\r\n<BINARYDATA>") +
      kOne + "two!!!" + Le(u"</BINARYDATA>\r\n</VQS>");

  sctest::TempDir dir_;
  const std::string path_ = dir_.Path("out.hdr");
};

TEST_F(WriterTest, WritesTheExactBytes) {
  FileStructure *structure = TwoBlocks();
  ASSERT_EQ(hdrpars_WriteFile(structure), 0u);
  EXPECT_EQ(sctest::ReadFile(path_), kTwoBlocksFile);
  hdrpars_DeleteFileStructure(structure);

  structure = Structure(u"<A> as <is> </A>");  // no blocks: no BINARYDATA part
  ASSERT_EQ(hdrpars_WriteFile(structure), 0u);
  EXPECT_EQ(sctest::ReadFile(path_),
            "\xFF\xFE" + Le(u"<VQS>\r\n<VERSION>VQ_1.0</VERSION>\r\n<HEADER>\r\n"
                            u"  <A>as <is></A>\r\n</HEADER>\r\n</VQS>"));
  hdrpars_DeleteFileStructure(structure);
}

TEST_F(WriterTest, RefusalsBeforeAndWhileWriting) {
  // Header and blocks must agree before anything is created.
  FileStructure *structure =
      Structure(u"<DATABLOCK><BROKERSTRING>d</BROKERSTRING></DATABLOCK><DATABLOCK>x</DATABLOCK>");
  EXPECT_EQ(hdrpars_WriteFile(structure), HDRPARS_E_DATABLOCK_NOT_FOUND);
  AddBlock(structure, u"d", "short", 20);  // the source holds fewer bytes than the size
  EXPECT_EQ(hdrpars_WriteFile(structure), HDRPARS_E_TAG_MISSING);  // the second has no BROKERSTRING
  EXPECT_FALSE(std::filesystem::exists(path_));
  structure->tags->next = nullptr;
  EXPECT_EQ(hdrpars_WriteFile(structure), HDRPARS_E_FILE_READ);
  sc::RawFree(structure->path);
  structure->path = sc::hdr::CopyText(u"\xDBFF");  // no byte string converts to it
  EXPECT_EQ(hdrpars_WriteFile(structure), HDRPARS_E_UNEXPECTED);
  hdrpars_DeleteFileStructure(structure);

  structure = TwoBlocks();
  FaultySyscalls faults;
  faults.Table().open = [](const char *, const char *) -> sc::plat::File * { return nullptr; };
  EXPECT_EQ(hdrpars_WriteFile(structure), HDRPARS_E_FILE_OPEN);
  faults.Table() = sc::plat::DefaultSyscalls();
  faults.Table().close = [](sc::plat::File *file) {  // the final flush fails
    sc::plat::DefaultSyscalls().close(file);
    return -1;
  };
  EXPECT_EQ(hdrpars_WriteFile(structure), HDRPARS_E_FILE_WRITE);
  hdrpars_DeleteFileStructure(structure);
}

TEST_F(WriterTest, OutOfMemoryWhileReadingAndPlacingBlocks) {
  const std::string in = dir_.Write("in", HeaderFile(u"<A>1</A><P><X>1</X><Y><Z>2</Z></Y></P>"));
  sctest::ForEachAllocationFailure(
      [&]() -> VQRESULT {
        FileStructure *structure = nullptr;
        const VQRESULT result = hdrpars_ReadFileHeader(in.c_str(), &structure);
        if (!result) {
          EXPECT_EQ(Describe(structure->tags), "A=1;P{X=1;Y{Z=2}}");
        }
        hdrpars_DeleteFileStructure(structure);
        return result;
      },
      HDRPARS_E_OUT_OF_MEMORY);
  // Each attempt writes a fresh structure, made while allocations work.
  FileStructure *structure = TwoBlocks();
  sctest::ForEachAllocationFailure([&] { return hdrpars_WriteFile(structure); },
                                   [&](uint32_t result, bool failed) {
                                     EXPECT_EQ(result, failed ? HDRPARS_E_OUT_OF_MEMORY : 0u);
                                     hdrpars_DeleteFileStructure(structure);
                                     structure = TwoBlocks();
                                   });
  hdrpars_DeleteFileStructure(structure);
  EXPECT_EQ(sctest::ReadFile(path_), kTwoBlocksFile);
}

TEST_F(WriterTest, PrintShowsTheTreeAsUtf8) {
  FileStructure *structure =
      Structure(u"<P><X>1</X><Y><Z>2</Z></Y></P><caf\u00E9>\U0001F600 \xD800!</caf\u00E9>");
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(hdrpars_PrintFileStructure(structure), 0u);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "P\n...X: 1\n...Y\n......Z: 2\ncaf\xC3\xA9: \xF0\x9F\x98\x80 \xEF\xBF\xBD!\n");
  hdrpars_DeleteFileStructure(structure);
}

}  // namespace
