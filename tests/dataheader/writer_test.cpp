// Writing, printing and deleting structures.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "dataheader/tree.h"
#include "dataheader/wide_text.h"
#include "fixtures.h"

namespace {

using hdrtest::Le;

constexpr VQRESULT kBlockNotFound = 0x80220106;
constexpr VQRESULT kWriteError = 0x8022018E;

Tag *Chain(std::initializer_list<Tag *> tags) {
  Tag *first = nullptr;
  for (auto it = std::rbegin(tags); it != std::rend(tags); ++it) {
    (*it)->next = first;
    first = *it;
  }
  return first;
}

Tag *Leaf(std::u16string_view name, std::u16string_view value) {
  return sc::hdr::NewTag(name, value);
}

Tag *Parent(std::u16string_view name, std::initializer_list<Tag *> children) {
  Tag *parent = sc::hdr::NewTag(name, u"");
  parent->children = Chain(children);
  return parent;
}

FileStructure *NewStructure(const std::string &path, std::initializer_list<Tag *> tags) {
  auto *structure = static_cast<FileStructure *>(sc::RawCalloc(1, sizeof(FileStructure)));
  structure->path = sc::hdr::WidePathFromBytes(path.c_str());
  structure->tags = Chain(tags);
  return structure;
}

// Appends an open block over a memory copy of `bytes` that claims `size` bytes.
void AddBlock(FileStructure *structure, std::u16string_view name, const std::string &bytes,
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

const std::string kOne("\0\x01\xFFone-\r\n<>", 10);

// Blocks listed one (10 bytes), two (6 bytes); their descriptions stand the other way round,
// and two's already has OFFSET and SIZE, which are overwritten in place.
FileStructure *TwoBlocks(const std::string &path) {
  FileStructure *structure = NewStructure(
      path, {Leaf(u"COMPTYPE", u"ADDON"), Parent(u"P", {Leaf(u"X", u"1"), Leaf(u"Y", u"2")}),
             Parent(u"DATABLOCK",
                    {Leaf(u"BROKERSTRING", u"two"), Leaf(u"OFFSET", u"999"), Leaf(u"SIZE", u"x")}),
             Parent(u"DATABLOCK", {Leaf(u"BROKERSTRING", u"one")})});
  AddBlock(structure, u"one", kOne, 10);
  AddBlock(structure, u"two", "two!!!", 6);
  return structure;
}

const std::string kTwoBlocksFile =
    "\xFF\xFE" +
    Le(u"<VQS>\r\n<VERSION>VQ_1.0</VERSION>\r\n<HEADER>\r\n"
       u"  <COMPTYPE>ADDON</COMPTYPE>\r\n"
       u"  <P>\r\n    <X>1</X>\r\n    <Y>2</Y>\r\n  </P>\r\n"
       u"  <DATABLOCK>\r\n    <BROKERSTRING>two</BROKERSTRING>\r\n"
       u"    <OFFSET>          10</OFFSET>\r\n    <SIZE>           6</SIZE>\r\n  </DATABLOCK>\r\n"
       u"  <DATABLOCK>\r\n    <BROKERSTRING>one</BROKERSTRING>\r\n"
       u"    <SIZE>          10</SIZE>\r\n    <OFFSET>           0</OFFSET>\r\n  </DATABLOCK>\r\n"
       u"</HEADER>\r\n<BINARYDATA>") +
    kOne + "two!!!" + Le(u"</BINARYDATA>\r\n</VQS>");

class WriterTest : public ::testing::Test {
 protected:
  hdrtest::TempDir dir_;
  const std::string path_ = dir_.File("out.hdr");
};

TEST_F(WriterTest, WritesTheExactBytes) {
  FileStructure *structure = TwoBlocks(path_);
  ASSERT_EQ(hdrpars_WriteFile(structure), 0u);
  EXPECT_EQ(hdrtest::ReadBytes(path_), kTwoBlocksFile);
  hdrpars_DeleteFileStructure(structure);

  structure = NewStructure(path_, {Leaf(u"A", u" as <is> ")});  // no blocks, no BINARYDATA
  ASSERT_EQ(hdrpars_WriteFile(structure), 0u);
  EXPECT_EQ(hdrtest::ReadBytes(path_),
            "\xFF\xFE" + Le(u"<VQS>\r\n<VERSION>VQ_1.0</VERSION>\r\n<HEADER>\r\n"
                            u"  <A> as <is> </A>\r\n</HEADER>\r\n</VQS>"));
  hdrpars_DeleteFileStructure(structure);
}

TEST_F(WriterTest, ReadWriteElsewhereReadBack) {
  const std::string original = dir_.Write(
      "in.hdr",
      hdrtest::HeaderFile(
          u"<NAME>  engine\r\n</NAME>\r\n<INFO>\r\n <V><W>a</W></V> <L>en</L>\r\n</INFO>"
          u"<DATABLOCK><BROKERSTRING>d</BROKERSTRING><OFFSET>0</OFFSET><SIZE>4</SIZE></DATABLOCK>"
          u"<DATABLOCK><BROKERSTRING>e</BROKERSTRING><OFFSET>4</OFFSET><SIZE>3</SIZE></DATABLOCK>",
          Le(u"\r\n<BINARYDATA>") + "WXYZabc" + Le(u"</BINARYDATA>\r\n</VQS>")));
  FileStructure *first = nullptr;
  ASSERT_EQ(hdrpars_ReadFileHeader(original.c_str(), &first), 0u);
  DataBlock *block = nullptr;
  ASSERT_EQ(hdrpars_OpenData(u"d", first, &block), 0u);
  ASSERT_EQ(hdrpars_OpenData(u"e", first, &block), 0u);
  sc::RawFree(first->path);
  first->path = sc::hdr::WidePathFromBytes(path_.c_str());
  ASSERT_EQ(hdrpars_WriteFile(first), 0u);

  FileStructure *second = nullptr;
  ASSERT_EQ(hdrpars_ReadFileHeader(path_.c_str(), &second), 0u);
  EXPECT_EQ(hdrtest::Describe(second->tags),
            "NAME=engine;INFO{V{W=a};L=en};DATABLOCK{BROKERSTRING=d;OFFSET=0;SIZE=4};"
            "DATABLOCK{BROKERSTRING=e;OFFSET=4;SIZE=3}");
  for (const auto &[name, bytes] : {std::pair{u"d", "WXYZ"}, std::pair{u"e", "abc"}}) {
    ASSERT_EQ(hdrpars_OpenData(name, second, &block), 0u);
    const void *data = nullptr;
    uint32_t available = 0;
    ASSERT_EQ(hdrpars_DataMap(block->source, 0, -1, &data, &available), 0u);
    EXPECT_EQ(hdrtest::Mapped(data, available), bytes);
    hdrpars_DataUnMap(block->source, data);
  }
  hdrpars_DeleteFileStructure(first);
  hdrpars_DeleteFileStructure(second);
}

TEST_F(WriterTest, RefusalsBeforeAndWhileWriting) {
  // Header and blocks must agree before anything is created.
  FileStructure *structure =
      NewStructure(path_, {Parent(u"DATABLOCK", {Leaf(u"BROKERSTRING", u"ghost")})});
  EXPECT_EQ(hdrpars_WriteFile(structure), kBlockNotFound);
  AddBlock(structure, u"ghost", "g", 1);
  AddBlock(structure, u"other", "o", 1);  // an open block without description
  EXPECT_EQ(hdrpars_WriteFile(structure), kBlockNotFound);
  hdrpars_DeleteFileStructure(structure);
  structure = NewStructure(path_, {Parent(u"DATABLOCK", {Leaf(u"SIZE", u"1")})});
  EXPECT_EQ(hdrpars_WriteFile(structure), 0x80220105u);
  hdrpars_DeleteFileStructure(structure);
  EXPECT_FALSE(std::filesystem::exists(path_));

  structure = NewStructure(path_, {Parent(u"DATABLOCK", {Leaf(u"BROKERSTRING", u"d")})});
  AddBlock(structure, u"d", "short", 20);  // the source holds fewer bytes than the size
  EXPECT_EQ(hdrpars_WriteFile(structure), 0x8022018Du);
  sc::RawFree(structure->path);
  structure->path = sc::hdr::CopyText(u"\xDBFF");  // no byte string converts to it
  EXPECT_EQ(hdrpars_WriteFile(structure), 0x80220180u);
  hdrpars_DeleteFileStructure(structure);
  EXPECT_EQ(hdrpars_WriteFile(nullptr), 0x80220182u);
  EXPECT_EQ(hdrpars_PrintFileStructure(nullptr), 0x80220182u);
  EXPECT_EQ(hdrpars_DeleteFileStructure(nullptr), 0u);

  structure = TwoBlocks(path_);
  hdrtest::FaultySyscalls faults;
  faults.Table().open = [](const char *, const char *) -> sc::plat::File * { return nullptr; };
  EXPECT_EQ(hdrpars_WriteFile(structure), 0x8022018Bu);
  faults.Table() = sc::plat::DefaultSyscalls();
  faults.Table().write = [](const void *, size_t size, sc::plat::File *) { return size / 2; };
  EXPECT_EQ(hdrpars_WriteFile(structure), kWriteError);
  faults.Table() = sc::plat::DefaultSyscalls();
  faults.Table().close = [](sc::plat::File *file) {  // the final flush fails
    sc::plat::DefaultSyscalls().close(file);
    return -1;
  };
  EXPECT_EQ(hdrpars_WriteFile(structure), kWriteError);
  hdrpars_DeleteFileStructure(structure);
}

TEST_F(WriterTest, OutOfMemoryWhilePlacingBlocks) {
  const int64_t before = sc::testing::LiveBlocks();
  for (uint64_t nth = 1;; ++nth) {
    FileStructure *structure = TwoBlocks(path_);
    sc::testing::FailNthAllocation(nth);
    const VQRESULT result = hdrpars_WriteFile(structure);
    const bool failed = sc::testing::AllocationFailed();
    sc::testing::FailNthAllocation(0);
    hdrpars_DeleteFileStructure(structure);
    ASSERT_EQ(sc::testing::LiveBlocks(), before) << nth;
    ASSERT_EQ(result, failed ? 0x80220186u : 0u) << nth;
    if (!failed) break;
  }
  EXPECT_EQ(hdrtest::ReadBytes(path_), kTwoBlocksFile);
}

TEST_F(WriterTest, PrintShowsTheTreeAsUtf8) {
  FileStructure *structure =
      NewStructure("", {Parent(u"P", {Leaf(u"X", u"1"), Parent(u"Y", {Leaf(u"Z", u"2")})}),
                        Leaf(u"caf\u00E9", u"\U0001F600 \xD800!")});
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(hdrpars_PrintFileStructure(structure), 0u);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "P\n...X: 1\n...Y\n......Z: 2\ncaf\xC3\xA9: \xF0\x9F\x98\x80 \xEF\xBF\xBD!\n");
  hdrpars_DeleteFileStructure(structure);
}

}  // namespace
