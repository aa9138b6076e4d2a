// The malformed inputs of tests/corpus, each with what it must give. Every kind has a MANIFEST
// of lines "input<TAB>expected"; the expected text is the summary below, with result codes by
// name. Data header files, archive images and text streams are files in the kind's folder;
// broker trees are made by broker/make_trees.py into the folder SC_CORPUS_TREES before the
// test runs, since FIFOs and links up the tree do not travel in a repository.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "speechcommon.h"

namespace {

namespace fs = std::filesystem;

// Every code of every family by name, from the families' tables.
struct Named {
  VQRESULT code;
  const char *name;
};
#define SC_CODE(value, name, text) {name, #name},
#define SC_CODE_GENERAL(value, name) {name, #name},
#define SC_CODE_UNLISTED(value, name, doc) {name, #name},
constexpr Named kNames[] = {
#include "broker/brk_codes.def"
#include "dataheader/hdrpars_codes.def"
#include "dictionary/edct_codes.def"
#include "foundation/srvspi_codes.def"
};
#undef SC_CODE
#undef SC_CODE_GENERAL
#undef SC_CODE_UNLISTED

std::string Name(VQRESULT code) {
  if (code == 0) return "0";
  for (const Named &named : kNames)
    if (named.code == code) return named.name;
  char hex[16];
  std::snprintf(hex, sizeof hex, "0x%08X", code);
  return hex;
}

std::string ReadBytes(const fs::path &path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string Ascii(const char16_t *text) {
  std::string out;
  for (; text && *text; ++text)
    out += *text >= 0x20 && *text < 0x7F ? static_cast<char>(*text) : '?';
  return out;
}

// "P{X=1;Y=...(300)}": names, leaf values (long ones by their length), children in braces.
std::string Describe(const Tag *tag) {
  std::string out;
  for (; tag; tag = tag->next) {
    if (!out.empty()) out += ';';
    out += Ascii(tag->name);
    if (tag->children) {
      out += "{" + Describe(tag->children) + "}";
    } else {
      const std::string value = Ascii(tag->value);
      out += "=" + (value.size() > 16 ? "...(" + std::to_string(value.size()) + ")" : value);
    }
    if (out.size() > 160) return out.substr(0, 160) + "...";
  }
  return out;
}

// The reader's code; on success the tree, and each DATABLOCK's block: the open's code and the
// bytes a mapping of the whole block yields.
std::string DataHeader(const fs::path &path) {
  FileStructure *structure = nullptr;
  const VQRESULT read = hdrpars_ReadFileHeader(path.string().c_str(), &structure);
  if (read) return Name(read);
  std::string summary = "0 " + Describe(structure->tags);
  for (Tag *tag = structure->tags; tag; tag = tag->next) {
    if (Ascii(tag->name) != "DATABLOCK") continue;
    Tag *name = nullptr;
    hdrpars_FindTag(tag->children, u"BROKERSTRING", &name);
    DataBlock *block = nullptr;
    const VQRESULT opened = hdrpars_OpenData(name ? name->value : u"data", structure, &block);
    summary += " | block " + Name(opened);
    if (opened) continue;
    const void *data = nullptr;
    uint32_t available = 0;
    const VQRESULT mapped = hdrpars_DataMap(block->source, 0, -1, &data, &available);
    summary += mapped ? " " + Name(mapped) : " " + std::to_string(available) + " bytes";
    hdrpars_DataUnMap(block->source, data);
  }
  hdrpars_DeleteFileStructure(structure);
  return summary;
}

// The check of the bytes as they are (in a block of exactly their size); when it passes, the
// read-only open and the writable load.
std::string ArchiveImage(const fs::path &path) {
  const std::string bytes = ReadBytes(path);
  const std::vector<unsigned char> exact(bytes.begin(), bytes.end());
  const VQRESULT checked = edct_DctCheckImage(
      exact.empty() ? "" : static_cast<const void *>(exact.data()), exact.size());
  std::string summary = "check " + Name(checked);
  if (checked) return summary;
  std::vector<uint32_t> aligned(bytes.size() / 4 + 1);
  std::memcpy(aligned.data(), bytes.data(), bytes.size());
  for (const auto &[mode, label] :
       {std::pair(EDCT_OPEN_READONLY, " view "), std::pair(EDCT_OPEN_WRITABLE, " load ")}) {
    SafeHandle dictionary;
    const VQRESULT opened =
        edct_DctOpen(g_vqNullHandle, aligned.data(), mode, nullptr, nullptr, &dictionary);
    summary += label + Name(opened);
    if (!opened) edct_DctClose(dictionary);
  }
  return summary;
}

struct Stream {
  std::string bytes;
  size_t at = 0;
  static uint32_t Read(void *user, void *buffer, uint32_t *count) {
    auto *self = static_cast<Stream *>(user);
    const size_t given = std::min<size_t>(*count, self->bytes.size() - self->at);
    std::memcpy(buffer, self->bytes.data() + self->at, given);
    self->at += given;
    *count = static_cast<uint32_t>(given);
    return 0;
  }
};

// The reader's code in the format the file's extension names, and what the dictionary holds
// afterwards (entries read before a failure stay).
std::string TextStream(const fs::path &path) {
  const std::string extension = path.extension().string();
  const uint32_t format = extension == ".ucs2le"   ? EDCT_FORMAT_UCS2LE
                          : extension == ".ucs2be" ? EDCT_FORMAT_UCS2BE
                                                   : EDCT_FORMAT_UTF8;
  SafeHandle dictionary;
  if (edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, &dictionary))
    return "no dictionary";
  Stream stream{ReadBytes(path)};
  const VQRESULT read = edct_DctReadStream(dictionary, Stream::Read, format, &stream);
  EDCT_INFO info{};
  edct_DctGetInfo(dictionary, &info);
  const std::string summary = Name(read) + " keys " + std::to_string(info.NbrKeys) + " entries " +
                              std::to_string(info.NbrEntries);
  edct_DctFreeInfo(dictionary, &info);
  edct_DctClose(dictionary);
  return summary;
}

// The broker strings of a type that the object lists, sorted (the file system's order is not
// fixed), each with the code brk_InfoQuery gives for it.
std::string Listed(BrkObject *object, const char *type) {
  BrkComponentList *list = nullptr;
  const VQRESULT queried = brk_ComponentListQuery(object, type, &list);
  if (queried) return Name(queried);
  std::vector<std::string> entries;
  for (uint32_t i = 0; i < list->count; ++i) {
    char *module = nullptr;
    const VQRESULT info = brk_InfoQuery(object, list->entries[i].brokerString, &module);
    brk_InfoRelease(object, module);
    entries.push_back(std::string(list->entries[i].brokerString) + "=" +
                      Ascii(list->entries[i].name) + "(" + (info ? Name(info) : "module") + ")");
  }
  brk_ComponentListRelease(object, list);
  std::sort(entries.begin(), entries.end());
  std::string text;
  for (const std::string &entry : entries)
    text += (text.empty() ? "" : ",") + entry;
  return text.empty() ? "-" : text;
}

// The class's code; its TTS engines; per engine the voices an object on it reaches; the
// voices an object without engine reaches.
std::string BrokerTree(const fs::path &root) {
  BrkClass *cls = nullptr;
  const VQRESULT opened = brk_ClassOpenEx(&cls, root.string().c_str(), g_vqNullHandle, nullptr);
  if (opened) return "class " + Name(opened);
  BrkObject *none = nullptr;
  std::string summary;
  if (const VQRESULT code = brk_ObjOpen(&none, nullptr, nullptr, cls, nullptr))
    summary = "object " + Name(code);
  else
    summary = "engines " + Listed(none, "TTSENGINE");
  BrkComponentList *engines = nullptr;
  if (none && brk_ComponentListQuery(none, "TTSENGINE", &engines) == 0) {
    for (uint32_t i = 0; i < engines->count; ++i) {
      BrkObject *object = nullptr;
      const char *engine = engines->entries[i].brokerString;
      const VQRESULT code = brk_ObjOpen(&object, engine, nullptr, cls, nullptr);
      summary += std::string(" | ") + engine + ": " + (code ? Name(code) : Listed(object, "VOICE"));
      if (object) brk_ObjClose(object);
    }
    brk_ComponentListRelease(none, engines);
  }
  if (none) {
    summary += " | shared: " + Listed(none, "VOICE");
    brk_ObjClose(none);
  }
  brk_ClassClose(cls);
  return summary;
}

// The manifest's lines: input and expected summary.
std::vector<std::pair<std::string, std::string>> Manifest(const fs::path &folder) {
  std::vector<std::pair<std::string, std::string>> lines;
  std::ifstream in(folder / "MANIFEST");
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    const size_t tab = line.find('\t');
    lines.emplace_back(line.substr(0, tab),
                       tab == std::string::npos ? std::string() : line.substr(tab + 1));
  }
  return lines;
}

