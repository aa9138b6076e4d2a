// speechcommon hdr: shows, extracts from and packs data header files.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/cli.h"

namespace cli {
namespace {

constexpr const char *kUsageText =
    "usage: speechcommon hdr show FILE\n"
    "       speechcommon hdr extract FILE BLOCK [-o OUT]\n"
    "       speechcommon hdr pack OUT [ELEMENT...]\n"
    "\n"
    "show     prints FILE's header elements as a tree (each level of nesting adds \"...\"),\n"
    "         then each data block with its offset (from the start of the binary data) and\n"
    "         size. Exit status 1 when a block cannot be opened or its bytes are missing.\n"
    "extract  writes the bytes of data block BLOCK of FILE to OUT, or to the standard output.\n"
    "pack     writes a new data header file OUT from the elements given, in order:\n"
    "  -t, --tag PATH=VALUE   an element with a text value. PATH is NAME or PARENT/.../NAME;\n"
    "                         each PARENT is the last element of that name at that level, made\n"
    "                         when there is none yet.\n"
    "  -b, --begin NAME       a new element NAME; the elements up to the matching --end are\n"
    "  -e, --end              its children, and PATHs in between start inside it.\n"
    "  -d, --data NAME=FILE   a data block NAME holding the bytes of FILE. A DATABLOCK element\n"
    "                         with BROKERSTRING NAME is added unless one is given; its OFFSET\n"
    "                         and SIZE are filled in when the file is written.\n"
    "         Names are 1 to 256 characters without '>', '/' or '='. Values lose leading and\n"
    "         trailing blanks and line ends, as reading does. The file is read back after\n"
    "         writing; if a value holds markup that would read differently, OUT is removed.\n"
    "\n"
    "examples:\n"
    "  speechcommon hdr pack voice.hdr -t COMPTYPE=ADDON -t BROKERSTRING=voice/en \\\n"
    "      -t INFO/LANGUAGE=en-US -t INFO/GENDER=female -d data=voice.bin\n"
    "  speechcommon hdr pack voice.hdr -b DATABLOCK -t BROKERSTRING=data -t NOTE=v2 -e \\\n"
    "      -d data=voice.bin\n"
    "  speechcommon hdr show voice.hdr\n"
    "  speechcommon hdr extract voice.hdr data -o voice.bin\n";

int UsageError(const char *message) {
  std::fprintf(stderr, "speechcommon hdr: %s\n\n%s", message, kUsageText);
  return kUsage;
}

int Fail(const std::string &file, VQRESULT code) {
  const char *text = hdrpars_ErrorGetString(code);
  std::fprintf(stderr, "speechcommon hdr: %s: %s (%s)\n", file.c_str(),
               text + std::strspn(text, " "), Hex(code).c_str());
  return kFailed;
}

// UTF-8 from the command line to the 16-bit text of headers, and back for display.
std::optional<std::u16string> Wide(std::string_view text) {
  std::u16string wide;
  for (size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if ((lead >= 0x80 && lead < 0xC2) || lead > 0xF4 || i + length > text.size())
      return std::nullopt;
    char32_t point = length == 1 ? lead : lead & (0x7F >> length);
    for (size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80) return std::nullopt;
      point = (point << 6) | (next & 0x3F);
    }
    constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (point < kLeast[length] || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF))
      return std::nullopt;
    if (point >= 0x10000) {
      wide += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
      wide += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
    } else {
      wide += static_cast<char16_t>(point);
    }
    i += length;
  }
  return wide;
}

std::string Narrow(const char16_t *text) {
  std::string out;
  for (; text && *text; ++text) {
    char32_t point = *text;
    if (point >= 0xD800 && point <= 0xDBFF && text[1] >= 0xDC00 && text[1] <= 0xDFFF) {
      point = 0x10000 + ((point - 0xD800) << 10) + (*++text - 0xDC00);
    } else if (point >= 0xD800 && point <= 0xDFFF) {
      point = 0xFFFD;
    }
    if (point < 0x80) {
      out += static_cast<char>(point);
    } else if (point < 0x800) {
      out += {static_cast<char>(0xC0 | (point >> 6)), static_cast<char>(0x80 | (point & 0x3F))};
    } else if (point < 0x10000) {
      out +=
          {static_cast<char>(0xE0 | (point >> 12)), static_cast<char>(0x80 | ((point >> 6) & 0x3F)),
           static_cast<char>(0x80 | (point & 0x3F))};
    } else {
      out += {static_cast<char>(0xF0 | (point >> 18)),
              static_cast<char>(0x80 | ((point >> 12) & 0x3F)),
              static_cast<char>(0x80 | ((point >> 6) & 0x3F)),
              static_cast<char>(0x80 | (point & 0x3F))};
    }
  }
  return out;
}

