// The walk over a component root, with the broker's rules.
#include "tools/broker_walk.h"

#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <optional>
#include <unordered_map>
#include <utility>

#include "speechcommon.h"
#include "tools/output.h"
#include "tools/result_codes.h"
#include "tools/text.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

constexpr int kMaxDepth = 64;  // the library follows add-on directories as deep

// A header file read with the library's reader.
class Header {
 public:
  explicit Header(const std::string &path) : code_(hdrpars_ReadFileHeader(path.c_str(), &file_)) {}
  ~Header() { hdrpars_DeleteFileStructure(file_); }
  Header(const Header &) = delete;
  Header &operator=(const Header &) = delete;
  VQRESULT code() const { return code_; }
  Tag *tags() const { return file_ ? file_->tags : nullptr; }

 private:
  FileStructure *file_ = nullptr;
  VQRESULT code_;
};

std::optional<std::string> TagText(Tag *first, std::u16string_view name) {
  const std::u16string wanted(name);
  Tag *found = nullptr;
  hdrpars_FindTag(first, wanted.c_str(), &found);
  if (!found) return std::nullopt;
  return Utf8(found->value);
}

// The decimal number the way the broker reads PRIORITY, as its 32-bit pattern.
uint32_t Priority(const std::optional<std::string> &text) {
  if (!text) return 0;
  const char *at = text->c_str();
  while (*at == ' ' || (*at >= '\t' && *at <= '\r'))
    ++at;
  const bool negative = *at == '-';
  if (*at == '-' || *at == '+') ++at;
  int64_t value = 0;
  for (; *at >= '0' && *at <= '9'; ++at)
    value = std::min<int64_t>(value * 10 + (*at - '0'), INT64_C(0x80000000));
  value = negative ? -value : value;
  value = std::max<int64_t>(std::min<int64_t>(value, INT32_MAX), INT32_MIN);
  return static_cast<uint32_t>(static_cast<int32_t>(value));
}

bool EndsWithIgnoringCase(std::string_view name, std::string_view suffix) {
  return name.size() >= suffix.size() &&
         EqualIgnoringCase(name.substr(name.size() - suffix.size()), suffix);
}

// The entries the broker's "*<suffix>" pattern selects, in the directory's order.
std::vector<std::string> Files(const std::string &directory, std::string_view suffix) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator it(directory, error), end; !error && it != end; it.increment(error))
    if (EndsWithIgnoringCase(it->path().filename().string(), suffix))
      names.push_back(it->path().filename().string());
  return names;
}

std::vector<std::string> Subdirectories(const std::string &directory) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator it(directory, error), end; !error && it != end; it.increment(error)) {
    std::error_code ignored;
    if (it->is_directory(ignored)) names.push_back(it->path().filename().string());
  }
  return names;
}

// The directories one scan has listed, by device and inode: a link back up the tree, or a
// second link to a directory, leads nowhere new (as in the library's scans).
using Listed = std::set<std::pair<dev_t, ino_t>>;

// False when the directory was listed by this scan before (or cannot be looked at).
bool FirstVisit(Listed &listed, const std::string &directory) {
  struct stat status;
  return ::stat(directory.c_str(), &status) == 0 &&
         listed.insert({status.st_dev, status.st_ino}).second;
}

class Walker {
 public:
  explicit Walker(RootWalk &walk) : walk_(walk) {}

  void Root(const std::string &root) {
    for (const char *suffix : {".hdr", ".dat"})
      for (const std::string &name : Files(root, suffix))
        Skip(root + "/" + name,
             "lies directly in the root directory, where the broker reads no components");
    Listed engineDirectories;
    FirstVisit(engineDirectories, root);
    for (const std::string &name : Subdirectories(root)) {
      const std::string directory = root + "/" + name;
      if (!FirstVisit(engineDirectories, directory)) continue;
      for (const std::string &file : Files(directory, ".hdr"))
        EngineFile(directory, directory + "/" + file, name == "shared");
      for (const std::string &file : Files(directory, ".dat"))
        Skip(directory + "/" + file,
             "a .dat file directly in a directory of the root is never read");
    }
    for (Engine &engine : walk_.engines)
      EngineAddons(engine);
    Listed listed;
    FirstVisit(listed, root + "/shared");
    for (const std::string &name : Subdirectories(root + "/shared"))
      Addons(listed, root + "/shared/" + name, nullptr, walk_.shared, 1);
  }

 private:
  void Skip(const std::string &path, const std::string &reason) {
    walk_.problems.push_back({path, reason});
  }

  // The three tags every component needs; the reason when one is missing.
  std::optional<std::string> ReadRequired(Tag *tags, Component &component) {
    const auto type = TagText(tags, u"COMPTYPE");
    const auto brokerString = TagText(tags, u"BROKERSTRING");
    const auto name = TagText(tags, u"NAME");
    if (type) walk_.types.insert(*type);
    if (!type) return "no COMPTYPE tag";
    if (!brokerString) return "no BROKERSTRING tag";
    if (!name) return "no NAME tag";
    component.type = *type;
    component.brokerString = *brokerString;
    component.name = *name;
    component.language = TagText(tags, u"LANGUAGE").value_or("");
    component.priority = Priority(TagText(tags, u"PRIORITY"));
    component.dll = TagText(tags, u"DLL").value_or("");
    return std::nullopt;
  }