// Runs every input of the kind's manifest; inputs missing from it fail the test too, so that
// every file in the folder carries its expected result.
void RunKind(const fs::path &folder, const fs::path &inputs,
             std::string (*summarise)(const fs::path &), size_t least) {
  const auto manifest = Manifest(folder);
  EXPECT_GE(manifest.size(), least);
  std::vector<std::string> named;
  for (const auto &[input, expected] : manifest) {
    named.push_back(input);
    EXPECT_EQ(summarise(inputs / input), expected) << input;
  }
  if (folder != inputs) return;
  for (const auto &entry : fs::directory_iterator(folder)) {
    const std::string file = entry.path().filename().string();
    if (file != "MANIFEST" && std::find(named.begin(), named.end(), file) == named.end())
      ADD_FAILURE() << file << " is not in " << (folder / "MANIFEST");
  }
}

const fs::path kCorpus = SC_CORPUS;

TEST(Corpus, DataHeaderFiles) {
  RunKind(kCorpus / "dataheader", kCorpus / "dataheader", DataHeader, 30);
}

TEST(Corpus, ArchiveImages) {
  RunKind(kCorpus / "archive", kCorpus / "archive", ArchiveImage, 30);
}

TEST(Corpus, TextStreams) {
  RunKind(kCorpus / "dctstream", kCorpus / "dctstream", TextStream, 20);
}

TEST(Corpus, BrokerTrees) {
  RunKind(kCorpus / "broker", SC_CORPUS_TREES, BrokerTree, 10);
}

}  // namespace
