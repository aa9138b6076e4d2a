// Data blocks opened by broker string through shared, counted handles, mapped in ranges; the
// header values of engines, add-ons and described blocks.
#include <gtest/gtest.h>

#include <string>

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
    root_.Header("other/o.hdr", Component(u"ASRENGINE", u"other", T(u"VERSION", u"9")));
  }
  static std::string Map(BrkObject *object, BrkData *data, uint32_t offset, uint32_t size) {
    const void *address = &address;
    const VQRESULT result = brk_DataMap(object, data, offset, size, &address);
    if (result) {
      EXPECT_EQ(address, nullptr);
      return "error " + std::to_string(result);
    }
    uint32_t whole = 0;
    EXPECT_EQ(brk_DataSizeQuery(object, data, &whole), 0u);
    const std::string bytes(static_cast<const char *>(address), size ? size : whole);
    EXPECT_EQ(brk_DataUnmap(object, data, address), 0u);
    return bytes;
  }
  Root root_;
};

TEST_F(BrokerData, OneCountedHandlePerBlock) {
  Class cls(root_);
  BrkObject *object = cls.Open("eng");
  BrkObject *other = cls.Open("eng");
  BrkData *first = nullptr;
  BrkData *second = nullptr;
  BrkData *named = nullptr;
  ASSERT_EQ(brk_DataOpen(object, "d/one", &first), 0u);
  ASSERT_EQ(brk_DataOpen(other, "D/ONE:data", &second), 0u);  // the default name, spelt out
  EXPECT_EQ(first, second);
  ASSERT_EQ(brk_DataOpen(object, "d/one:idx", &named), 0u);
  BrkData *upper = nullptr;
  ASSERT_EQ(brk_DataOpen(object, "d/one:IDX", &upper), 0u);
  EXPECT_EQ(upper, named);
  EXPECT_NE(named, first);
  uint32_t size = 0;
  EXPECT_EQ(brk_DataSizeQuery(nullptr, named, &size), 0u);
  EXPECT_EQ(size, 50u);

  // The first close keeps the block open for the other holder; the last one closes it.
  EXPECT_EQ(brk_DataClose(object, first), 0u);
  EXPECT_EQ(Map(other, second, 2, 3), "234");
  EXPECT_EQ(brk_ObjClose(object), 0u);
  EXPECT_EQ(brk_ObjClose(other), kStillInUse);
  EXPECT_EQ(brk_DataClose(other, second), 0u);
  EXPECT_EQ(brk_DataSizeQuery(other, second, &size), kMissing);
  EXPECT_EQ(brk_DataClose(other, named), 0u);
  EXPECT_EQ(brk_ObjClose(other), kStillInUse);
  EXPECT_EQ(brk_DataClose(other, upper), 0u);
  EXPECT_EQ(brk_ObjClose(other), 0u);
}

TEST_F(BrokerData, MapsGiveExactlyTheRangeAskedFor) {
  Class cls(root_);
  BrkObject *object = cls.Open("eng");
  BrkData *index = nullptr;
  ASSERT_EQ(brk_DataOpen(object, "d/one:idx", &index), 0u);
  EXPECT_EQ(Map(object, index, 100, 0), kIndex);  // size 0: the whole block from its start
  EXPECT_EQ(Map(object, index, 20, 30), kIndex.substr(20));
  EXPECT_EQ(Map(object, index, 49, 1), "x");
  EXPECT_EQ(Map(object, index, 20, 31), "error " + std::to_string(kCannotRead));
  EXPECT_EQ(Map(object, index, 50, 1), "error " + std::to_string(kCannotRead));
  EXPECT_EQ(Map(object, index, 0, 0xFFFFFFFF), "error " + std::to_string(kCannotRead));

  // Two mappings held at once stay valid; a block cannot close under a mapping.
  const void *low = nullptr;
  const void *high = nullptr;
  ASSERT_EQ(brk_DataMap(object, index, 0, 4, &low), 0u);
  ASSERT_EQ(brk_DataMap(object, index, 40, 10, &high), 0u);
  EXPECT_EQ(std::string(static_cast<const char *>(low), 4), "ABCD");
  EXPECT_EQ(std::string(static_cast<const char *>(high), 10), kIndex.substr(40));
  EXPECT_EQ(brk_DataClose(object, index), 0x8022010Au);
  EXPECT_EQ(brk_DataUnmap(object, index, low), 0u);
  EXPECT_EQ(brk_DataUnmap(object, index, low), 0u);  // whatever the block layer says
  EXPECT_EQ(brk_DataUnmap(object, index, high), 0u);
  EXPECT_EQ(brk_DataMap(object, index, 0, 4, nullptr), kMissing);
  EXPECT_EQ(brk_DataMap(nullptr, index, 0, 4, &low), kMissing);
  EXPECT_EQ(brk_DataClose(object, index), 0u);
  EXPECT_EQ(brk_ObjClose(object), 0u);
}