  static std::string Unreadable(VQRESULT code) { return "unreadable: " + Describe(code); }

  // Within one list the first reading of a broker string wins (case included); the component
  // is noted as the first reading when it is one.
  std::optional<std::string> Duplicate(const std::vector<Component> &list,
                                       const Component &component) {
    const auto [first, added] =
        firstRead_[&list].try_emplace(component.brokerString, component.path);
    if (added) return std::nullopt;
    return "duplicate broker string " + Quoted(component.brokerString) + ", first read from " +
           first->second;
  }

  void EngineFile(const std::string &directory, const std::string &path, bool shared) {
    Engine engine;
    engine.path = path;
    engine.directory = directory;
    ++walk_.read;
    Header header(path);
    std::optional<std::string> problem;
    if (header.code()) {
      problem = Unreadable(header.code());
    } else if (!(problem = ReadRequired(header.tags(), engine)) && !IsEngineType(engine.type)) {
      problem = shared ? "lies directly in the shared directory, where only engines are read; "
                         "add-ons belong in its subdirectories"
                       : "COMPTYPE " + Quoted(engine.type) +
                             " is no engine type, and a header directly in an engine directory "
                             "is read as an engine only";
    }
    if (problem) return Skip(path, *problem);
    // Engines are not checked for duplicates: both are listed, and lookups find the first.
    for (const Engine &earlier : walk_.engines)
      if (EqualIgnoringCase(earlier.brokerString, engine.brokerString)) {
        Skip(path, "duplicate engine broker string " + Quoted(engine.brokerString) +
                       ": listed, but every lookup finds " + earlier.path + " first");
        break;
      }
    walk_.engines.push_back(engine);
  }

  void EngineAddons(Engine &engine) {
    Header header(engine.path);
    int index = 0;
    for (Tag *element = header.tags(); element; element = element->next) {
      if (Utf8(element->name) != "ADDON") continue;
      Component component;
      component.path = engine.path + " ADDON #" + std::to_string(++index);
      std::optional<std::string> problem = ReadRequired(element->children, component);
      // Inline add-ons carry no language or priority.
      component.language.clear();
      component.priority = 0;
      if (!problem) problem = Duplicate(engine.addons, component);
      if (problem)
        Skip(component.path, *problem);
      else
        engine.addons.push_back(component);
    }
    Listed listed;
    FirstVisit(listed, engine.directory);
    for (const std::string &name : Subdirectories(engine.directory))
      Addons(listed, engine.directory + "/" + name, &engine, engine.addons, 1);
  }

  void Addons(Listed &listed, const std::string &directory, const Engine *engine,
              std::vector<Component> &list, int depth) {
    if (!FirstVisit(listed, directory)) return;
    const std::string scope = engine ? " (engine " + engine->brokerString + ")" : " (shared)";
    for (const char *suffix : {".hdr", ".dat"}) {
      for (const std::string &name : Files(directory, suffix)) {
        Component component;
        component.path = directory + "/" + name;
        ++walk_.read;
        Header header(component.path);
        if (header.code()) {
          Skip(component.path, Unreadable(header.code()) + scope);
          continue;
        }
        const auto engines = TagText(header.tags(), u"ENGINE");
        if (engine && engines && engines->find(engine->brokerString) == std::string::npos) {
          if (const auto type = TagText(header.tags(), u"COMPTYPE")) walk_.types.insert(*type);
          Skip(component.path, "ENGINE " + Quoted(*engines) + " does not name engine " +
                                   Quoted(engine->brokerString));
          continue;
        }
        std::optional<std::string> problem = ReadRequired(header.tags(), component);
        if (!problem) problem = Duplicate(list, component);
        if (problem)
          Skip(component.path, *problem + scope);
        else
          list.push_back(component);
      }
    }
    if (depth >= kMaxDepth) return;
    for (const std::string &name : Subdirectories(directory))
      Addons(listed, directory + "/" + name, engine, list, depth + 1);
  }

  RootWalk &walk_;
  // Per list, the file each broker string was first read from.
  std::map<const std::vector<Component> *, std::unordered_map<std::string, std::string>> firstRead_;
};

char Fold(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

RootWalk WalkRoot(const std::string &root) {
  RootWalk walk;
  Walker(walk).Root(root);
  return walk;
}

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (Fold(a[i]) != Fold(b[i])) return false;
  return true;
}

bool IsEngineType(std::string_view type) {
  return type == "ASRENGINE" || type == "TTSENGINE" || type == "FXENGINE";
}

std::string PriorityText(uint32_t priority) {
  std::string text = std::to_string(priority);
  if (priority >= 0x80000000u) text += " (" + std::to_string(static_cast<int32_t>(priority)) + ")";
  return text;
}

}  // namespace cli
