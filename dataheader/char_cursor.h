// Reading 16-bit text by character index: from a parser resource (UTF-16 little-endian bytes,
// mapped one window-sized chunk at a time) or from a string in memory. Both give the same
// answers, so the grammar is written once for either.
#pragma once

#include <cstdint>
#include <string_view>

#include "sc_hdrpars.h"

namespace sc::hdr {

class ResourceChars {
 public:
  explicit ResourceChars(ParserResource *source) : source_(source) {}
  ~ResourceChars() { Release(); }
  ResourceChars(const ResourceChars &) = delete;
  ResourceChars &operator=(const ResourceChars &) = delete;

  // The character at index; false past the end, or after a failure that Status() names.
  bool At(uint64_t index, char16_t &c) {
    if (index - first_ < count_) {
      const uint8_t *at = data_ + 2 * (index - first_);
      c = static_cast<char16_t>(at[0] | (at[1] << 8));
      return true;
    }
    return Load(index, c);
  }
  VQRESULT Status() const { return status_; }

  // The first index at or after `from` that holds c; false when the source ends first.
  bool Seek(uint64_t from, char16_t c, uint64_t &at);
  // Copies up to `count` characters from `from` on; returns how many the source held.
  uint64_t Copy(uint64_t from, uint64_t count, char16_t *out);

 private:
  bool Load(uint64_t index, char16_t &c);
  void Release();

  ParserResource *source_;
  const uint8_t *data_ = nullptr;
  uint64_t first_ = 0;  // index of the first mapped character
  uint64_t count_ = 0;  // characters mapped
  VQRESULT status_ = 0;
};

class StringChars {
 public:
  explicit StringChars(std::u16string_view text) : text_(text) {}
  bool At(uint64_t index, char16_t &c) const {
    if (index >= text_.size()) return false;
    c = text_[index];
    return true;
  }
  VQRESULT Status() const { return 0; }
  std::u16string_view Text() const { return text_; }

 private:
  std::u16string_view text_;
};

// The first index at or after `from` where `pattern` starts. The source running out first
// gives the wrong-format code; a failure of the source gives its own code. Over a resource,
// candidates for the first character are found a mapped chunk at a time.
inline VQRESULT FindText(ResourceChars &source, std::u16string_view pattern, uint64_t from,
                         uint64_t &at) {
  for (uint64_t p = from;; ++p) {
    if (!source.Seek(p, pattern[0], p))
      return source.Status() ? source.Status() : HDRPARS_E_WRONG_FORMAT;
    size_t k = 1;
    char16_t c;
    for (; k < pattern.size(); ++k) {
      if (!source.At(p + k, c)) return source.Status() ? source.Status() : HDRPARS_E_WRONG_FORMAT;
      if (c != pattern[k]) break;
    }
    if (k == pattern.size()) {
      at = p;
      return 0;
    }
  }
}

// In memory the library's string search finds the same first match faster.
inline VQRESULT FindText(StringChars &source, std::u16string_view pattern, uint64_t from,
                         uint64_t &at) {
  const std::u16string_view text = source.Text();
  if (from > text.size()) return HDRPARS_E_WRONG_FORMAT;
  const size_t found = text.find(pattern, from);
  if (found == std::u16string_view::npos) return HDRPARS_E_WRONG_FORMAT;
  at = found;
  return 0;
}

}  // namespace sc::hdr