TEST_F(BrokerData, OpenFailures) {
  Class cls(root_);
  BrkObject *object = cls.Open("eng");
  BrkData *data = reinterpret_cast<BrkData *>(&data);
  const struct {
    const char *brokerString;
    VQRESULT expected;
  } cases[] = {
      {"inline", kInvalidComponent},  {"d/one:nothing", 0x80220106},
      {"d/one:nooffset", 0x80220105}, {"d/nobinary", 0x80220109},
      {"nothing", kNotFound},         {"eng", kNotFound},  // engines carry no data
      {nullptr, kUnexpected},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(brk_DataOpen(object, c.brokerString, &data), c.expected)
        << (c.brokerString ? c.brokerString : "null");
    EXPECT_EQ(data, nullptr);
    data = reinterpret_cast<BrkData *>(&data);
  }
  EXPECT_EQ(brk_DataOpen(nullptr, "d/one", &data), kMissing);
  EXPECT_EQ(brk_DataOpen(object, "d/one", nullptr), kMissing);
  EXPECT_EQ(brk_DataClose(object, nullptr), kMissing);
  uint32_t size = 0;
  EXPECT_EQ(brk_DataSizeQuery(object, nullptr, &size), kMissing);
  EXPECT_EQ(brk_DataUnmap(object, nullptr, &size), 0u);
  EXPECT_EQ(brk_ObjClose(object), 0u);

  // An open block of a shared add-on keeps the class open.
  BrkObject *none = cls.Open();
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
  BrkObject *none = cls.Open();
  BrkObject *onEngine = cls.Open("eng");
  const auto tag = [](BrkObject *object, const char *brokerString, const char *name) {
    const char16_t *value = u"unchanged";
    const VQRESULT result = brk_TagQuery(object, brokerString, name, &value);
    if (result) {
      // A missing argument is refused before anything is written.
      if (result != kMissing) {
        EXPECT_EQ(value, nullptr);
      }
      return "error " + std::to_string(result);
    }
    return Ascii(value);
  };
  // Any engine of the class, through any object.
  EXPECT_EQ(tag(onOther, "ENG", "VERSION"), "2.1");
  EXPECT_EQ(tag(none, "eng", "VERSION"), "2.1");
  EXPECT_EQ(tag(none, "eng", "LANGUAGE"), "error " + std::to_string(kNoTag));
  EXPECT_EQ(tag(none, "eng", "version"), "error " + std::to_string(kNoTag));  // names keep case
  // Add-ons only through the objects that reach them.
  EXPECT_EQ(tag(onEngine, "d/one", "LANGUAGE"), "en");
  EXPECT_EQ(tag(onOther, "d/one", "LANGUAGE"), "error " + std::to_string(kNotFound));
  EXPECT_EQ(tag(onEngine, "inline", "COMPTYPE"), "DATA");
  // A described block's own tags.
  EXPECT_EQ(tag(onEngine, "d/one:IDX", "SIZE"), "50");
  EXPECT_EQ(tag(onEngine, "d/one:nooffset", "OFFSET"), "error " + std::to_string(kNoTag));
  EXPECT_EQ(tag(onEngine, "d/one:absent", "SIZE"), "error " + std::to_string(kNotFound));
  EXPECT_EQ(tag(onEngine, nullptr, "SIZE"), "error " + std::to_string(kMissing));
  EXPECT_EQ(tag(nullptr, "eng", "SIZE"), "error " + std::to_string(kMissing));
  EXPECT_EQ(brk_TagQuery(onEngine, "eng", "VERSION", nullptr), kMissing);

  const char16_t *value = nullptr;
  ASSERT_EQ(brk_TagQuery(onEngine, "eng", "NAME", &value), 0u);
  EXPECT_EQ(brk_TagRelease(onEngine, value), 0u);
  EXPECT_EQ(brk_TagRelease(onEngine, u"any"), 0u);
  EXPECT_EQ(brk_TagRelease(onEngine, nullptr), kMissing);
  for (BrkObject *object : {onOther, none, onEngine})
    EXPECT_EQ(brk_ObjClose(object), 0u);
}

}  // namespace
