// Reading the tagged text of files made byte by byte. (The malformed files of tests/corpus and
// the fuzz target's corpus run as tests of their own.)
#include <gtest/gtest.h>

#include <string>

#include "fixtures.h"
#include "test_util.h"

namespace {

using namespace hdrtest;

// A failure code as Read gives it.
std::string Failure(VQRESULT code) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", code);
  return text;
}

const std::string kWrongFormat = Failure(HDRPARS_E_WRONG_FORMAT);

class ReaderTest : public ::testing::Test {
 protected:
  // Reads the bytes as a file: the tree as a string, or the failure code in hex.
  std::string Read(const std::string &bytes) {
    FileStructure *structure = reinterpret_cast<FileStructure *>(1);
    const VQRESULT result = hdrpars_ReadFileHeader(dir_.Write("h", bytes).c_str(), &structure);
    if (result) {
      EXPECT_EQ(structure, nullptr);
      return Failure(result);
    }
    std::string tree = Describe(structure->tags);
    hdrpars_DeleteFileStructure(structure);
    return tree;
  }
  sctest::TempDir dir_;
};

TEST_F(ReaderTest, GrammarOfElementsAndChildren) {
  const struct {
    std::u16string body;
    std::string tree;
  } cases[] = {
      {u"<P>  hello world \r\n</P><Q>a \r\n b</Q>", "P=hello world;Q=a \r\n b"},
      {u"<P>\r\n  <X> 1 </X>\r\n  <Y>2</Y>\r\n</P>\r\n<Z>3</Z>", "P{X=1;Y=2};Z=3"},
      {u"<P><X>1</X>tail<Y>2</Y></P>", "P{X=1}"},
      {u"<A><B><C>deep</C></B></A>", "A{B{C=deep}}"},
      {u"<A><B>1</A></B><C>2</C>", "A=<B>1"},  // the first closing tag of A ends it
      {u"<A>1</A>\r\n<B>2", "A=1"},            // unclosed last element
      {u"<A>1</A><B>x</b>", "A=1"},            // names are case-sensitive
      {u"<A B>1</A B><>2</><C></C><D><e</D>", "A B=1;=2;C=;D=<e"},
  };
  for (const auto &c : cases)
    EXPECT_EQ(Read(HeaderFile(c.body)), c.tree) << Ascii(c.body.c_str());
  // No byte-order mark; elements between VERSION and HEADER.
  EXPECT_EQ(Read(HeaderFile(u"<A>1</A>").substr(2)), "A=1");
  EXPECT_EQ(Read("\xFF\xFE" + Le(u"<VQS>\r\n<VERSION>VQ_1</VERSION><NOTE>x</NOTE>\r\n"
                                 u"<HEADER><A>1</A></HEADER>")),
            "A=1");
}

TEST_F(ReaderTest, TruncatedFilesFailCleanlyAtEveryLength) {
  const std::string whole = HeaderFile(
      u"  <T>ADDON</T>\r\n  <DATABLOCK>\r\n    <BROKERSTRING>d</BROKERSTRING>\r\n  "
      u"</DATABLOCK>\r\n",
      Le(u"\r\n<BINARYDATA>") + "0123" + Le(u"</BINARYDATA>\r\n</VQS>"));
  const size_t headerEnd = whole.find(Le(u"</HEADER>")) + 18;
  const int64_t before = sc::testing::LiveBlocks();
  for (size_t length = 0; length <= whole.size(); ++length) {
    ASSERT_EQ(Read(whole.substr(0, length)),
              length >= headerEnd ? "T=ADDON;DATABLOCK{BROKERSTRING=d}" : kWrongFormat)
        << length;
    ASSERT_EQ(sc::testing::LiveBlocks(), before);
  }
}

TEST_F(ReaderTest, FindTagSearchesOneLevel) {
  FileStructure *structure = ReadHeader(dir_, HeaderFile(u"<A>1</A><P> <X>1</X>\r\n</P><A>2</A>"));
  EXPECT_EQ(Ascii(structure->path), dir_.Path("h"));
  Tag *p = structure->tags->next;
  EXPECT_EQ(Ascii(p->value), "<X>1</X>");  // the inner text, children included
  const auto find = [](Tag *first, const char16_t *name) {
    Tag *found = reinterpret_cast<Tag *>(1);
    EXPECT_EQ(hdrpars_FindTag(first, name, &found), 0u);
    return found;
  };
  EXPECT_EQ(find(structure->tags, u"A"), structure->tags);
  EXPECT_EQ(find(p, u"A"), p->next);
  EXPECT_EQ(find(structure->tags, u"X"), nullptr);  // children are not searched
  EXPECT_EQ(hdrpars_FindTag(structure->tags, u"A", nullptr), HDRPARS_E_INVALID_ARGUMENT);
  hdrpars_DeleteFileStructure(structure);
  // Failures outside the text.
  EXPECT_EQ(hdrpars_ReadFileHeader(dir_.Path("missing").c_str(), &structure), HDRPARS_E_FILE_OPEN);
  EXPECT_EQ(hdrpars_ReadFileHeader(nullptr, &structure), HDRPARS_E_INVALID_ARGUMENT);
}

}  // namespace
