// Where a read tree keeps its memory: values of deep elements with children, tags of a
// client's own linked into a read tree, and the binary data found beyond the text the reader
// looked at.
#include <gtest/gtest.h>

#include <string>

#include "dataheader/wide_text.h"
#include "fixtures.h"

namespace {

using namespace hdrtest;

TEST(ReadMemory, DeepElementsWithChildrenHaveEmptyValues) {
  // <E1><E2>...<E50><LEAF>text</LEAF></E50>...</E1>: elements with children keep their
  // inner text three levels down, deeper ones an empty value; every level is read.
  std::u16string open, close;
  for (int depth = 1; depth <= 50; ++depth) {
    const std::u16string name = u"E" + std::u16string(1, char16_t(u'0' + depth / 10)) +
                                std::u16string(1, char16_t(u'0' + depth % 10));
    open += u"<" + name + u">";
    close = u"</" + name + u">" + close;
  }
  const std::u16string leaf = u"<LEAF>" + std::u16string(20000, u'x') + u"</LEAF>";
  sctest::TempDir dir;
  FileStructure *structure = ReadHeader(dir, HeaderFile(open + leaf + close));
  ASSERT_NE(structure, nullptr);
  Tag *tag = structure->tags;
  for (int depth = 1; depth <= 50; ++depth) {
    ASSERT_NE(tag, nullptr);
    ASSERT_NE(tag->children, nullptr) << depth;
    const std::u16string inner =
        open.substr(size_t(5 * depth)) + leaf + close.substr(0, close.size() - size_t(6 * depth));
    EXPECT_EQ(sc::hdr::View(tag->value), depth <= 3 ? inner : u"") << depth;
    tag = tag->children;
  }
  EXPECT_EQ(Ascii(tag->name), "LEAF");
  EXPECT_EQ(sc::hdr::View(tag->value).size(), 20000u);
  hdrpars_DeleteFileStructure(structure);
}

TEST(ReadMemory, ClientTagsInAReadTreeAreFreedWithIt) {
  sctest::TempDir dir;
  const int64_t before = sc::testing::LiveBlocks();
  FileStructure *structure = ReadHeader(dir, HeaderFile(u"<A>1</A><P><X>1</X></P>"));
  // A client replaces a value, appends a child and a sibling of its own; the read pieces
  // they replace stay with the structure.
  Tag *p = structure->tags->next;
  p->children->value = sc::hdr::CopyText(u"replaced");
  auto *child = static_cast<Tag *>(sc::RawCalloc(1, sizeof(Tag)));
  child->name = sc::hdr::CopyText(u"Y");
  child->value = sc::hdr::CopyText(u"2");
  p->children->next = child;
  auto *sibling = static_cast<Tag *>(sc::RawCalloc(1, sizeof(Tag)));
  sibling->name = sc::hdr::CopyText(u"B");
  sibling->value = sc::hdr::CopyText(u"3");
  p->next = sibling;
  EXPECT_EQ(Describe(structure->tags), "A=1;P{X=replaced;Y=2};B=3");
  hdrpars_DeleteFileStructure(structure);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
}

TEST(ReadMemory, BinaryDataFoundWhereverItStarts) {
  // The reader looks at the file's first 64 KiB when the header is short; a marker before,
  // across or after that point is found all the same, and so is a marker inside the header.
  sctest::TempDir dir;
  const std::string data = "\x01\x02\x03payload";
  const std::u16string block =
      u"<DATABLOCK><BROKERSTRING>d</BROKERSTRING><OFFSET>0</OFFSET><SIZE>10</SIZE></DATABLOCK>";
  const size_t headerChars = HeaderFile(block).size() / 2;
  for (size_t marker : {size_t{100}, size_t{32758}, size_t{32763}, size_t{32768}, size_t{50000}}) {
    SCOPED_TRACE(marker);
    const size_t filler = marker > headerChars ? marker - headerChars : 0;
    const std::string file =
        HeaderFile(block) + Le(std::u16string(filler, u'.')) + Le(u"<BINARYDATA>") + data;
    FileStructure *structure = ReadHeader(dir, file);
    DataBlock *opened = nullptr;
    ASSERT_EQ(hdrpars_OpenData(u"d", structure, &opened), 0u);
    EXPECT_EQ(MapOnce(opened->source, 0, 10), data);
    hdrpars_DeleteFileStructure(structure);
  }
  // A marker inside a value comes first.
  FileStructure *structure =
      ReadHeader(dir, HeaderFile(u"<NOTE>" + std::u16string(u"<BINARYDATA>") + u"ab</NOTE>" + block,
                                 Le(u"\r\n<BINARYDATA>") + "zz"));
  DataBlock *opened = nullptr;
  ASSERT_EQ(hdrpars_OpenData(u"d", structure, &opened), 0u);
  EXPECT_EQ(MapOnce(opened->source, 0, 4), Le(u"ab"));
  hdrpars_DeleteFileStructure(structure);
}

}  // namespace
