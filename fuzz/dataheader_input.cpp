#include "fuzz/dataheader_input.h"

#include <cstdio>
#include <filesystem>
#include <random>
#include <string_view>
#include <vector>

#include "dataheader/wide_text.h"
#include "foundation/alloc.h"
#include "platform/text.h"
#include "sc_hdrpars.h"

namespace sc::fuzz {
namespace {

using plat::View;

std::string TempPath(const char *suffix) {
  static const std::string stem = [] {
    std::random_device seed;
    return (std::filesystem::temp_directory_path() /
            ("sc_fuzz_dataheader_" + std::to_string(seed()) + std::to_string(seed())))
        .string();
  }();
  return stem + suffix;
}

bool WriteBytes(const std::string &path, const void *data, size_t size) {
  FILE *file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  const bool written = std::fwrite(data, 1, size, file) == size;
  return std::fclose(file) == 0 && written;
}

std::string ReadBytes(const std::string &path) {
  std::string bytes;
  if (FILE *file = std::fopen(path.c_str(), "rb")) {
    char buffer[4096];
    for (size_t got; (got = std::fread(buffer, 1, sizeof buffer, file)) > 0;)
      bytes.append(buffer, got);
    std::fclose(file);
  }
  return bytes;
}

std::u16string_view Trim(std::u16string_view text) {
  const auto blank = [](char16_t c) { return c == u' ' || c == u'\r' || c == u'\n'; };
  while (!text.empty() && blank(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && blank(text.back()))
    text.remove_suffix(1);
  return text;
}

// Same names, same shape, same leaf values once trimmed.
bool SameTree(const Tag *a, const Tag *b) {
  for (; a && b; a = a->next, b = b->next) {
    if (View(a->name) != View(b->name) || !a->children != !b->children) return false;
    if (!a->children && Trim(View(a->value)) != Trim(View(b->value))) return false;
    if (!SameTree(a->children, b->children)) return false;
  }
  return !a && !b;
}

// Maps the block whole and in pieces that force the window to move while a mapping is out.
// Returns the block's bytes when the file holds all of them.
bool MapBlock(DataBlock *block, std::string &bytes) {
  const void *whole = nullptr;
  uint32_t available = 0;
  if (hdrpars_DataMap(block->source, 0, -1, &whole, &available) != 0) return false;
  const bool complete = available == block->size;
  if (whole) bytes.assign(static_cast<const char *>(whole), available);
  const void *first = nullptr;
  const void *second = nullptr;
  uint32_t ignored = 0;
  hdrpars_DataMap(block->source, 0, 3, &first, &ignored);
  hdrpars_DataMap(block->source, block->size / 2, 1500, &second, &ignored);
  hdrpars_DataUnMap(block->source, whole);
  hdrpars_DataUnMap(block->source, first);
  hdrpars_DataUnMap(block->source, second);
  return complete;
}

// The file's first "<BINARYDATA>" is the one the writer put after the header.
bool BinaryDataWhereWritten(const std::string &file) {
  const std::string marker("<\0B\0I\0N\0A\0R\0Y\0D\0A\0T\0A\0>\0", 24);
  const std::string written = std::string("<\0/\0H\0E\0A\0D\0E\0R\0>\0\r\0\n\0", 22) + marker;
  size_t first = 0;
  while ((first = file.find(marker, first)) != std::string::npos && first % 2 != 0)
    ++first;
  size_t expected = 0;
  while ((expected = file.find(written, expected)) != std::string::npos && expected % 2 != 0)
    ++expected;
  return first != std::string::npos && expected != std::string::npos && first == expected + 22;
}

bool HasNulCharacter(const uint8_t *data, size_t size) {
  for (size_t i = 0; i + 1 < size; i += 2)
    if (data[i] == 0 && data[i + 1] == 0) return true;
  return false;
}

bool RoundTrip(FileStructure *structure,
               const std::vector<std::pair<std::u16string, std::string>> &blocks,
               std::string &problem) {
  const std::string copy = TempPath(".copy");
  char16_t *path = sc::hdr::WidePathFromBytes(copy.c_str());
  if (!path) return true;
  RawFree(structure->path);
  structure->path = path;
  const VQRESULT written = hdrpars_WriteFile(structure);
  if (written) {
    problem = "writing what was read failed: " + std::to_string(written);
    return false;
  }
  FileStructure *again = nullptr;
  const VQRESULT read = hdrpars_ReadFileHeader(copy.c_str(), &again);
  bool ok = read == 0 && SameTree(structure->tags, again->tags);
  if (!ok) problem = "the written file reads back differently";
  if (ok && BinaryDataWhereWritten(ReadBytes(copy))) {
    for (const auto &[name, bytes] : blocks) {
      DataBlock *block = nullptr;
      std::string readBack;
      if (hdrpars_OpenData(name.c_str(), again, &block) != 0 || !MapBlock(block, readBack) ||
          readBack != bytes) {
        problem = "a written block reads back differently";
        ok = false;
      }
    }
  }
  hdrpars_DeleteFileStructure(again);
  std::remove(copy.c_str());
  return ok;
}

}  // namespace

bool CheckDataHeaderInput(const uint8_t *data, size_t size, std::string &problem) {
  const std::string input = TempPath(".in");
  if (!WriteBytes(input, data, size)) return true;
  const int64_t before = testing::LiveBlocks();
  bool ok = true;
  FileStructure *structure = nullptr;
  if (hdrpars_ReadFileHeader(input.c_str(), &structure) == 0) {
    bool whole = true;
    std::vector<std::pair<std::u16string, std::string>> blocks;
    for (Tag *tag = structure->tags; tag; tag = tag->next) {
      if (View(tag->name) != u"DATABLOCK") continue;
      Tag *name = nullptr;
      hdrpars_FindTag(tag->children, u"BROKERSTRING", &name);
      DataBlock *block = nullptr;
      std::string bytes;
      // A name with children is written as those children, so the copy names it differently.
      if (!name || name->children || hdrpars_OpenData(name->value, structure, &block) != 0 ||
          !MapBlock(block, bytes)) {
        whole = false;
        continue;
      }
      blocks.emplace_back(View(name->value), bytes);
    }
    // Names holding U+0000 are cut short in the tree, so such a file cannot come back as it was.
    if (whole && !HasNulCharacter(data, size)) ok = RoundTrip(structure, blocks, problem);
    hdrpars_DeleteFileStructure(structure);
  }
  std::remove(input.c_str());
  if (ok && testing::LiveBlocks() != before) {
    problem = "blocks left behind: " + std::to_string(testing::LiveBlocks() - before);
    ok = false;
  }
  return ok;
}

}  // namespace sc::fuzz
