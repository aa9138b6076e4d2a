#include "debug/config.h"

#include <cstring>

namespace sc::dbg {
namespace {

// Keywords are plain case-sensitive substrings: "12" holds both "1" and "2".
bool Contains(const char *text, const char *keyword) {
  return std::strstr(text, keyword) != nullptr;
}

struct Keyword {
  const char *text;
  uint32_t bit;
};

constexpr Keyword kLevelKeywords[] = {
    {"2", kLevelDetail2}, {"1", kLevelDetail1}, {"0", kLevelDetail0}, {"FUNC", kLevelFunc}};

constexpr Keyword kFieldKeywords[] = {{"LEVEL", kFieldLevel},      {"MODULE", kFieldModule},
                                      {"SUBMOD", kFieldSubmodule}, {"INST", kFieldInstance},
                                      {"LINE", kFieldLine},        {"FUNC", kFieldFunction},
                                      {"FILE", kFieldFile},        {"TIME", kFieldTime}};

}  // namespace

uint32_t LevelMaskFrom(const char *text) {
  if (!text) return 0;
  uint32_t mask = kLevelErr;
  for (const Keyword &keyword : kLevelKeywords)
    if (Contains(text, keyword.text)) mask |= keyword.bit;
  // "full" is tested last, so it wins over "none".
  if (Contains(text, "none")) mask = kLevelErr;
  if (Contains(text, "full")) mask = kLevelAll;
  return mask;
}

uint32_t FieldMaskFrom(const char *text) {
  if (!text) return kFieldDefault;
  uint32_t mask = 0;
  for (const Keyword &keyword : kFieldKeywords)
    if (Contains(text, keyword.text)) mask |= keyword.bit;
  if (Contains(text, "full")) mask = kFieldAll;
  return mask;
}

bool NameActive(const char *list, const char *name) {
  if (!list || Contains(list, "none")) return false;
  if (Contains(list, "full")) return true;
  return name && Contains(list, name);
}

const char *LevelName(uint32_t level) {
  switch (level) {
    case kLevelErr:
      return "Err";
    case kLevelFunc:
      return "Func";
    case kLevelDetail0:
      return "0";
    case kLevelDetail1:
      return "1";
    case kLevelDetail2:
      return "2";
    default:
      return "Unk";
  }
}

}  // namespace sc::dbg
