// Keys from UTF-8 for C callers: edct_KeyFromUTF8 and edct_KeyFree.
#include <gtest/gtest.h>

#include <string>

#include "dictionary/stream/stream_test_util.h"

namespace {

using edct_test::Data;
using edct_test::Lookup;
using edct_test::Writable;

// The key made from `text`, freed again; fails the test when it cannot be made.
std::u16string Key(const std::string &text) {
  char16_t *key = nullptr;
  EXPECT_EQ(edct_KeyFromUTF8(text.c_str(), &key), 0u) << text;
  if (!key) return u"(none)";
  std::u16string copy(key);
  EXPECT_EQ(edct_KeyFree(key), 0u);
  return copy;
}

TEST(Key, DecodesUTF8UnitByUnitAndNeverRefusesInput) {
  EXPECT_EQ(Key("caf\xC3\xA9 \xE2\x82\xAC"), u"caf\u00E9 \u20AC");
  // Beyond U+FFFF: the library's own form, each surrogate as three bytes, gives the pair.
  EXPECT_EQ(Key("\xED\xA0\xBD\xED\xB8\x80"), u"\xD83D\xDE00");
  // Malformed input is decoded, not refused (the decoding's own tests go through every form).
  EXPECT_EQ(Key("\xC1\xBF\x80\x41"), u"\u007F\u0001");
}

TEST(Key, MatchesTheKeyATextStreamGivesForTheSameBytes) {
  // A four-byte sequence is not made a surrogate pair, by the streams nor here, so a word
  // read from a UTF-8 file is found with a key made from the same bytes.
  const std::string smile = "\xF0\x9F\x98\x80", word = "na\xC3\xAFve" + smile;
  Writable dictionary;
  ASSERT_EQ(stream_test::Read(dictionary,
                              "[Header]\n[SubHeader]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\n"
                              "Representation = EDCT_REPR_SZ_STRING\n[Data]\n" +
                                  word + "\tyes\n"),
            0u);
  EXPECT_EQ(Lookup(dictionary, Key(word)), Data{std::string("yes", 4)});
  EXPECT_EQ(Lookup(dictionary, u"na\u00EFve\xD83D\xDE00"), Data{});

  // And a key made here adds what a stream then finds under the same bytes.
  char16_t *key = nullptr;
  ASSERT_EQ(edct_KeyFromUTF8("caf\xC3\xA9", &key), 0u);
  EXPECT_EQ(edct_test::Add(dictionary, key, "x"), 0u);
  EXPECT_EQ(edct_KeyFree(key), 0u);
  EXPECT_NE(stream_test::Write(dictionary).find("caf\xC3\xA9\tx\r\n"), std::string::npos);
}

TEST(Key, RefusesNullsAndReportsExhaustedMemory) {
  char16_t *key = reinterpret_cast<char16_t *>(&key);  // anything but null
  EXPECT_EQ(edct_KeyFromUTF8(nullptr, &key), EDCT_E_NULL_POINTER);
  EXPECT_EQ(key, nullptr);
  EXPECT_EQ(edct_KeyFromUTF8("x", nullptr), EDCT_E_NULL_POINTER);

  sctest::AllocationFailureGuard guard;
  const int failures = sctest::ForEachAllocationFailure(
      [&] {
        key = reinterpret_cast<char16_t *>(&key);
        const uint32_t code = edct_KeyFromUTF8("caf\xC3\xA9", &key);
        if (code == 0) {
          EXPECT_EQ(std::u16string(key), u"caf\u00E9");
          EXPECT_EQ(edct_KeyFree(key), 0u);
        }
        return code;
      },
      EDCT_E_OUT_OF_MEMORY, [&] { EXPECT_EQ(key, nullptr); });
  EXPECT_EQ(failures, 1);
}

}  // namespace
