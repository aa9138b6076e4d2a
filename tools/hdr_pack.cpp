// speechcommon hdr pack: a data header file from elements given in order.
#include "tools/hdr_pack.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string_view>

#include "speechcommon.h"
#include "tools/cli.h"
#include "tools/result_codes.h"
#include "tools/text.h"

namespace cli {
namespace {

// The elements as they are gathered from the command line.
struct Node {
  std::u16string name;
  std::u16string value;
  bool hasValue = false;
  std::vector<Node> children;
};

struct DataFile {
  std::u16string name;
  std::string path;
};

[[noreturn]] void Usage(const std::string &message) {
  throw Failure(message, kUsage);
}

// Command-line text must be UTF-8: a replacement character would go into the file unseen.
std::u16string Wide(const std::string &text) {
  if (!IsUtf8(text)) Usage("'" + text + "' is not valid UTF-8");
  return Utf16(text);
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
template <class T>
T *Allocate(size_t count) {
  auto *block = static_cast<T *>(std::calloc(count, sizeof(T)));
  if (!block) throw Failure("out of memory");
  return block;
}

char16_t *MallocText(std::u16string_view text) {
  char16_t *copy = Allocate<char16_t>(text.size() + 1);
  std::copy(text.begin(), text.end(), copy);
  return copy;
}

Tag *MakeTags(const std::vector<Node> &nodes) {
  Tag *first = nullptr;
  Tag **link = &first;
  for (const Node &node : nodes) {
    Tag *tag = Allocate<Tag>(1);
    *link = tag;
    link = &tag->next;
    tag->name = MallocText(node.name);
    tag->value = MallocText(node.value);
    tag->children = MakeTags(node.children);
  }
  return first;
}

struct StructureDeleter {
  void operator()(FileStructure *structure) const { hdrpars_DeleteFileStructure(structure); }
};
using Structure = std::unique_ptr<FileStructure, StructureDeleter>;

// The first place where the tree read back differs from the one written, or "".
std::string Difference(const Tag *written, const Tag *read, const std::string &at) {
  for (; written; written = written->next, read = read->next) {
    const std::string here = at + Utf8(written->name);
    if (!read || View(read->name) != View(written->name) || !read->children != !written->children)
      return here;
    if (!written->children && Trimmed(View(read->value)) != Trimmed(View(written->value)))
      return here;
    std::string inner = Difference(written->children, read->children, here + "/");
    if (!inner.empty()) return inner;
  }
  return read ? at + Utf8(read->name) : "";
}

// The element tree and data files the steps describe.
Node Gather(const std::vector<PackStep> &steps, std::vector<DataFile> &data) {
  Node root;
  std::vector<Node *> open{&root};
  for (const PackStep &step : steps) {
    if (step.kind == PackStep::kEnd) {
      if (open.size() == 1) Usage("--end without --begin");
      open.pop_back();
      continue;
    }
    const std::u16string wide = Wide(step.argument);
    const size_t equals = wide.find(u'=');
    if (step.kind == PackStep::kBegin) {
      if (!GoodName(wide)) Usage("bad element name '" + step.argument + "'");
      open.back()->children.push_back(Node{wide, u"", false, {}});
      open.push_back(&open.back()->children.back());
    } else if (step.kind == PackStep::kData) {
      const std::u16string name = wide.substr(0, equals);
      if (equals == wide.npos || !GoodName(name) || equals + 1 == wide.size())
        Usage("--data wants NAME=FILE, not '" + step.argument + "'");
      for (const DataFile &file : data)
        if (file.name == name) Usage("data block given twice: " + step.argument);
      data.push_back(DataFile{name, step.argument.substr(step.argument.find('=') + 1)});
    } else {
      if (equals == wide.npos) Usage("--tag wants PATH=VALUE, not '" + step.argument + "'");
      Node *parent = open.back();
      std::u16string_view path = std::u16string_view(wide).substr(0, equals);
      for (size_t slash; (slash = path.find(u'/')) != path.npos; path.remove_prefix(slash + 1)) {
        if (!GoodName(path.substr(0, slash))) Usage("bad element path in '" + step.argument + "'");
        parent = &ChildNamed(*parent, std::u16string(path.substr(0, slash)));
      }
      if (!GoodName(path)) Usage("bad element name in '" + step.argument + "'");
      parent->children.push_back(
          Node{std::u16string(path), Trimmed(wide.substr(equals + 1)), true, {}});
    }
  }
  if (open.size() > 1) Usage("--begin without --end");

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
      if (child.hasValue && !child.children.empty())
        throw Failure("element '" + Utf8(child.name) + "' has both a value and children");
      pending.push_back(&child);
    }
  }
  return root;
}

}  // namespace

void Pack(const std::string &out, const std::vector<PackStep> &steps) {
  std::vector<DataFile> data;
  const Node root = Gather(steps, data);
  const std::u16string widePath = Wide(out);

  Structure structure(Allocate<FileStructure>(1));
  structure->path = MallocText(widePath);
  structure->tags = MakeTags(root.children);
  DataBlock **tail = &structure->dataBlocks;
  for (const DataFile &file : data) {
    std::error_code error;
    const uintmax_t size = std::filesystem::file_size(file.path, error);
    if (error || size > 0x7FFFFFFF)
      throw Failure(file.path + ": " + (error ? error.message() : "larger than 2 GiB"));
    if (std::filesystem::equivalent(file.path, out, error))
      throw Failure(out + " is both a data file and OUT");
    DataBlock *block = Allocate<DataBlock>(1);
    *tail = block;
    tail = &block->next;
    block->name = MallocText(file.name);
    block->size = static_cast<uint32_t>(size);
    const VQRESULT opened = hdrpars_OpenResource(file.path.c_str(), 0, block->size,
                                                 PARSER_RESOURCE_FILE, 0, &block->source);
    if (opened) throw Failure(file.path + ": " + Describe(opened));
  }
  VQRESULT result = hdrpars_WriteFile(structure.get());
  if (result) {
    std::filesystem::remove(out);
    throw Failure(out + ": " + Describe(result));
  }
  FileStructure *check = nullptr;
  result = hdrpars_ReadFileHeader(out.c_str(), &check);
  const Structure readBack(check);
  const std::string differs = result ? "" : Difference(structure->tags, check->tags, "");
  if (result || !differs.empty()) {
    std::filesystem::remove(out);
    if (result) throw Failure(out + ": " + Describe(result));
    throw Failure(out + ": element '" + differs +
                  "' would not read back as given (a value holds markup); nothing written");
  }
}

}  // namespace cli
