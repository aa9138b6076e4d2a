// speechcommon dict import-pls: W3C pronunciation lexicons into one dictionary.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <pugixml.hpp>

#include "tools/cli.h"
#include "tools/dict_check.h"
#include "tools/dict_entries.h"
#include "tools/dict_file.h"
#include "tools/files.h"
#include "tools/pls.h"
#include "tools/result_codes.h"
#include "tools/text.h"

namespace cli {
namespace {

constexpr uint32_t kUnspecified = 0xFFFFFFFFu;

// The name of an element or attribute without its namespace prefix.
std::string_view Local(const char *name) {
  const std::string_view text = name;
  const size_t colon = text.find(':');
  return colon == std::string_view::npos ? text : text.substr(colon + 1);
}

std::string Trimmed(std::string_view text) {
  const size_t start = text.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos) return "";
  return std::string(text.substr(start, text.find_last_not_of(" \t\r\n") + 1 - start));
}

// The character data of an element (text and CDATA sections), its ends trimmed.
std::string Content(const pugi::xml_node &node) {
  std::string text;
  for (const pugi::xml_node child : node.children())
    if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata)
      text += child.value();
  return Trimmed(text);
}

// One lexicon file: its text for positions, and the parsed document.
class Lexicon {
 public:
  Lexicon(const std::string &path, pls::Reporter &reporter) : file_(path), reporter_(reporter) {
    const pugi::xml_parse_result parsed = document_.load_buffer(file_.data(), file_.size());
    if (!parsed)
      throw Failure(
          fmt::format("{}: not well-formed XML: {}", Place(parsed.offset), parsed.description()));
    root_ = document_.document_element();
    // The root's prefix (if any) must be bound to the lexicon namespace.
    const std::string_view name = root_.name();
    const size_t colon = name.find(':');
    const std::string binding =
        colon == std::string_view::npos ? "xmlns" : "xmlns:" + std::string(name.substr(0, colon));
    if (Local(root_.name()) != "lexicon" ||
        std::string_view(root_.attribute(binding.c_str()).value()) != pls::kNamespace)
      throw Failure(
          fmt::format("{}: not a pronunciation lexicon (a <lexicon> element in the "
                      "namespace {})",
                      Place(root_), pls::kNamespace));
    prefix_ = colon == std::string_view::npos ? "" : std::string(name.substr(0, colon + 1));
    alphabet_ = root_.attribute("alphabet").value();
    language_ = root_.attribute("xml:lang").value();
    if (alphabet_.empty()) throw Failure(Place(root_) + ": the lexicon has no alphabet");
    if (language_.empty()) throw Failure(Place(root_) + ": the lexicon has no xml:lang");
    if (std::string_view(root_.attribute("version").value()) != "1.0")
      Warn(root_,
           fmt::format("version {} read as 1.0", Quoted(root_.attribute("version").value())));
    for (const pugi::xml_attribute attribute : root_.attributes()) {
      const std::string_view name = attribute.name();
      if (name != "version" && name != "alphabet" && name != "xml:lang" &&
          !name.starts_with("xmlns") && name != "xsi:schemaLocation")
        Warn(root_, fmt::format("the attribute {} of the lexicon is not carried", name));
    }
  }

  const pugi::xml_node &root() const { return root_; }
  const std::string &alphabet() const { return alphabet_; }
  const std::string &language() const { return language_; }
  bool Is(const pugi::xml_node &node, const char *local) const {
    return node.type() == pugi::node_element && node.name() == prefix_ + local;
  }

  // "file:line:column" of a byte offset or a node.
  std::string Place(ptrdiff_t offset) const {
    const std::string_view before = file_.bytes().substr(0, static_cast<size_t>(offset));
    const size_t lineStart = before.rfind('\n') + 1;  // npos + 1 is 0
    return fmt::format("{}:{}:{}", file_.path(), std::count(before.begin(), before.end(), '\n') + 1,
                       Characters(before.substr(lineStart)) + 1);
  }
  std::string Place(const pugi::xml_node &node) const {
    // pugixml gives the offset of the name; the element starts at its "<".
    return Place(std::max<ptrdiff_t>(0, node.offset_debug() - 1));
  }
  void Warn(const pugi::xml_node &node, const std::string &what) {
    reporter_.Warn(Place(node), what);
  }

 private:
  InputFile file_;
  pls::Reporter &reporter_;
  pugi::xml_document document_;
  pugi::xml_node root_;
  std::string prefix_;  // "pls:" when the elements are written with a prefix
  std::string alphabet_, language_;
};

// Adds entries of one kind to the dictionary with the lexicon's attributes.
class Importer {
 public:
  Importer(SafeHandle dictionary) : dictionary_(dictionary) {}

  void Add(const std::string &grapheme, const std::string &language, const char *model,
           uint32_t content, uint32_t representation, const std::string &data) {
    const std::u16string key = Utf16(grapheme);
    const EDCT_ENTRY entry{
        content, representation, kUnspecified, language.c_str(),
        model,   nullptr,        data.data(),  static_cast<uint32_t>(data.size())};
    const VQRESULT added = edct_DctAddEntry(dictionary_, key.c_str(), &entry, 1);
    if (added) throw Failure(fmt::format("cannot add {}: {}", Quoted(grapheme), Describe(added)));
  }

 private:
  SafeHandle dictionary_;
};

struct Phoneme {
  std::string alphabet, text;
  bool preferred;
};

