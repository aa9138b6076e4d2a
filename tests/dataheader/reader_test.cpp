// Reading the tagged text of files made byte by byte.
#include <gtest/gtest.h>

#include <string>

#include "fixtures.h"
#include "test_util.h"

namespace {

using hdrtest::Describe;
using hdrtest::HeaderFile;
using hdrtest::Le;

constexpr VQRESULT kWrongFormat = 0x80220102;
constexpr VQRESULT kMissingArgument = 0x80220182;
constexpr VQRESULT kNoMemory = 0x80220186;
constexpr VQRESULT kCannotOpen = 0x8022018B;
constexpr VQRESULT kReadError = 0x8022018D;

class ReaderTest : public ::testing::Test {
 protected:
  // Reads the bytes as a file; the tree as a string, or "error 0x…".
  std::string Read(const std::string &bytes) {
    const std::string path = dir_.Write("h", bytes);
    FileStructure *structure = reinterpret_cast<FileStructure *>(1);
    const VQRESULT result = hdrpars_ReadFileHeader(path.c_str(), &structure);
    if (result) {
      EXPECT_EQ(structure, nullptr);
      char text[32];
      std::snprintf(text, sizeof text, "error 0x%08X", result);
      return text;
    }
    EXPECT_EQ(structure->dataBlocks, nullptr);
    std::string tree = Describe(structure->tags);
    hdrpars_DeleteFileStructure(structure);
    return tree;
  }
  hdrtest::TempDir dir_;
};

TEST_F(ReaderTest, GrammarOfElementsAndChildren) {
  const std::u16string name256(256, u'n');
  const struct {
    std::u16string body;
    std::string tree;
  } cases[] = {
      {u"<P>  hello world \r\n</P>", "P=hello world"},
      {u"<P>a \r\n b</P>", "P=a \r\n b"},
      {u"<P><X>1</X><Y>2</Y></P>", "P{X=1;Y=2}"},
      {u"<P>\r\n  <X> 1 </X>\r\n  <Y>2</Y>\r\n</P>\r\n<Z>3</Z>", "P{X=1;Y=2};Z=3"},
      {u"<P><X>1</X>tail<Y>2</Y></P>", "P{X=1}"},
      {u"<A><B><C>deep</C></B></A>", "A{B{C=deep}}"},
      {u"<A><B>1</A></B><C>2</C>", "A=<B>1"},  // the first closing tag of A ends it
      {u"<P><P>x</P></P><Q>1</Q>", "P=<P>x"},  // and the stray "</P>" ends the list
      {u"<A>1</A>\t<B>2</B>", "A=1"},          // a tab ends the list
      {u"<A>1</A>x<B>2</B>", "A=1"},
      {u"<A>1</A>\r\n<B>2", "A=1"},  // unclosed last element
      {u"<A>1</A><B>x</b>", "A=1"},  // names are case-sensitive
      {u"<A B>1</A B><>2</><C></C>", "A B=1;=2;C="},
      {u"<A><b</A>", "A=<b"},  // a value that starts with no element has no children
      {u"<" + name256 + u">v</" + name256 + u">", std::string(256, 'n') + "=v"},
      {u"<" + name256 + u"m>v</" + name256 + u"m>", ""},  // a name of 257 characters
      {u"", ""},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(hdrtest::Ascii(c.body.c_str()));
    EXPECT_EQ(Read(HeaderFile(c.body)), c.tree);
  }
}

TEST_F(ReaderTest, ValueOfAnElementWithChildrenIsItsInnerText) {
  const std::string path = dir_.Write("h", HeaderFile(u"<P> <X>1</X><Y>2</Y>\r\n</P>"));
  FileStructure *structure = nullptr;
  ASSERT_EQ(hdrpars_ReadFileHeader(path.c_str(), &structure), 0u);
  EXPECT_EQ(hdrtest::Ascii(structure->tags->value), "<X>1</X><Y>2</Y>");
  EXPECT_EQ(hdrtest::Ascii(structure->path), path);
  hdrpars_DeleteFileStructure(structure);
}

TEST_F(ReaderTest, VersionAndHeaderElements) {
  const std::string body = Le(u"<HEADER><A>1</A></HEADER>");
  const struct {
    std::string bytes;
    std::string tree;
  } cases[] = {
      {HeaderFile(u"<A>1</A>", "", false), "A=1"},  // no byte-order mark
      {hdrtest::kBom + Le(u"<VQS>\r\n<VERSION>VQ_2.7</VERSION>") + body, "A=1"},
      {hdrtest::kBom + Le(u"<VQS>\r\n<VERSION> VQ_</VERSION>") + body, "A=1"},
      {hdrtest::kBom + Le(u"<VQS>\r\n<VERSION>VQ_1</VERSION><NOTE>x</NOTE>\r\n") + body, "A=1"},
      // Nothing readable at character 7, so the reader starts at character 8.
      {Le(u"<VQS>\r\nx<VERSION>VQ_1</VERSION>") + body, "A=1"},
      {hdrtest::kBom + Le(u"<VQS>\r\n<VERSION>XY_1.0</VERSION>") + body, "error 0x80220102"},
      {hdrtest::kBom + Le(u"<VQS>\r\n<VERSION>VQ</VERSION>") + body, "error 0x80220102"},
      {hdrtest::kBom + Le(u"<VQS>\r\n<version>VQ_1</version>") + body, "error 0x80220102"},
      {hdrtest::kBom + Le(u"<VQS>\r\n") + body, "error 0x80220102"},  // HEADER comes first
      {hdrtest::kBom + Le(u"<VQS>\r\n<VERSION>VQ_1</VERSION><A>1</A>"), "error 0x80220102"},
      {hdrtest::kBom + Le(u"<VQS>\r\n<VERSION>VQ_1</VERSION><HEADER><A>1</A>"), "error 0x80220102"},
      {hdrtest::kBom + Le(u"<VQS>\r\n<VERSION>VQ_1.0"), "error 0x80220102"},
      {"", "error 0x80220102"},
      {"\xFF\xFE<\0V\0", "error 0x80220102"},
      {HeaderFile(u"<A>1</A>") + "\x01", "A=1"},  // an odd byte after the header
  };
  for (size_t i = 0; i < std::size(cases); ++i)
    EXPECT_EQ(Read(cases[i].bytes), cases[i].tree) << "case " << i;
}

TEST_F(ReaderTest, TruncatedFilesFailCleanlyAtEveryLength) {
  const std::string whole = HeaderFile(
      u"  <COMPTYPE>ADDON</COMPTYPE>\r\n  <DATABLOCK>\r\n    <BROKERSTRING>d</BROKERSTRING>\r\n"
      u"  </DATABLOCK>\r\n",
      Le(u"\r\n<BINARYDATA>") + "0123" + Le(u"</BINARYDATA>\r\n</VQS>"));
  const size_t headerEnd = whole.find(Le(u"</HEADER>")) + Le(u"</HEADER>").size();
  const int64_t before = sc::testing::LiveBlocks();
  for (size_t length = 0; length <= whole.size(); ++length) {
    const std::string tree = Read(whole.substr(0, length));
    if (length >= headerEnd)
      ASSERT_EQ(tree, "COMPTYPE=ADDON;DATABLOCK{BROKERSTRING=d}") << length;
    else
      ASSERT_EQ(tree, "error 0x80220102") << length;
    ASSERT_EQ(sc::testing::LiveBlocks(), before);
  }
}

TEST_F(ReaderTest, FailuresOutsideTheText) {
  FileStructure *structure = reinterpret_cast<FileStructure *>(1);
  EXPECT_EQ(hdrpars_ReadFileHeader(dir_.File("missing").c_str(), &structure), kCannotOpen);
  EXPECT_EQ(structure, nullptr);
  EXPECT_EQ(hdrpars_ReadFileHeader(nullptr, &structure), kMissingArgument);
  EXPECT_EQ(hdrpars_ReadFileHeader("x", nullptr), kMissingArgument);

  std::u16string body;
  for (int i = 0; i < 5000; ++i)  // far more than one window
    body += u"<ELEMENT>some value</ELEMENT>\r\n";
  const std::string path = dir_.Write("h", HeaderFile(body));
  hdrtest::FaultySyscalls faults;
  static int reads;
  reads = 0;
  faults.Table().read = [](void *buffer, size_t size, sc::plat::File *file) -> size_t {
    return ++reads < 2 ? sc::plat::DefaultSyscalls().read(buffer, size, file) : 0;
  };
  faults.Table().error = [](sc::plat::File *) { return reads < 2 ? 0 : 1; };
  const int64_t before = sc::testing::LiveBlocks();
  EXPECT_EQ(hdrpars_ReadFileHeader(path.c_str(), &structure), kReadError);
  EXPECT_EQ(structure, nullptr);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
}

TEST_F(ReaderTest, OutOfMemoryReleasesThePartialTree) {
  const std::string path =
      dir_.Write("h", HeaderFile(u"<A>1</A><P><X>1</X><Y><Z>2</Z></Y></P><B>3</B>"));
  sctest::ForEachAllocationFailure(
      [&]() -> VQRESULT {
        FileStructure *structure = nullptr;
        const VQRESULT result = hdrpars_ReadFileHeader(path.c_str(), &structure);
        if (result) {
          EXPECT_EQ(structure, nullptr);
        } else {
          EXPECT_EQ(Describe(structure->tags), "A=1;P{X=1;Y{Z=2}};B=3");
        }
        hdrpars_DeleteFileStructure(structure);
        return result;
      },
      kNoMemory);
}

TEST_F(ReaderTest, FindTagSearchesOneLevel) {
  const std::string path =
      dir_.Write("h", HeaderFile(u"<A>1</A><P><X>1</X></P><A>2</A><X>top</X>"));
  FileStructure *structure = nullptr;
  ASSERT_EQ(hdrpars_ReadFileHeader(path.c_str(), &structure), 0u);
  Tag *found = reinterpret_cast<Tag *>(1);
  EXPECT_EQ(hdrpars_FindTag(structure->tags, u"A", &found), 0u);
  EXPECT_EQ(found, structure->tags);
  EXPECT_EQ(hdrpars_FindTag(structure->tags->next, u"A", &found), 0u);
  EXPECT_EQ(hdrtest::Ascii(found->value), "2");
  EXPECT_EQ(hdrpars_FindTag(structure->tags->next->children, u"X", &found), 0u);
  EXPECT_EQ(hdrtest::Ascii(found->value), "1");
  EXPECT_EQ(hdrpars_FindTag(structure->tags->next->next, u"P", &found), 0u);
  EXPECT_EQ(found, nullptr);  // P lies before, and its children are not searched
  EXPECT_EQ(hdrpars_FindTag(structure->tags, u"a", &found), 0u);
  EXPECT_EQ(found, nullptr);
  found = reinterpret_cast<Tag *>(1);
  EXPECT_EQ(hdrpars_FindTag(nullptr, u"A", &found), 0u);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(hdrpars_FindTag(structure->tags, u"A", nullptr), kMissingArgument);
  hdrpars_DeleteFileStructure(structure);
}

}  // namespace
