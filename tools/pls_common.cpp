// What PLS import and export share: the alphabet in a section's Model, and the warnings.
#include <fmt/format.h>

#include <cstdio>
#include <cstring>

#include "tools/dict_entries.h"
#include "tools/pls.h"

namespace cli::pls {

std::optional<ModelBlock> AlphabetModel(const std::string &alphabet) {
  const std::string text = kAlphabetPrefix + alphabet;
  if (text.size() >= sizeof(ModelBlock)) return std::nullopt;
  ModelBlock block;
  block.fill(' ');
  std::memcpy(block.data(), text.c_str(), text.size() + 1);
  return block;
}

std::optional<std::string> AlphabetOf(const char *model) {
  const std::string text = ModelText(model);
  if (!text.starts_with(kAlphabetPrefix) || text.size() == std::strlen(kAlphabetPrefix))
    return std::nullopt;
  return text.substr(std::strlen(kAlphabetPrefix));
}

void Reporter::Warn(const std::string &where, const std::string &what) {
  if (++count_ <= 50) fmt::print(stderr, "{}: warning: {}\n", where, what);
}

Reporter::~Reporter() {
  if (count_ > 50) fmt::print(stderr, "... and {} more warnings\n", count_ - 50);
}

}  // namespace cli::pls
