// Data blocks opened by broker string through shared, counted handles and mapped in ranges;
// the header values of engines, add-ons and described blocks.
#include <gtest/gtest.h>

#include "fixtures.h"

namespace {

using namespace brktest;

const std::string kIndex = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwx";  // 50 bytes

class BrokerData : public ::testing::Test {
 protected:
  void SetUp() override {
    root_.Header("eng/e.hdr", Component(u"TTSENGINE", u"eng",
                                        T(u"VERSION", u"2.1") + u"<ADDON>" +
                                            Component(u"DATA", u"inline") + u"</ADDON>"));
    const DataPart part = Blocks({{u"data", "0123456789"}, {u"idx", kIndex}});
    root_.Header("eng/sub/one.hdr",
                 Component(u"DATA", u"d/one",
                           part.elements + u"<DATABLOCK>" + T(u"BROKERSTRING", u"nooffset") +
                               T(u"SIZE", u"1") + u"</DATABLOCK>" + T(u"LANGUAGE", u"en")),
                 part.tail);
    root_.Header("eng/sub/nobinary.hdr",
                 Component(u"DATA", u"d/nobinary", Blocks({{u"data", "x"}}).elements));
    const DataPart shared = Blocks({{u"data", "shared"}});
    root_.Header("shared/s/s.hdr", Component(u"DATA", u"s/blocks", shared.elements), shared.tail);
    root_.Header("other/o.hdr", Component(u"ASRENGINE", u"other"));
  }
  // The mapped bytes (size 0: the whole block), or the failure.
  static std::string Map(BrkObject *object, BrkData *data, uint32_t offset, uint32_t size) {
    const void *address = &address;
    const VQRESULT result = brk_DataMap(object, data, offset, size, &address);
    if (result) {
      EXPECT_EQ(address, nullptr);
      return Error(result);
    }
    uint32_t whole = 0;
    EXPECT_EQ(brk_DataSizeQuery(object, data, &whole), 0u);
    const std::string bytes(static_cast<const char *>(address), size ? size : whole);
    EXPECT_EQ(brk_DataUnmap(object, data, address), 0u);
    return bytes;
  }
  Root root_;
};

TEST_F(BrokerData, OneCountedHandlePerBlockAndExactRanges) {
  Class cls(root_);
  BrkObject *object = cls.Open("eng");
  BrkObject *other = cls.Open("eng");
  BrkData *first = nullptr, *second = nullptr, *index = nullptr, *upper = nullptr;
  ASSERT_EQ(brk_DataOpen(object, "d/one", &first), 0u);
  ASSERT_EQ(brk_DataOpen(other, "D/ONE:data", &second), 0u);  // the default name, spelt out
  ASSERT_EQ(brk_DataOpen(object, "d/one:idx", &index), 0u);
  ASSERT_EQ(brk_DataOpen(object, "d/one:IDX", &upper), 0u);
  EXPECT_EQ(first, second);
  EXPECT_EQ(index, upper);
  EXPECT_NE(index, first);

  EXPECT_EQ(Map(object, index, 100, 0), kIndex);  // size 0: the whole block from its start
  EXPECT_EQ(Map(object, index, 20, 30), kIndex.substr(20));
  EXPECT_EQ(Map(object, index, 20, 31), Error(kCannotRead));
  EXPECT_EQ(Map(object, index, 50, 1), Error(kCannotRead));
  EXPECT_EQ(Map(object, index, 0, 0xFFFFFFFF), Error(kCannotRead));
  // A mapping stays valid while others come and go; the block cannot close under it.
  const void *low = nullptr;
  ASSERT_EQ(brk_DataMap(object, index, 0, 4, &low), 0u);
  EXPECT_EQ(Map(object, index, 40, 10), kIndex.substr(40));
  EXPECT_EQ(std::string(static_cast<const char *>(low), 4), "ABCD");
  EXPECT_EQ(brk_DataClose(object, index), 0u);  // one of two opens
  EXPECT_EQ(brk_DataClose(object, index), 0x8022010Au);
  EXPECT_EQ(brk_DataUnmap(object, index, low), 0u);
  EXPECT_EQ(brk_DataClose(object, index), 0u);
  EXPECT_EQ(brk_DataMap(object, index, 0, 4, &low), kMissing);  // closed handle

  // The first close keeps the block open for the other holder; the last one closes it, and
  // until then the engine's last object cannot close.
  EXPECT_EQ(brk_DataClose(object, first), 0u);
  EXPECT_EQ(Map(other, second, 2, 3), "234");
  EXPECT_EQ(brk_ObjClose(object), 0u);
  EXPECT_EQ(brk_ObjClose(other), kStillInUse);
  EXPECT_EQ(brk_DataClose(other, second), 0u);
  EXPECT_EQ(brk_ObjClose(other), 0u);
}

TEST_F(BrokerData, OpenFailuresAndSharedBlocks) {
  Class cls(root_);
  BrkObject *object = cls.Open("eng");
  const std::pair<const char *, VQRESULT> cases[] = {{"inline", kInvalidComponent},
                                                     {"d/one:nothing", 0x80220106},
                                                     {"d/one:nooffset", 0x80220105},
                                                     {"d/nobinary", 0x80220109},
                                                     {"eng", kNotFound},  // engines carry no data
                                                     {nullptr, kUnexpected}};
  for (const auto &[brokerString, expected] : cases) {
    BrkData *data = reinterpret_cast<BrkData *>(&data);
    EXPECT_EQ(brk_DataOpen(object, brokerString, &data), expected)
        << (brokerString ? brokerString : "null");
    EXPECT_EQ(data, nullptr);
  }
  uint32_t size = 0;
  EXPECT_EQ(brk_DataSizeQuery(object, nullptr, &size), kMissing);
  EXPECT_EQ(brk_DataClose(object, nullptr), kMissing);
  EXPECT_EQ(brk_ObjClose(object), 0u);
  // An open block of a shared add-on keeps the class open.
  BrkObject *none = cls.Open();
  BrkData *data = nullptr;
  ASSERT_EQ(brk_DataOpen(none, "s/blocks", &data), 0u);
  EXPECT_EQ(Map(none, data, 0, 0), "shared");
  EXPECT_EQ(brk_ObjClose(none), 0u);
  EXPECT_EQ(brk_ClassClose(cls), kStillInUse);
  none = cls.Open();
  EXPECT_EQ(brk_DataClose(none, data), 0u);
  EXPECT_EQ(brk_ObjClose(none), 0u);
}

TEST_F(BrokerData, TagsOfEnginesAddonsAndBlocks) {
  Class cls(root_);
  BrkObject *onOther = cls.Open("other");
  BrkObject *onEngine = cls.Open("eng");
  // Any engine of the class, through any object; tag names keep their case.
  EXPECT_EQ(TagOf(onOther, "ENG", "VERSION"), "2.1");
  EXPECT_EQ(TagOf(onOther, "eng", "version"), Error(kNoTag));
  // Add-ons only through the objects that reach them.
  EXPECT_EQ(TagOf(onEngine, "d/one", "LANGUAGE"), "en");
  EXPECT_EQ(TagOf(onOther, "d/one", "LANGUAGE"), Error(kNotFound));
  EXPECT_EQ(TagOf(onEngine, "inline", "COMPTYPE"), "DATA");
  // A described block's own tags.
  EXPECT_EQ(TagOf(onEngine, "d/one:IDX", "SIZE"), "50");
  EXPECT_EQ(TagOf(onEngine, "d/one:nooffset", "OFFSET"), Error(kNoTag));
  EXPECT_EQ(TagOf(onEngine, "d/one:absent", "SIZE"), Error(kNotFound));
  EXPECT_EQ(TagOf(onEngine, nullptr, "SIZE"), Error(kMissing));
  EXPECT_EQ(brk_TagRelease(onEngine, u"any"), 0u);
  EXPECT_EQ(brk_TagRelease(onEngine, nullptr), kMissing);
  EXPECT_EQ(brk_ObjClose(onOther), 0u);
  EXPECT_EQ(brk_ObjClose(onEngine), 0u);
}

}  // namespace