std::u16string_view View(const char16_t *text) {
  return text ? std::u16string_view(text) : std::u16string_view();
}

std::u16string Trimmed(std::u16string_view text) {
  const auto blank = [](char16_t c) { return c == u' ' || c == u'\r' || c == u'\n'; };
  while (!text.empty() && blank(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && blank(text.back()))
    text.remove_suffix(1);
  return std::u16string(text);
}

// A structure read from a file, deleted at scope end.
struct StructureDeleter {
  void operator()(FileStructure *structure) const { hdrpars_DeleteFileStructure(structure); }
};
using Structure = std::unique_ptr<FileStructure, StructureDeleter>;

VQRESULT ReadStructure(const std::string &path, Structure &out) {
  FileStructure *structure = nullptr;
  const VQRESULT result = hdrpars_ReadFileHeader(path.c_str(), &structure);
  out.reset(structure);
  return result;
}

const Tag *Child(const Tag *tag, const char16_t *name) {
  Tag *found = nullptr;
  hdrpars_FindTag(tag->children, name, &found);
  return found;
}

// Passes each mapped piece of the block to `sink`; returns the bytes the file holds.
template <class Sink>
VQRESULT ForEachPiece(DataBlock *block, Sink sink, uint64_t &present) {
  constexpr uint32_t kPiece = 1 << 16;
  present = 0;
  for (uint64_t offset = 0; offset < block->size; offset += kPiece) {
    const void *data = nullptr;
    uint32_t available = 0;
    const VQRESULT mapped =
        hdrpars_DataMap(block->source, static_cast<uint32_t>(offset), kPiece, &data, &available);
    if (mapped) return mapped;
    const bool more = sink(data, available);
    hdrpars_DataUnMap(block->source, data);
    present += available;
    if (!more || available < kPiece) break;
  }
  return 0;
}

int Show(const std::string &path) {
  Structure structure;
  const VQRESULT read = ReadStructure(path, structure);
  if (read) return Fail(path, read);
  std::printf("%s\n", path.c_str());
  std::fflush(stdout);
  hdrpars_PrintFileStructure(structure.get());
  int status = kOk;
  bool any = false;
  for (const Tag *tag = structure->tags; tag; tag = tag->next) {
    if (View(tag->name) != u"DATABLOCK") continue;
    if (!any) std::printf("\ndata blocks:\n");
    any = true;
    const Tag *name = Child(tag, u"BROKERSTRING");
    if (!name) {
      std::printf("  (a DATABLOCK without BROKERSTRING)\n");
      status = kFailed;
      continue;
    }
    DataBlock *block = nullptr;
    const VQRESULT opened = hdrpars_OpenData(name->value, structure.get(), &block);
    if (opened) {
      std::printf("  %-12s %s %s\n", Narrow(name->value).c_str(), Hex(opened).c_str(),
                  hdrpars_ErrorGetString(opened));
      status = kFailed;
      continue;
    }
    const Tag *offset = Child(tag, u"OFFSET");
    const std::string offsetText = offset ? Narrow(Trimmed(View(offset->value)).c_str()) : "?";
    uint64_t present = 0;
    const VQRESULT mapped = ForEachPiece(
        block, [](const void *, uint32_t) { return true; }, present);
    std::printf("  %-12s offset %-10s size %u", Narrow(name->value).c_str(), offsetText.c_str(),
                block->size);
    if (mapped || present < block->size) {
      std::printf("  (%s)",
                  mapped ? hdrpars_ErrorGetString(mapped)
                         : ("only " + std::to_string(present) + " bytes in the file").c_str());
      status = kFailed;
    }
    std::printf("\n");
  }
  if (!any) std::printf("\nno data blocks\n");
  return status;
}

int Extract(const std::string &path, const std::string &blockName, const char *out) {
  const std::optional<std::u16string> name = Wide(blockName);
  if (!name) return UsageError("BLOCK is not valid UTF-8");
  Structure structure;
  VQRESULT result = ReadStructure(path, structure);
  if (result) return Fail(path, result);
  DataBlock *block = nullptr;
  result = hdrpars_OpenData(name->c_str(), structure.get(), &block);
  if (result) return Fail(path + ": block '" + blockName + "'", result);
  FILE *sink = out ? std::fopen(out, "wb") : stdout;
  if (!sink) {
    std::fprintf(stderr, "speechcommon hdr: %s: cannot create: %s\n", out, std::strerror(errno));
    return kFailed;
  }
  bool written = true;
  uint64_t present = 0;
  result = ForEachPiece(
      block,
      [&](const void *data, uint32_t size) {
        written = std::fwrite(data, 1, size, sink) == size;
        return written;
      },
      present);
  written = (out ? std::fclose(sink) == 0 : std::fflush(sink) == 0) && written;
  if (result || present < block->size || !written) {
    if (out) std::filesystem::remove(out);
    if (result) return Fail(path + ": block '" + blockName + "'", result);
    if (!written) {
      std::fprintf(stderr, "speechcommon hdr: %s: write failed\n", out ? out : "standard output");
    } else {
      std::fprintf(stderr, "speechcommon hdr: %s: block '%s' holds %u bytes, the file only %llu\n",
                   path.c_str(), blockName.c_str(), block->size,
                   static_cast<unsigned long long>(present));
    }
    return kFailed;
  }
  return kOk;
}

// The elements of `hdr pack` as they are gathered from the command line.
struct Node {
  std::u16string name;
  std::u16string value;
  bool hasValue = false;
  std::vector<Node> children;
};

struct DataFile {
  std::u16string name;
  std::string path;
  std::string argument;
};

bool GoodName(std::u16string_view name) {
  return !name.empty() && name.size() <= 256 && name.find_first_of(u">/=") == name.npos;
}

// The last child of that name, or a new one.
Node &ChildNamed(Node &parent, const std::u16string &name) {
  for (auto it = parent.children.rbegin(); it != parent.children.rend(); ++it)
    if (it->name == name) return *it;
  parent.children.push_back(Node{name, u"", false, {}});
  return parent.children.back();
}

// Tags and strings of the structure are malloc blocks, as hdrpars_DeleteFileStructure expects.
char16_t *MallocText(std::u16string_view text) {
  auto *copy = static_cast<char16_t *>(std::malloc((text.size() + 1) * sizeof(char16_t)));
  if (!copy) std::abort();
  std::copy(text.begin(), text.end(), copy);
  copy[text.size()] = 0;
  return copy;
}

Tag *MakeTags(const std::vector<Node> &nodes) {
  Tag *first = nullptr;
  Tag **link = &first;
  for (const Node &node : nodes) {
    auto *tag = static_cast<Tag *>(std::calloc(1, sizeof(Tag)));
    if (!tag) std::abort();
    tag->name = MallocText(node.name);
    tag->value = MallocText(node.value);
    tag->children = MakeTags(node.children);
    *link = tag;
    link = &tag->next;
  }
  return first;
}

// The first place where the tree read back differs from the one written, or "".
std::string Difference(const Tag *written, const Tag *read, const std::string &at) {
  for (; written; written = written->next, read = read->next) {
    const std::string here = at + Narrow(written->name);
    if (!read || View(read->name) != View(written->name) || !read->children != !written->children)
      return here;
    if (!written->children && Trimmed(View(read->value)) != Trimmed(View(written->value)))
      return here;
    std::string inner = Difference(written->children, read->children, here + "/");
    if (!inner.empty()) return inner;
  }
  return read ? at + Narrow(read->name) : "";
}

int Pack(int argc, char **argv) {
  const std::string out = argv[0];
  Node root;
  std::vector<Node *> open{&root};
  std::vector<DataFile> data;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    const bool takesArgument = option == "-t" || option == "--tag" || option == "-b" ||
                               option == "--begin" || option == "-d" || option == "--data";
    if (option == "-e" || option == "--end") {
      if (open.size() == 1) return UsageError("--end without --begin");
      open.pop_back();
      continue;
    }
    if (!takesArgument) return UsageError(("unknown option '" + option + "'").c_str());
    if (++i == argc) return UsageError((option + " needs an argument").c_str());
    const std::string argument = argv[i];
    const std::optional<std::u16string> wide = Wide(argument);
    if (!wide) return UsageError(("'" + argument + "' is not valid UTF-8").c_str());
    const size_t equals = wide->find(u'=');
    if (option == "-b" || option == "--begin") {
      if (!GoodName(*wide)) return UsageError(("bad element name '" + argument + "'").c_str());
      open.back()->children.push_back(Node{*wide, u"", false, {}});
      open.push_back(&open.back()->children.back());
    } else if (option == "-d" || option == "--data") {
      const std::u16string name = wide->substr(0, equals);
      if (equals == wide->npos || !GoodName(name) || equals + 1 == wide->size())
        return UsageError(("--data wants NAME=FILE, not '" + argument + "'").c_str());
      for (const DataFile &file : data)
        if (file.name == name) return UsageError(("data block given twice: " + argument).c_str());
      data.push_back(DataFile{name, argument.substr(argument.find('=') + 1), argument});
    } else {
      if (equals == wide->npos)
        return UsageError(("--tag wants PATH=VALUE, not '" + argument + "'").c_str());
      Node *parent = open.back();
      std::u16string_view path = std::u16string_view(*wide).substr(0, equals);
      for (size_t slash; (slash = path.find(u'/')) != path.npos; path.remove_prefix(slash + 1)) {
        if (!GoodName(path.substr(0, slash)))
          return UsageError(("bad element path in '" + argument + "'").c_str());
        parent = &ChildNamed(*parent, std::u16string(path.substr(0, slash)));
      }
      if (!GoodName(path)) return UsageError(("bad element name in '" + argument + "'").c_str());
      parent->children.push_back(
          Node{std::u16string(path), Trimmed(wide->substr(equals + 1)), true, {}});
    }
  }
  if (open.size() > 1) return UsageError("--begin without --end");

  // Every data block gets a description unless one was given.
  for (const DataFile &file : data) {
    bool described = false;
    for (const Node &node : root.children) {
      if (node.name != u"DATABLOCK") continue;
      for (const Node &child : node.children)
        described = described || (child.name == u"BROKERSTRING" && child.value == file.name);
    }
    if (!described)
      root.children.push_back(
          Node{u"DATABLOCK", u"", false, {Node{u"BROKERSTRING", file.name, true, {}}}});
  }
  std::vector<const Node *> pending{&root};
  while (!pending.empty()) {
    const Node *node = pending.back();
    pending.pop_back();
    for (const Node &child : node->children) {
      if (child.hasValue && !child.children.empty()) {
        std::fprintf(stderr, "speechcommon hdr: element '%s' has both a value and children\n",
                     Narrow(child.name.c_str()).c_str());
        return kFailed;
      }
      pending.push_back(&child);
    }
  }
  const std::optional<std::u16string> widePath = Wide(out);
  if (!widePath) return UsageError("OUT must be a UTF-8 path");

  auto *structure = static_cast<FileStructure *>(std::calloc(1, sizeof(FileStructure)));
  if (!structure) std::abort();
  Structure owner(structure);
  structure->path = MallocText(*widePath);
  structure->tags = MakeTags(root.children);
  DataBlock **tail = &structure->dataBlocks;
  for (const DataFile &file : data) {
    std::error_code error;
    const uintmax_t size = std::filesystem::file_size(file.path, error);
    if (error || size > 0x7FFFFFFF) {
      std::fprintf(stderr, "speechcommon hdr: %s: %s\n", file.path.c_str(),
                   error ? error.message().c_str() : "larger than 2 GiB");
      return kFailed;
    }
    if (std::filesystem::equivalent(file.path, out, error)) {
      std::fprintf(stderr, "speechcommon hdr: %s is both a data file and OUT\n", out.c_str());
      return kFailed;
    }
    auto *block = static_cast<DataBlock *>(std::calloc(1, sizeof(DataBlock)));
    if (!block) std::abort();
    *tail = block;
    tail = &block->next;
    block->name = MallocText(file.name);
    block->size = static_cast<uint32_t>(size);
    const VQRESULT opened = hdrpars_OpenResource(file.path.c_str(), 0, block->size,
                                                 PARSER_RESOURCE_FILE, 0, &block->source);
    if (opened) return Fail(file.path, opened);
  }
  VQRESULT result = hdrpars_WriteFile(structure);
  if (result) {
    std::filesystem::remove(out);
    return Fail(out, result);
  }
  Structure check;
  result = ReadStructure(out, check);
  const std::string differs = result ? "" : Difference(structure->tags, check->tags, "");
  if (result || !differs.empty()) {
    std::filesystem::remove(out);
    if (result) return Fail(out, result);
    std::fprintf(stderr,
                 "speechcommon hdr: %s: element '%s' would not read back as given (a value "
                 "holds markup); nothing written\n",
                 out.c_str(), differs.c_str());
    return kFailed;
  }
  return kOk;
}

}  // namespace

int CmdHdr(int argc, char **argv) {
  if (argc >= 1 && (!std::strcmp(argv[0], "--help") || !std::strcmp(argv[0], "-h"))) {
    std::fputs(kUsageText, stdout);
    return kOk;
  }
  if (argc < 1) return UsageError("a subcommand is needed");
  const std::string command = argv[0];
  if (command == "show") {
    if (argc != 2) return UsageError("show takes one FILE");
    return Show(argv[1]);
  }
  if (command == "extract") {
    std::vector<std::string> positional;
    const char *out = nullptr;
    for (int i = 1; i < argc; ++i) {
      if (!std::strcmp(argv[i], "-o") || !std::strcmp(argv[i], "--output")) {
        if (++i == argc) return UsageError("-o needs a file");
        out = argv[i];
      } else {
        positional.push_back(argv[i]);
      }
    }
    if (positional.size() != 2) return UsageError("extract takes FILE and BLOCK");
    return Extract(positional[0], positional[1], out);
  }
  if (command == "pack") {
    if (argc < 2) return UsageError("pack needs OUT");
    return Pack(argc - 1, argv + 1);
  }
  return UsageError(("unknown subcommand '" + command + "'").c_str());
}

}  // namespace cli
