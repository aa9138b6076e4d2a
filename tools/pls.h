// Dictionaries to and from W3C pronunciation lexicons (PLS 1.0).
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace cli {

// Reads the lexicons into one dictionary and writes it to OUT (an archive image, or a text
// stream for a name ending in .txt or "-"). Reports what has no place in a dictionary.
int ImportPls(const std::vector<std::string> &inputs, const std::string &output);

// Writes the dictionary as a lexicon in one language (null: the only one it has); `alphabet`
// names the alphabet of phonemes whose section records none (empty: such phonemes are
// reported and left out).
int ExportPls(const std::string &input, const std::string &output, const std::string *language,
              const std::string &alphabet);

namespace pls {

inline constexpr const char *kNamespace = "http://www.w3.org/2005/01/pronunciation-lexicon";

// A lexicon's alphabet lives in the Model of its sections, as "alphabet:<name>". The block is
// filled as the text reader fills it (the text, a NUL, blanks up to 128 bytes), so a section
// imported here and the same section read from text are one section.
using ModelBlock = std::array<char, 128>;
inline constexpr const char *kAlphabetPrefix = "alphabet:";
std::optional<ModelBlock> AlphabetModel(const std::string &alphabet);
// The alphabet a Model names, or nothing.
std::optional<std::string> AlphabetOf(const char *model);

// Warnings about what one direction cannot carry, printed to the standard error as
// "where: warning: what"; after the first 50 only their number is given.
class Reporter {
 public:
  void Warn(const std::string &where, const std::string &what);
  ~Reporter();

 private:
  size_t count_ = 0;
};

}  // namespace pls
}  // namespace cli
