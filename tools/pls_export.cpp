// speechcommon dict export-pls: a dictionary as a W3C pronunciation lexicon.
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <pugixml.hpp>
#include <set>
#include <sstream>

#include "tools/cli.h"
#include "tools/dict_entries.h"
#include "tools/dict_file.h"
#include "tools/files.h"
#include "tools/pls.h"
#include "tools/result_codes.h"

namespace cli {
namespace {

// What one entry of a key gives a lexeme, before the language is chosen.
struct Item {
  std::string language;  // "" when the entry's section has none
  std::string alphabet;  // of phonemes
  std::vector<std::string> phonemes;
  std::string alias;                // when not a phoneme list
  std::string leftOut;              // why the entry has no place in the lexicon, if it has none
  std::vector<std::string> losses;  // what of it the lexicon does not carry
};

struct Lexeme {
  std::string grapheme;
  std::vector<Item> items;
};

Item FromEntry(const EDCT_ENTRY &entry, const std::string &alphabet) {
  Item item{entry.Language ? entry.Language : "", "", {}, "", "", {}};
  const std::optional<std::string> recorded = pls::AlphabetOf(entry.Model);
  if (entry.Content == EDCT_CONTENT_BROAD_NARROWS && entry.Representation == EDCT_REPR_SZZ_STRING) {
    item.alphabet = recorded.value_or(alphabet);
    if (item.alphabet.empty())
      item.leftOut =
          "phonemes whose section records no alphabet are left out (name one with "
          "--alphabet)";
    item.phonemes = BroadNarrows(entry);
    std::erase(item.phonemes, "");
  } else if (entry.Content == EDCT_CONTENT_ORTHOGRAPHIC) {
    const std::string data = DataText(entry);
    item.alias = data.substr(1, data.size() - 2);  // without its quotes
  } else {
    item.leftOut = fmt::format("a {} entry has no place in a lexicon and is left out",
                               ContentName(entry.Content));
  }
  if (entry.Engine)
    item.losses.push_back(
        fmt::format("the engine {} of an entry is not carried", Quoted(entry.Engine)));
  if (entry.Model && !recorded)
    item.losses.push_back(
        fmt::format("the model {} of an entry is not carried", Quoted(ModelText(entry.Model))));
  return item;
}

// The entries of every key, in the order keys first appear.
std::vector<Lexeme> Collect(const DictFile &dictionary, const std::string &alphabet) {
  std::vector<Lexeme> lexemes;
  std::map<std::string, size_t> index;
  const VQRESULT walked =
      Walk(dictionary.handle(),
           [&](const std::string &key, const EDCT_ENTRY *entries, uint32_t count, bool) {
             const auto [at, added] = index.emplace(key, lexemes.size());
             if (added) lexemes.push_back({key, {}});
             for (uint32_t i = 0; i < count; ++i)
               lexemes[at->second].items.push_back(FromEntry(entries[i], alphabet));
           });
  if (walked) throw Failure(dictionary.path() + ": cannot walk it: " + Describe(walked));
  return lexemes;
}

// The lexicon's one language: the one asked for, else the only one the entries have.
std::string Language(const std::vector<Lexeme> &lexemes, const std::string *wanted) {
  if (wanted) return *wanted;
  // The languages of what a lexicon can hold; of everything when it can hold nothing.
  std::set<std::string> languages, all;
  for (const Lexeme &lexeme : lexemes)
    for (const Item &item : lexeme.items) {
      if (!item.language.empty()) all.insert(item.language);
      if (!item.language.empty() && item.leftOut.empty()) languages.insert(item.language);
    }
  if (languages.empty()) languages = all;
  if (languages.size() == 1) return *languages.begin();
  if (languages.empty())
    throw Failure(
        "the dictionary records no language, and a lexicon needs one: name it with "
        "--language");
  std::string list;
  for (const std::string &language : languages)
    list += (list.empty() ? "" : ", ") + language;
  throw Failure("the dictionary holds entries in several languages (" + list +
                "), and a lexicon has one: choose it with --language");
}

}  // namespace

int ExportPls(const std::string &input, const std::string &output, const std::string *language,
              const std::string &alphabet) {
  const DictFile dictionary(input, Encoding::kDetect, false);
  pls::Reporter reporter;
  std::vector<Lexeme> lexemes = Collect(dictionary, alphabet);
  const std::string chosen = Language(lexemes, language);

  // Entries of other languages stay out; sections without a language belong to any. What
  // the lexicon cannot hold of the rest is reported.
  std::map<std::string, size_t> leftOut;
  std::map<std::string, size_t> alphabets;
  for (Lexeme &lexeme : lexemes) {
    const std::string where = fmt::format("{}: key {}", input, Quoted(lexeme.grapheme));
    std::erase_if(lexeme.items, [&](const Item &item) {
      if (!item.language.empty() && item.language != chosen) {
        ++leftOut[item.language];
        return true;
      }
      if (!item.leftOut.empty()) {
        reporter.Warn(where, item.leftOut);
        return true;
      }
      for (const std::string &loss : item.losses)
        reporter.Warn(where, loss);
      return item.phonemes.empty() && item.alias.empty();
    });
    for (const Item &item : lexeme.items)
      if (!item.phonemes.empty()) alphabets[item.alphabet] += item.phonemes.size();
  }
  for (const auto &[other, count] : leftOut)
    reporter.Warn(input, fmt::format("{} entr{} in {} left out: a lexicon has one language", count,
                                     count == 1 ? "y" : "ies", other));
  // The lexicon's alphabet is the one most phonemes use; the others are named per phoneme.
  std::string main = alphabet;
  size_t most = 0;
  for (const auto &[name, count] : alphabets)
    if (count > most) {
      main = name;
      most = count;
    }
  if (main.empty()) main = "ipa";  // a lexicon of aliases only still names an alphabet

  pugi::xml_document document;
  pugi::xml_node declaration = document.append_child(pugi::node_declaration);
  declaration.append_attribute("version") = "1.0";
  declaration.append_attribute("encoding") = "UTF-8";
  pugi::xml_node root = document.append_child("lexicon");
  root.append_attribute("version") = "1.0";
  root.append_attribute("xmlns") = pls::kNamespace;
  root.append_attribute("alphabet") = main.c_str();
  root.append_attribute("xml:lang") = chosen.c_str();
  size_t written = 0;
  for (const Lexeme &lexeme : lexemes) {
    if (lexeme.items.empty()) continue;
    pugi::xml_node node = root.append_child("lexeme");
    node.append_child("grapheme").text() = lexeme.grapheme.c_str();
    for (const Item &item : lexeme.items)
      for (const std::string &phoneme : item.phonemes) {
        pugi::xml_node child = node.append_child("phoneme");
        if (item.alphabet != main) child.append_attribute("alphabet") = item.alphabet.c_str();
        child.text() = phoneme.c_str();
      }
    for (const Item &item : lexeme.items)
      if (item.phonemes.empty()) node.append_child("alias").text() = item.alias.c_str();
    ++written;
  }
  std::ostringstream text;
  document.save(text, "  ", pugi::format_default, pugi::encoding_utf8);
  WriteOutput(output, text.str());
  if (output != "-")
    fmt::print("{}: {} lexemes ({}, alphabet {}) -> {}\n", input, written, chosen, main, output);
  return kOk;
}

}  // namespace cli