void ImportLexeme(Lexicon &lexicon, const pugi::xml_node &lexeme, Importer &importer,
                  size_t &lexemes) {
  for (const pugi::xml_attribute attribute : lexeme.attributes())
    lexicon.Warn(
        lexeme,
        std::string_view(attribute.name()) == "role"
            ? fmt::format("the role {} of the lexeme is not carried", Quoted(attribute.value()))
            : fmt::format("the attribute {} of the lexeme is not carried", attribute.name()));
  std::vector<std::string> graphemes, aliases;
  std::vector<std::string> preferredAliases;
  std::vector<Phoneme> phonemes;
  for (const pugi::xml_node child : lexeme.children()) {
    if (child.type() != pugi::node_element) continue;
    const bool grapheme = lexicon.Is(child, "grapheme"), phoneme = lexicon.Is(child, "phoneme");
    if (!grapheme && !phoneme && !lexicon.Is(child, "alias")) {
      lexicon.Warn(child, lexicon.Is(child, "example")
                              ? fmt::format("the example {} is not carried", Quoted(Content(child)))
                              : fmt::format("the element <{}> is not carried", child.name()));
      continue;
    }
    const std::string text = Content(child);
    if (text.empty()) {
      lexicon.Warn(child, fmt::format("an empty <{}> is left out", child.name()));
      continue;
    }
    for (const pugi::xml_attribute attribute : child.attributes()) {
      const std::string_view name = attribute.name();
      if (!(name == "prefer" && !grapheme) && !(name == "alphabet" && phoneme))
        lexicon.Warn(child,
                     fmt::format("the attribute {} of <{}> is not carried", name, child.name()));
    }
    const bool preferred = std::string_view(child.attribute("prefer").value()) == "true";
    const std::string alphabet = child.attribute("alphabet").value();
    if (grapheme)
      graphemes.push_back(text);
    else if (phoneme)
      phonemes.push_back({alphabet.empty() ? lexicon.alphabet() : alphabet, text, preferred});
    else
      (preferred ? preferredAliases : aliases).push_back(text);
  }
  if (graphemes.empty()) {
    lexicon.Warn(lexeme, "a lexeme without a grapheme is left out");
    return;
  }
  if (phonemes.empty() && aliases.empty() && preferredAliases.empty()) {
    lexicon.Warn(lexeme, "a lexeme without phonemes or aliases is left out");
    return;
  }
  ++lexemes;
  // Preferred first, each group in document order: the first is the one to use.
  std::stable_partition(phonemes.begin(), phonemes.end(),
                        [](const Phoneme &phoneme) { return phoneme.preferred; });
  aliases.insert(aliases.begin(), preferredAliases.begin(), preferredAliases.end());

  // One list per alphabet, in the order of the alphabets' first phonemes.
  std::vector<std::pair<std::string, std::string>> lists;  // alphabet, NUL-separated pieces
  for (const Phoneme &phoneme : phonemes) {
    auto list = std::find_if(lists.begin(), lists.end(),
                             [&](const auto &l) { return l.first == phoneme.alphabet; });
    if (list == lists.end()) list = lists.insert(lists.end(), {phoneme.alphabet, ""});
    list->second += phoneme.text + '\0';
  }
  for (const std::string &grapheme : graphemes) {
    for (const auto &[alphabet, pieces] : lists) {
      const std::optional<pls::ModelBlock> model = pls::AlphabetModel(alphabet);
      if (!model) throw Failure(lexicon.Place(lexeme) + ": the alphabet name is too long");
      importer.Add(grapheme, lexicon.language(), model->data(), EDCT_CONTENT_BROAD_NARROWS,
                   EDCT_REPR_SZZ_STRING, pieces + '\0');
    }
    // A key's entries come back newest first: added last to first, they keep their order.
    const std::optional<pls::ModelBlock> model = pls::AlphabetModel(lexicon.alphabet());
    if (!model) throw Failure(lexicon.Place(lexicon.root()) + ": the alphabet name is too long");
    for (auto alias = aliases.rbegin(); alias != aliases.rend(); ++alias)
      importer.Add(grapheme, lexicon.language(), model->data(), EDCT_CONTENT_ORTHOGRAPHIC,
                   EDCT_REPR_SZ_STRING, *alias + '\0');
  }
}

}  // namespace

int ImportPls(const std::vector<std::string> &inputs, const std::string &output) {
  const auto dictionary = DictHandle::Writable();
  Importer importer(dictionary->get());
  pls::Reporter reporter;
  size_t lexemes = 0;
  for (const std::string &path : inputs) {
    Lexicon lexicon(path, reporter);
    for (const pugi::xml_node child : lexicon.root().children()) {
      if (child.type() != pugi::node_element) continue;
      if (lexicon.Is(child, "lexeme"))
        ImportLexeme(lexicon, child, importer, lexemes);
      else
        lexicon.Warn(child, fmt::format("the element <{}> is not carried", child.name()));
    }
  }
  // The dictionary is named after the first lexicon.
  const std::u16string name = Utf16(std::filesystem::path(inputs[0]).stem().string());
  const EDCT_INFO info{name.c_str(), nullptr, 0, 0};
  const VQRESULT named = edct_DctSetInfo(dictionary->get(), &info);
  if (named) throw Failure("cannot name the dictionary: " + Describe(named));

  const bool text = output == "-" || HasExtension(output, ".txt");
  if (text) {
    const VQRESULT walked = TextFormLosses(dictionary->get(), Encoding::kUtf8,
                                           [&](std::string loss) { reporter.Warn(output, loss); });
    if (walked) throw Failure("cannot walk the dictionary: " + Describe(walked));
  }
  WriteOutput(output, text ? TextStream(dictionary->get(), Encoding::kUtf8, output)
                           : ArchiveImage(dictionary->get(), false, output));
  if (output != "-")
    fmt::print("{} lexemes from {} file{} -> {} ({})\n", lexemes, inputs.size(),
               inputs.size() == 1 ? "" : "s", output, Counts(dictionary->get()));
  return kOk;
}

}  // namespace cli
