// speechcommon dict: compiles text streams into archive images and back, looks words up
// through a dictionary manager, describes and lists dictionaries; the checker and the PLS
// import and export have files of their own.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <iostream>
#include <memory>

#include "tools/cli.h"
#include "tools/dict_check.h"
#include "tools/dict_entries.h"
#include "tools/dict_file.h"
#include "tools/output.h"
#include "tools/pls.h"
#include "tools/result_codes.h"

namespace cli {
namespace {

constexpr uint32_t kAny = 0xFFFFFFFFu;

struct DictOptions {
  std::string input;                // commands that take one
  std::vector<std::string> inputs;  // commands that take several
  std::string output, encoding, content, language, engine, alphabet;
  bool swap = false, json = false, werror = false;
  bool hasLanguage = false, hasEngine = false;
};

Encoding ParseEncoding(const std::string &name) {
  return name == "utf8"     ? Encoding::kUtf8
         : name == "ucs2le" ? Encoding::kUcs2le
         : name == "ucs2be" ? Encoding::kUcs2be
                            : Encoding::kDetect;
}

int Compile(const DictOptions &options, const std::string &in, const std::string &out) {
  const DictFile dictionary(in, ParseEncoding(options.encoding), true);
  const std::string image = ArchiveImage(dictionary.handle(), options.swap, in);
  WriteOutput(out, image);
  if (out != "-")
    fmt::print("{}: {} -> {} ({} bytes{})\n", in, Counts(dictionary.handle()), out, image.size(),
               options.swap ? ", for a host of the other byte order" : "");
  return kOk;
}

int Decompile(const DictOptions &options) {
  const std::string &in = options.input;
  const DictFile dictionary(in, Encoding::kDetect, false);
  const Encoding encoding = ParseEncoding(options.encoding);
  // Text that would read back as another dictionary is not written at all.
  Doing("checking", in);
  std::string first;
  size_t more = 0;
  const VQRESULT checked = TextFormLosses(dictionary.handle(), encoding, [&](std::string loss) {
    if (first.empty())
      first = std::move(loss);
    else
      ++more;
  });
  if (checked) throw Failure(in + ": cannot walk it: " + Describe(checked));
  if (!first.empty()) {
    std::string others;
    if (more && dictionary.image() && in != "-")
      others = fmt::format(" ({} more: 'speechcommon dict check {}{}' lists them)", more, in,
                           options.encoding.empty() ? "" : " --encoding " + options.encoding);
    else if (more)
      others = fmt::format(" ({} more)", more);
    throw Failure(fmt::format(
        "{}: {}; the text stream would not read back as this dictionary, so none is written{}", in,
        first, others));
  }
  const std::string text = TextStream(dictionary.handle(), encoding, in);
  WriteOutput(options.output, text);
  if (options.output != "-")
    fmt::print("{}: {} -> {} ({} bytes)\n", in, Counts(dictionary.handle()), options.output,
               text.size());
  return kOk;
}

int Lookup(const DictOptions &options, const Words &given) {
  EDCT_FILTER filter{kAny, kAny, nullptr, nullptr, nullptr};
  for (uint32_t kind = 0; kind < 3; ++kind)
    if (options.content == ContentName(kind)) filter.Content = kind;
  if (options.hasLanguage) filter.Language = options.language.c_str();
  if (options.hasEngine) filter.Engine = options.engine.c_str();
  const bool filtered = filter.Content != kAny || filter.Language || filter.Engine;

  std::vector<std::unique_ptr<DictFile>> dictionaries;
  for (const std::string &path : options.inputs)
    dictionaries.push_back(std::make_unique<DictFile>(path, Encoding::kDetect, false));
  // Closed before the dictionaries (made earlier), which its close unregisters.
  struct Manager {
    SafeHandle handle{};
    ~Manager() {
      if (handle.pointer) edct_DctMgrClose(handle);
    }
  } manager;
  VQRESULT result = edct_DctMgrOpen(g_vqNullHandle, &manager.handle);
  if (result) throw Failure("cannot open a dictionary manager: " + Describe(result));
  // Registered at the end one after the other: the first given is searched first.
  for (const auto &dictionary : dictionaries) {
    result = edct_DctMgrRegisterDct(manager.handle, dictionary->handle(), 0);
    if (result)
      throw Failure(dictionary->path() + ": cannot register the dictionary: " + Describe(result));
  }
  std::vector<std::string> words = given.list;
  if (!given.given)
    for (std::string line; std::getline(std::cin, line);)
      if (!line.empty()) words.push_back(line);

  int status = kOk;
  Json answers = Json::array();
  for (const std::string &word : words) {
    const std::u16string key = Utf16(word);
    EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0;
    SafeHandle from{};
    result = edct_DctMgrGetEntryData(manager.handle, key.c_str(), filtered ? &filter : nullptr,
                                     &entries, &count, &from);
    if (result == EDCT_E_NOT_FOUND) {
      status = kFailed;
      if (options.json)
        answers.push_back(
            {{"word", word}, {"found", false}, {"from", nullptr}, {"entries", Json::array()}});
      else
        fmt::print("{}: not found\n", word);
      continue;
    }
    if (result) throw Failure(word + ": lookup failed: " + Describe(result));
    std::string source = "?";
    for (const auto &dictionary : dictionaries)
      if (dictionary->handle().pointer == from.pointer) source = dictionary->path();
    if (options.json) {
      Json list = Json::array();
      for (uint32_t i = 0; i < count; ++i)
        list.push_back(EntryJson(entries[i]));
      answers.push_back({{"word", word}, {"found", true}, {"from", source}, {"entries", list}});
    } else {
      fmt::print("{}: {} {} from {}\n", word, count, count == 1 ? "entry" : "entries", source);
      for (uint32_t i = 0; i < count; ++i)
        fmt::print("  {:<13} {}{}\n", ContentName(entries[i].Content), DataText(entries[i]),
                   AttributesText(entries[i]));
    }
    edct_DctFreeEntryData(from, entries, count);
  }
  if (options.json) PrintJson({{"words", answers}});
  return status;
}

int Info(const DictOptions &options) {
  const DictFile dictionary(options.input, Encoding::kDetect, false);
  EDCT_INFO info{};
  VQRESULT result = edct_DctGetInfo(dictionary.handle(), &info);
  if (result) throw Failure(dictionary.path() + ": cannot read its info: " + Describe(result));
  const std::string name = Utf8(info.Name), description = Utf8(info.Description);
  const bool hasName = info.Name, hasDescription = info.Description;
  const uint32_t keys = info.NbrKeys, entries = info.NbrEntries;
  edct_DctFreeInfo(dictionary.handle(), &info);
  struct Section {
    EDCT_ENTRY first;  // its attributes; the pointers live while the dictionary does
    std::string text;
    uint32_t keys = 0, entries = 0;
    Json json;
  };
  std::vector<Section> sections;
  result = Walk(dictionary.handle(),
                [&](const std::string &, const EDCT_ENTRY *list, uint32_t count, bool newSection) {
                  if (newSection && count)
                    sections.push_back({list[0], SectionText(list[0]), 0, 0, SectionJson(list[0])});
                  if (sections.empty()) return;
                  sections.back().keys += 1;
                  sections.back().entries += count;
                });
  if (result) throw Failure(dictionary.path() + ": cannot walk it: " + Describe(result));
  if (options.json) {
    Json list = Json::array();
    for (Section &section : sections) {
      section.json["keys"] = section.keys;
      section.json["entries"] = section.entries;
      list.push_back(section.json);
    }
    PrintJson({{"file", dictionary.path()},
               {"kind", dictionary.kind()},
               {"name", hasName ? Json(name) : Json()},
               {"description", hasDescription ? Json(description) : Json()},
               {"keys", keys},
               {"entries", entries},
               {"sections", list}});
    return kOk;
  }
  fmt::print("file         {} ({})\n", dictionary.path(), dictionary.kind());
  fmt::print("name         {}\n", hasName ? name : "(none)");
  fmt::print("description  {}\n", hasDescription ? description : "(none)");
  fmt::print("keys         {}\nentries      {}\n", keys, entries);
  for (size_t i = 0; i < sections.size(); ++i)
    fmt::print("{:<12} {}: {} keys, {} entries\n", fmt::format("section {}", i + 1),
               sections[i].text, sections[i].keys, sections[i].entries);
  return kOk;
}

int List(const DictOptions &options) {
  const DictFile dictionary(options.input, Encoding::kDetect, false);
  Doing("listing", dictionary.path());
  // Written key by key: a listing of a large dictionary is never held whole.
  JsonArrayWriter keys(stdout);
  if (options.json) fmt::print("{{\"file\": {}, \"keys\": ", Json(dictionary.path()).dump());
  size_t section = 0;
  const VQRESULT result =
      Walk(dictionary.handle(),
           [&](const std::string &key, const EDCT_ENTRY *entries, uint32_t count, bool newSection) {
             section += newSection;
             if (options.json) {
               Json list = Json::array();
               for (uint32_t i = 0; i < count; ++i)
                 list.push_back(EntryJson(entries[i]));
               keys.Add({{"key", key}, {"section", section}, {"entries", list}});
               return;
             }
             if (newSection && count) fmt::print("[{}]\n", SectionText(entries[0]));
             fmt::print("{}\n", key);
             for (uint32_t i = 0; i < count; ++i)
               fmt::print("  {:<13} {}{}\n", ContentName(entries[i].Content), DataText(entries[i]),
                          AttributesText(entries[i]));
           });
  if (options.json) {
    keys.Finish();
    fmt::print("}}\n");
  }
  if (result) throw Failure(dictionary.path() + ": cannot walk it: " + Describe(result));
  return kOk;
}

}  // namespace

void AddDictCommands(CLI::App &app, Commands &commands, const Words &words) {
  auto o = std::make_shared<DictOptions>();
  CLI::App *dict = app.add_subcommand(
      "dict", "Compile, check, convert, look up, describe and list dictionaries");
  dict->footer(
      "A DICT is an archive image (opened read-only in place) or a text stream (UTF-8, or "
      "UCS-2 with a byte-order mark); '-' is the standard input or output.");
  const auto encoding = [&o](CLI::App *command, const char *what) {
    command->add_option("--encoding", o->encoding, what)
        ->check(CLI::IsMember({"utf8", "ucs2le", "ucs2be"}));
  };
  const auto json = [&o](CLI::App *command, const char *what) {
    command->add_flag("--json", o->json, what);
  };

  CLI::App *compile = dict->add_subcommand("compile", "Write the archive image of a dictionary");
  compile->add_option("IN", o->input, "A text stream or an archive image")->required();
  compile->add_option("-o,--output", o->output, "The image to write")->required();
  compile->add_flag("--swap", o->swap, "Write the image for a host of the other byte order");
  encoding(compile, "The text stream's encoding (else taken from its byte-order mark)");
  commands.Add(compile, [o] { return Compile(*o, o->input, o->output); });

  CLI::App *convert = dict->add_subcommand("convert", "Compile an archive image again");
  convert->footer(
      "Loading an image into a writable dictionary reverses the order of a key's entries "
      "within a section; a second conversion restores it.");
  convert->add_option("IMAGE", o->input, "An archive image")->required();
  convert->add_option("OUT", o->output, "The image to write")->required();
  convert->add_flag("--swap", o->swap, "Write the image for a host of the other byte order");
  commands.Add(convert, [o] { return Compile(*o, o->input, o->output); });

  CLI::App *decompile = dict->add_subcommand("decompile", "Write a dictionary as a text stream");
  decompile->add_option("IN", o->input, "A text stream or an archive image")->required();
  decompile->add_option("-o,--output", o->output, "The text stream to write ('-': stdout)")
      ->required();
  encoding(decompile, "The encoding to write (default utf8)");
  commands.Add(decompile, [o] { return Decompile(*o); });

  CLI::App *lookup = dict->add_subcommand("lookup", "Look words up through a manager");
  lookup->footer(
      "The dictionaries are registered on a manager in the order given, so the first that "
      "holds a word answers for it. The words follow '--', or are the lines of the standard "
      "input. Exit status 1 when a word is not found.");
  lookup->add_option("DICT", o->inputs, "Dictionaries, the first searched first")->required();
  lookup->add_option("--content", o->content, "Only entries of this kind")
      ->check(CLI::IsMember({"orthographic", "broad-narrows", "userwords"}));
  lookup->add_option("--language", o->language, "Only entries for this language")
      ->each([o](const std::string &) { o->hasLanguage = true; });
  lookup->add_option("--engine", o->engine, "Only entries for this engine")
      ->each([o](const std::string &) { o->hasEngine = true; });
  json(lookup, "Write the answers as JSON");
  commands.Add(lookup, [o, &words] { return Lookup(*o, words); });

  CLI::App *info = dict->add_subcommand("info", "Name, description, counts and sections");
  info->add_option("DICT", o->input, "A dictionary")->required();
  json(info, "Write the description as JSON");
  commands.Add(info, [o] { return Info(*o); });

  CLI::App *list = dict->add_subcommand("list", "Every key with its entries");
  list->add_option("DICT", o->input, "A dictionary")->required();
  json(list, "Write the keys as JSON");
  commands.Add(list, [o] { return List(*o); });

  CLI::App *check = dict->add_subcommand("check", "Check lexicons as a compiler would");
  check->footer(
      "Prints file:line:column, warning or error, and what is wrong: what the reader refuses "
      "(errors), and what it accepts but will not give back as written: unknown sections, keys "
      "given twice, entries repeated, empty keys and data, text that the text form cannot "
      "carry back, sections that differ only in the case of an attribute, mixed line ends, a "
      "byte-order mark inside the text, quoted text with blanks at its ends. Exit status 1 "
      "when there are errors (or, with --werror, warnings).");
  check->add_option("LEXICON", o->inputs, "Text streams (or archive images)")->required();
  check->add_flag("--werror", o->werror, "Count warnings as errors");
  encoding(check, "The text streams' encoding (else taken from their byte-order marks)");
  json(check, "Write the findings as JSON");
  commands.Add(check, [o] {
    return CheckLexicons(o->inputs, ParseEncoding(o->encoding), o->werror, o->json);
  });

  CLI::App *import = dict->add_subcommand(
      "import-pls", "Make a dictionary from W3C pronunciation lexicons (PLS 1.0)");
  import->footer(
      "Each grapheme becomes a key; the phonemes of a lexeme, preferred first, one "
      "broad-narrows entry; each alias an orthographic entry. The lexicon's xml:lang is the "
      "Language, its alphabet the Model (\"alphabet:ipa\"). What has no place in a dictionary "
      "(examples, roles, metadata) is reported. OUT is an archive image, or a text stream when "
      "it ends in .txt or is '-'.");
  import->add_option("PLS", o->inputs, "Lexicon files")->required();
  import->add_option("-o,--output", o->output, "The dictionary to write")->required();
  commands.Add(import, [o] { return ImportPls(o->inputs, o->output); });

  CLI::App *exportPls =
      dict->add_subcommand("export-pls", "Write a dictionary as a W3C pronunciation lexicon");
  exportPls->footer(
      "Each key becomes a lexeme with one grapheme; its broad-narrows entries give the "
      "phonemes, its orthographic entries the aliases. A lexicon has one language: a "
      "dictionary with several needs --language, and entries of the others are reported. "
      "What has no place in a lexicon (user words, engines) is reported.");
  exportPls->add_option("DICT", o->input, "A dictionary")->required();
  exportPls->add_option("-o,--output", o->output, "The lexicon to write ('-': stdout)")->required();
  exportPls->add_option("--language", o->language, "The language to export")
      ->each([o](const std::string &) { o->hasLanguage = true; });
  exportPls->add_option("--alphabet", o->alphabet,
                        "The alphabet of phonemes whose section records none");
  commands.Add(exportPls, [o] {
    return ExportPls(o->input, o->output, o->hasLanguage ? &o->language : nullptr, o->alphabet);
  });
}

}  // namespace cli
