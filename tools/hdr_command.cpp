// speechcommon hdr: shows, extracts from and packs data header files.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>

#include "speechcommon.h"
#include "tools/cli.h"
#include "tools/hdr_pack.h"
#include "tools/output.h"
#include "tools/result_codes.h"
#include "tools/text.h"

namespace cli {
namespace {

struct StructureDeleter {
  void operator()(FileStructure *structure) const { hdrpars_DeleteFileStructure(structure); }
};
using Structure = std::unique_ptr<FileStructure, StructureDeleter>;

Structure ReadStructure(const std::string &path) {
  FileStructure *structure = nullptr;
  const VQRESULT result = hdrpars_ReadFileHeader(path.c_str(), &structure);
  Structure owned(structure);
  if (result) throw Failure(path + ": " + Describe(result));
  return owned;
}

const Tag *Child(const Tag *tag, const char16_t *name) {
  Tag *found = nullptr;
  hdrpars_FindTag(tag->children, name, &found);
  return found;
}

std::string Trimmed(const char16_t *value) {
  std::string text = Utf8(value);
  const size_t start = text.find_first_not_of(" \r\n");
  if (start == std::string::npos) return "";
  return text.substr(start, text.find_last_not_of(" \r\n") + 1 - start);
}

// Passes each mapped piece of the block to `sink` (which may stop the walk by returning false);
// returns the bytes the file holds.
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

// One DATABLOCK element as `show` reports it: whether its bytes are all in the file.
struct BlockReport {
  std::string name;  // empty when the element has no BROKERSTRING
  std::string offset;
  uint32_t size = 0;
  uint64_t present = 0;
  std::string problem;  // empty when the block is whole
};

std::vector<BlockReport> Blocks(FileStructure *structure) {
  std::vector<BlockReport> blocks;
  for (const Tag *tag = structure->tags; tag; tag = tag->next) {
    if (Utf8(tag->name) != "DATABLOCK") continue;
    BlockReport report;
    const Tag *name = Child(tag, u"BROKERSTRING");
    if (!name) {
      report.problem = "a DATABLOCK without BROKERSTRING";
      blocks.push_back(report);
      continue;
    }
    report.name = Utf8(name->value);
    const Tag *offset = Child(tag, u"OFFSET");
    report.offset = offset ? Trimmed(offset->value) : "?";
    DataBlock *block = nullptr;
    const VQRESULT opened = hdrpars_OpenData(name->value, structure, &block);
    if (opened) {
      report.problem = Describe(opened);
      blocks.push_back(report);
      continue;
    }
    report.size = block->size;
    const VQRESULT mapped = ForEachPiece(
        block, [](const void *, uint32_t) { return true; }, report.present);
    if (mapped)
      report.problem = Describe(mapped);
    else if (report.present < block->size)
      report.problem = fmt::format("only {} bytes in the file", report.present);
    blocks.push_back(report);
  }
  return blocks;
}

Json Elements(const Tag *tag) {
  Json elements = Json::array();
  for (; tag; tag = tag->next) {
    Json element = {{"name", Utf8(tag->name)}};
    if (tag->children)
      element["children"] = Elements(tag->children);
    else
      element["value"] = Utf8(tag->value);
    elements.push_back(std::move(element));
  }
  return elements;
}

int Show(const std::string &path, bool json) {
  const Structure structure = ReadStructure(path);
  const std::vector<BlockReport> blocks = Blocks(structure.get());
  bool whole = true;
  for (const BlockReport &block : blocks)
    whole = whole && block.problem.empty();
  if (json) {
    Json list = Json::array();
    for (const BlockReport &block : blocks)
      list.push_back({{"name", block.name.empty() ? Json() : Json(block.name)},
                      {"offset", block.offset},
                      {"size", block.size},
                      {"present", block.present},
                      {"problem", block.problem.empty() ? Json() : Json(block.problem)}});
    PrintJson({{"file", path}, {"elements", Elements(structure->tags)}, {"blocks", list}});
    return whole ? kOk : kFailed;
  }
  fmt::print("{}\n", path);
  std::fflush(stdout);
  hdrpars_PrintFileStructure(structure.get());  // the library prints the tree itself
  if (blocks.empty()) fmt::print("\nno data blocks\n");
  if (!blocks.empty()) fmt::print("\ndata blocks:\n");
  for (const BlockReport &block : blocks) {
    if (block.name.empty())
      fmt::print("  ({})\n", block.problem);
    else if (block.size == 0 && !block.problem.empty())
      fmt::print("  {:<12} {}\n", block.name, block.problem);
    else
      fmt::print("  {:<12} offset {:<10} size {}{}\n", block.name, block.offset, block.size,
                 block.problem.empty() ? "" : fmt::format("  ({})", block.problem));
  }
  return whole ? kOk : kFailed;
}

int Extract(const std::string &path, const std::string &blockName, const std::string &out) {
  if (!IsUtf8(blockName)) throw Failure("BLOCK is not valid UTF-8", kUsage);
  const Structure structure = ReadStructure(path);
  DataBlock *block = nullptr;
  const std::u16string name = Utf16(blockName);
  VQRESULT result = hdrpars_OpenData(name.c_str(), structure.get(), &block);
  if (result) throw Failure(path + ": block '" + blockName + "': " + Describe(result));
  const bool toFile = out != "-";
  FILE *sink = toFile ? std::fopen(out.c_str(), "wb") : stdout;
  if (!sink) throw Failure(out + ": cannot create: " + std::strerror(errno));
  bool written = true;
  uint64_t present = 0;
  result = ForEachPiece(
      block,
      [&](const void *data, uint32_t size) {
        written = std::fwrite(data, 1, size, sink) == size;
        return written;
      },
      present);
  written = (toFile ? std::fclose(sink) == 0 : std::fflush(sink) == 0) && written;
  if (!result && present == block->size && written) return kOk;
  if (toFile) std::filesystem::remove(out);
  if (result) throw Failure(path + ": block '" + blockName + "': " + Describe(result));
  if (!written) throw Failure((toFile ? out : "standard output") + ": write failed");
  throw Failure(fmt::format("{}: block '{}' holds {} bytes, the file only {}", path, blockName,
                            block->size, present));
}

struct HdrOptions {
  std::string file, block, out = "-";
  bool json = false;
  std::vector<std::string> tags, begins, data;
  int ends = 0;
};

}  // namespace

void AddHdrCommands(CLI::App &app, Commands &commands) {
  auto options = std::make_shared<HdrOptions>();
  CLI::App *hdr = app.add_subcommand("hdr", "Show, extract from and pack data header files");

  CLI::App *show = hdr->add_subcommand("show", "Print a file's header elements and data blocks");
  show->footer(
      "Prints the elements as a tree (each level of nesting adds \"...\"), then each data "
      "block with its offset (from the start of the binary data) and size. Exit status 1 when "
      "a block cannot be opened or its bytes are missing.");
  show->add_option("FILE", options->file, "A data header file")->required();
  show->add_flag("--json", options->json, "Write the elements and blocks as JSON");
  commands.Add(show, [options] { return Show(options->file, options->json); });

  CLI::App *extract = hdr->add_subcommand("extract", "Write the bytes of one data block");
  extract->add_option("FILE", options->file, "A data header file")->required();
  extract->add_option("BLOCK", options->block, "The block's name (its BROKERSTRING)")->required();
  extract->add_option("-o,--output", options->out, "Where to write the bytes ('-': stdout)");
  commands.Add(extract, [options] { return Extract(options->file, options->block, options->out); });

  CLI::App *pack = hdr->add_subcommand("pack", "Build a data header file from elements");
  pack->footer(
      "Elements are added in the order given. PATH is NAME or PARENT/.../NAME, each PARENT "
      "being the last element of that name at that level (made when there is none). Names are "
      "1 to 256 characters without '>', '/' or '='. Values lose leading and trailing blanks "
      "and line ends, as reading does. The file is read back after writing; if a value holds "
      "markup that would read differently, OUT is removed.\n\n"
      "Example: speechcommon hdr pack voice.hdr -t COMPTYPE=ADDON -t BROKERSTRING=voice/en "
      "-t INFO/LANGUAGE=en-US -b DATABLOCK -t BROKERSTRING=data -t NOTE=v2 -e -d data=voice.bin");
  pack->add_option("OUT", options->file, "The file to write")->required();
  CLI::Option *tag = pack->add_option("-t,--tag", options->tags, "An element PATH=VALUE");
  CLI::Option *begin = pack->add_option("-b,--begin", options->begins,
                                        "A new element NAME whose children follow, up to --end");
  CLI::Option *end = pack->add_flag("-e,--end", options->ends, "Close the element of --begin");
  CLI::Option *data =
      pack->add_option("-d,--data", options->data,
                       "A data block NAME=FILE with the bytes of FILE; a DATABLOCK element "
                       "(BROKERSTRING NAME) is added unless one is given, and its OFFSET and "
                       "SIZE are filled in");
  for (CLI::Option *option : {tag, begin, data})
    option->type_name(option == tag ? "PATH=VALUE" : option == begin ? "NAME" : "NAME=FILE");
  commands.Add(pack, [options, pack, tag, begin, end, data] {
    // The element options in the order they were given.
    std::vector<PackStep> steps;
    std::map<const CLI::Option *, size_t> taken;
    for (const CLI::Option *option : pack->parse_order()) {
      const size_t index = taken[option]++;
      if (option == end) steps.push_back({PackStep::kEnd, ""});
      if (option == tag) steps.push_back({PackStep::kTag, options->tags[index]});
      if (option == begin) steps.push_back({PackStep::kBegin, options->begins[index]});
      if (option == data) steps.push_back({PackStep::kData, options->data[index]});
    }
    Pack(options->file, steps);
    return kOk;
  });
}

}  // namespace cli
