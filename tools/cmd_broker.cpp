// speechcommon broker: what a component root holds, which component a broker string selects,
// and why a header file is not found.
//
// The listings and the selection come from the library. The library says nothing about the
// files its scan skips, so `check` and the explanations walk the root again here, reading each
// header with hdrpars_ and applying the same rules (which directories hold engines and add-ons,
// the required tags, the ENGINE filter, the first-reading-wins rule for duplicates).
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tools/cli.h"

namespace {

namespace fs = std::filesystem;

constexpr char kHelp[] =
    "usage: speechcommon broker list ROOT [--type TYPE] [--engine BROKERSTRING] [--json]\n"
    "       speechcommon broker resolve ROOT [--engine BROKERSTRING] [--language LANGUAGE]\n"
    "                                        BROKERSTRING\n"
    "       speechcommon broker check ROOT\n"
    "\n"
    "  list     the engines below ROOT and the add-ons an object on each engine reaches\n"
    "           (broker string, name, version, language, priority); --type keeps one\n"
    "           component type, --engine one engine, --json writes JSON for scripts\n"
    "  resolve  which component and file a broker string selects for an object on an engine\n"
    "           (or on none) with a language, and why: its form, the candidates and their\n"
    "           priorities\n"
    "  check    every header file below ROOT that the broker skips, and the reason;\n"
    "           exit status 1 when there is one\n";

constexpr int kMaxDepth = 64;  // the library follows add-on directories as deep

// --- text -------------------------------------------------------------------------------------

std::string Utf8(std::u16string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF)
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
    else if (c >= 0xD800 && c <= 0xDFFF)
      c = 0xFFFD;
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

std::string Utf8(const char16_t *text) {
  return text ? Utf8(std::u16string_view(text)) : std::string();
}

char Fold(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (Fold(a[i]) != Fold(b[i])) return false;
  return true;
}

std::string Json(std::string_view text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      out += escaped;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

std::string JsonOrNull(const char *text) {
  return text ? Json(text) : "null";
}

std::string Quoted(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

// --- the walk ---------------------------------------------------------------------------------

struct Component {
  std::string path;  // the header file (for an inline add-on: the engine's, with the element)
  std::string type, brokerString, name, language;
  uint32_t priority = 0;
  std::string dll;
};

struct Engine : Component {
  std::string directory;
  std::vector<Component> addons;  // what an object on the engine reaches before shared ones
};

struct Skip {
  std::string path;
  std::string reason;
};

// The directories one scan has listed, by device and inode: a link back up the tree, or a
// second link to a directory, leads nowhere new (as in the library's scans).
using Listed = std::set<std::pair<dev_t, ino_t>>;

struct Walk {
  std::vector<Engine> engines;
  std::vector<Component> shared;
  std::vector<Skip> skipped;
  size_t read = 0;
  // Per list, the path each broker string was first read from.
  std::map<const std::vector<Component> *, std::unordered_map<std::string, std::string>> firstRead;
};

// False when the directory was listed by this scan before (or cannot be looked at).
bool FirstVisit(Listed &listed, const std::string &directory) {
  struct stat status;
  return ::stat(directory.c_str(), &status) == 0 &&
         listed.insert({status.st_dev, status.st_ino}).second;
}

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

// The three tags every component needs; the reason when one is missing.
std::optional<std::string> ReadRequired(Tag *tags, Component &component) {
  const auto type = TagText(tags, u"COMPTYPE");
  const auto brokerString = TagText(tags, u"BROKERSTRING");
  const auto name = TagText(tags, u"NAME");
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

std::string Unreadable(VQRESULT code) {
  return "unreadable: " + cli::Hex(code) + " " + cli::FamilyMessage(code);
}

// Within one list the first reading of a broker string wins (case included); the component
// is noted as the first reading when it is one.
std::optional<std::string> Duplicate(Walk &walk, const std::vector<Component> &list,
                                     const Component &component) {
  const auto [first, added] =
      walk.firstRead[&list].try_emplace(component.brokerString, component.path);
  if (added) return std::nullopt;
  return "duplicate broker string " + Quoted(component.brokerString) + ", first read from " +
         first->second;
}

void WalkAddons(Walk &walk, Listed &listed, const std::string &directory, const Engine *engine,
                std::vector<Component> &list, int depth) {
  if (!FirstVisit(listed, directory)) return;
  const std::string scope = engine ? " (engine " + engine->brokerString + ")" : " (shared)";
  for (const char *suffix : {".hdr", ".dat"}) {
    for (const std::string &name : Files(directory, suffix)) {
      Component component;
      component.path = directory + "/" + name;
      ++walk.read;
      Header header(component.path);
      if (header.code()) {
        walk.skipped.push_back({component.path, Unreadable(header.code()) + scope});
        continue;
      }
      const auto engines = TagText(header.tags(), u"ENGINE");
      if (engine && engines && engines->find(engine->brokerString) == std::string::npos) {
        walk.skipped.push_back({component.path, "ENGINE " + Quoted(*engines) +
                                                    " does not name engine " +
                                                    Quoted(engine->brokerString)});
        continue;
      }
      std::optional<std::string> problem = ReadRequired(header.tags(), component);
      if (!problem) problem = Duplicate(walk, list, component);
      if (problem)
        walk.skipped.push_back({component.path, *problem + scope});
      else
        list.push_back(component);
    }
  }
  if (depth >= kMaxDepth) return;
  for (const std::string &name : Subdirectories(directory))
    WalkAddons(walk, listed, directory + "/" + name, engine, list, depth + 1);
}

void WalkEngineAddons(Walk &walk, Engine &engine) {
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
    if (!problem) problem = Duplicate(walk, engine.addons, component);
    if (problem)
      walk.skipped.push_back({component.path, *problem});
    else
      engine.addons.push_back(component);
  }
  Listed listed;
  FirstVisit(listed, engine.directory);
  for (const std::string &name : Subdirectories(engine.directory))
    WalkAddons(walk, listed, engine.directory + "/" + name, &engine, engine.addons, 1);
}

Walk WalkRoot(const std::string &root) {
  Walk walk;
  for (const char *suffix : {".hdr", ".dat"})
    for (const std::string &name : Files(root, suffix))
      walk.skipped.push_back({root + "/" + name,
                              "lies directly in the root directory, where "
                              "the broker reads no components"});
  Listed engineDirectories;
  FirstVisit(engineDirectories, root);
  for (const std::string &name : Subdirectories(root)) {
    const std::string directory = root + "/" + name;
    if (!FirstVisit(engineDirectories, directory)) continue;
    const bool shared = name == "shared";
    for (const std::string &file : Files(directory, ".hdr")) {
      Engine engine;
      engine.path = directory + "/" + file;
      engine.directory = directory;
      ++walk.read;
      Header header(engine.path);
      std::optional<std::string> problem;
      if (header.code()) {
        problem = Unreadable(header.code());
      } else if (!(problem = ReadRequired(header.tags(), engine))) {
        if (engine.type != "ASRENGINE" && engine.type != "TTSENGINE" && engine.type != "FXENGINE")
          problem = shared ? "lies directly in the shared directory, where only engines are "
                             "read; add-ons belong in its subdirectories"
                           : "COMPTYPE " + Quoted(engine.type) +
                                 " is no engine type, and a header directly in an engine "
                                 "directory is read as an engine only";
      }
      for (const Engine &earlier : walk.engines)
        if (!problem && EqualIgnoringCase(earlier.brokerString, engine.brokerString))
          problem = "duplicate engine broker string " + Quoted(engine.brokerString) +
                    ": listed, but every lookup finds " + earlier.path + " first";
      if (problem)
        walk.skipped.push_back({engine.path, *problem});
      else
        walk.engines.push_back(engine);
    }
    for (const std::string &file : Files(directory, ".dat"))
      walk.skipped.push_back({directory + "/" + file,
                              "a .dat file directly in a directory of the root is never read"});
  }
  for (Engine &engine : walk.engines)
    WalkEngineAddons(walk, engine);
  Listed listed;
  FirstVisit(listed, root + "/shared");
  for (const std::string &name : Subdirectories(root + "/shared"))
    WalkAddons(walk, listed, root + "/shared/" + name, nullptr, walk.shared, 1);
  return walk;
}

// --- the library's view -----------------------------------------------------------------------

// A class over the root and objects on it, closed at the end.
class Broker {
 public:
  explicit Broker(const std::string &root) {
    code_ = brk_ClassOpenEx(&cls_, root.c_str(), g_vqNullHandle, nullptr);
  }
  ~Broker() {
    for (BrkObject *object : objects_)
      brk_ObjClose(object);
    if (cls_) brk_ClassClose(cls_);
  }
  Broker(const Broker &) = delete;
  Broker &operator=(const Broker &) = delete;
  VQRESULT code() const { return code_; }
  // An object on the engine (null: on none), or null with the code in *code.
  BrkObject *Open(const char *engine, const char *language, VQRESULT *code) {
    BrkObject *object = nullptr;
    *code = brk_ObjOpen(&object, engine, language, cls_, nullptr);
    if (object) objects_.push_back(object);
    return object;
  }

 private:
  BrkClass *cls_ = nullptr;
  VQRESULT code_ = 0;
  std::vector<BrkObject *> objects_;
};

struct Entry {
  std::string type, brokerString, name, version, language;
  bool hasVersion = false, hasLanguage = false;
  uint32_t priority = 0;
  bool shared = false;
};

// The components of the type that the object's list query gives.
std::vector<Entry> Query(BrkObject *object, const std::string &type, VQRESULT *code) {
  std::vector<Entry> entries;
  BrkComponentList *list = nullptr;
  *code = brk_ComponentListQuery(object, type.c_str(), &list);
  if (*code) return entries;
  for (uint32_t i = 0; i < list->count; ++i) {
    const BrkComponentInfo &info = list->entries[i];
    Entry entry;
    entry.type = type;
    entry.brokerString = info.brokerString;
    entry.name = Utf8(info.name);
    entry.hasVersion = info.version != nullptr;
    entry.version = info.version ? info.version : "";
    entry.hasLanguage = info.language != nullptr;
    entry.language = info.language ? info.language : "";
    entry.priority = info.priority;
    entries.push_back(entry);
  }
  brk_ComponentListRelease(object, list);
  return entries;
}

bool IsEngineType(const std::string &type) {
  return type == "ASRENGINE" || type == "TTSENGINE" || type == "FXENGINE";
}

// The add-on types found below the root, in order of first appearance.
std::vector<std::string> AddonTypes(const Walk &walk) {
  std::vector<std::string> types;
  const auto note = [&](const Component &component) {
    if (IsEngineType(component.type)) return;
    for (const std::string &known : types)
      if (known == component.type) return;
    types.push_back(component.type);
  };
  for (const Engine &engine : walk.engines)
    for (const Component &addon : engine.addons)
      note(addon);
  for (const Component &addon : walk.shared)
    note(addon);
  return types;
}

std::string PriorityText(uint32_t priority) {
  std::string text = std::to_string(priority);
  if (priority >= 0x80000000u) text += " (" + std::to_string(static_cast<int32_t>(priority)) + ")";
  return text;
}

int Fail(const std::string &what, VQRESULT code) {
  std::fprintf(stderr, "speechcommon broker: %s: %s %s\n", what.c_str(), cli::Hex(code).c_str(),
               cli::FamilyMessage(code));
  return cli::kFailed;
}

struct Options {
  std::string root, type, engine, language, brokerString;
  bool json = false, hasEngine = false, hasLanguage = false;
};

// --- list -------------------------------------------------------------------------------------

void PrintTable(const std::vector<Entry> &entries, bool addons, const char *indent) {
  std::vector<std::vector<std::string>> rows;
  rows.push_back({"TYPE", "BROKERSTRING", "NAME", "VERSION"});
  if (addons) rows.back().insert(rows.back().end(), {"LANGUAGE", "PRIORITY", "FROM"});
  for (const Entry &entry : entries) {
    rows.push_back(
        {entry.type, entry.brokerString, entry.name, entry.hasVersion ? entry.version : "-"});
    if (addons)
      rows.back().insert(rows.back().end(),
                         {entry.hasLanguage ? entry.language : "-", PriorityText(entry.priority),
                          entry.shared ? "shared" : "engine"});
  }
  std::vector<size_t> widths(rows[0].size(), 0);
  for (const auto &row : rows)
    for (size_t i = 0; i < row.size(); ++i)
      widths[i] = std::max(widths[i], row[i].size());
  for (const auto &row : rows) {
    std::string line = indent;
    for (size_t i = 0; i < row.size(); ++i)
      line += row[i] + (i + 1 < row.size() ? std::string(widths[i] - row[i].size() + 2, ' ') : "");
    std::printf("%s\n", line.c_str());
  }
}

std::string JsonEntry(const Entry &entry, bool addon) {
  std::string text =
      "{\"type\": " + Json(entry.type) + ", \"brokerString\": " + Json(entry.brokerString) +
      ", \"name\": " + Json(entry.name) +
      ", \"version\": " + JsonOrNull(entry.hasVersion ? entry.version.c_str() : nullptr);
  if (addon)
    text += ", \"language\": " + JsonOrNull(entry.hasLanguage ? entry.language.c_str() : nullptr) +
            ", \"priority\": " + std::to_string(entry.priority) +
            ", \"from\": " + Json(entry.shared ? "shared" : "engine");
  return text + "}";
}

std::string JsonList(const std::vector<Entry> &entries, const char *indent) {
  if (entries.empty()) return "[]";
  std::string text = "[\n";
  for (size_t i = 0; i < entries.size(); ++i)
    text += std::string(indent) + "  " + JsonEntry(entries[i], true) +
            (i + 1 < entries.size() ? ",\n" : "\n");
  return text + indent + "]";
}

int List(const Options &options) {
  Broker broker(options.root);
  if (broker.code()) return Fail(options.root, broker.code());
  const Walk walk = WalkRoot(options.root);
  VQRESULT code = 0;
  BrkObject *none = broker.Open(nullptr, nullptr, &code);
  if (!none) return Fail("object without engine", code);

  std::vector<std::string> types = AddonTypes(walk);
  if (!options.type.empty()) types = {options.type};
  const auto addonsOf = [&](BrkObject *object, bool onEngine) {
    std::vector<Entry> all;
    for (const std::string &type : types) {
      if (IsEngineType(type)) continue;
      std::vector<Entry> entries = Query(object, type, &code);
      // An engine object's list is its engine's add-ons followed by the shared ones.
      const size_t sharedCount = onEngine ? Query(none, type, &code).size() : entries.size();
      for (size_t i = 0; i < entries.size(); ++i)
        entries[i].shared = i + sharedCount >= entries.size();
      all.insert(all.end(), entries.begin(), entries.end());
    }
    return all;
  };

  // Every engine (or the one asked for) gets a section; --type only filters rows.
  if (options.hasEngine && !broker.Open(options.engine.c_str(), nullptr, &code))
    return Fail("engine " + options.engine, code);
  std::vector<Entry> engines;
  for (const char *type : {"ASRENGINE", "TTSENGINE", "FXENGINE"})
    for (const Entry &engine : Query(none, type, &code))
      if (!options.hasEngine || EqualIgnoringCase(engine.brokerString, options.engine))
        engines.push_back(engine);
  std::vector<std::vector<Entry>> engineAddons;
  for (const Entry &engine : engines) {
    BrkObject *object = broker.Open(engine.brokerString.c_str(), nullptr, &code);
    if (!object) return Fail("object on " + engine.brokerString, code);
    engineAddons.push_back(addonsOf(object, true));
  }
  const std::vector<Entry> shared = addonsOf(none, false);
  std::vector<Entry> engineRows;
  for (const Entry &engine : engines)
    if (options.type.empty() || engine.type == options.type) engineRows.push_back(engine);

  if (options.json) {
    std::printf("{\n  \"root\": %s,\n  \"engines\": [", Json(options.root).c_str());
    for (size_t i = 0; i < engines.size(); ++i) {
      std::string entry = JsonEntry(engines[i], false);
      entry.pop_back();
      std::printf("%s\n    %s, \"addons\": %s}", i ? "," : "", entry.c_str(),
                  JsonList(engineAddons[i], "    ").c_str());
    }
    std::printf("%s],\n  \"shared\": %s\n}\n", engines.empty() ? "" : "\n  ",
                JsonList(shared, "  ").c_str());
    return cli::kOk;
  }
  std::printf("engines below %s:\n", options.root.c_str());
  if (engineRows.empty())
    std::printf("  (none)\n");
  else
    PrintTable(engineRows, false, "  ");
  for (size_t i = 0; i < engines.size(); ++i) {
    std::vector<Entry> shown;
    for (const Entry &entry : engineAddons[i])
      if (options.hasEngine || !entry.shared) shown.push_back(entry);
    std::printf("\nadd-ons an object on engine %s reaches%s:\n", engines[i].brokerString.c_str(),
                options.hasEngine ? "" : " (besides the shared ones)");
    if (shown.empty())
      std::printf("  (none)\n");
    else
      PrintTable(shown, true, "  ");
  }
  if (!options.hasEngine) {
    std::printf("\nshared add-ons (every object reaches them):\n");
    if (shared.empty())
      std::printf("  (none)\n");
    else
      PrintTable(shared, true, "  ");
  }
  return cli::kOk;
}

// --- resolve ----------------------------------------------------------------------------------

int Resolve(const Options &options) {
  Broker broker(options.root);
  if (broker.code()) return Fail(options.root, broker.code());
  VQRESULT code = 0;
  BrkObject *object = broker.Open(options.hasEngine ? options.engine.c_str() : nullptr,
                                  options.hasLanguage ? options.language.c_str() : nullptr, &code);
  if (!object) return Fail(options.hasEngine ? "engine " + options.engine : "object", code);
  const Walk walk = WalkRoot(options.root);
  const std::string &wanted = options.brokerString;
  std::printf("object: %s, %s\n",
              options.hasEngine ? ("on engine " + options.engine).c_str() : "without engine",
              options.hasLanguage ? ("language " + options.language).c_str() : "no language");

  const Engine *objectEngine = nullptr;
  for (const Engine &engine : walk.engines)
    if (options.hasEngine && EqualIgnoringCase(engine.brokerString, options.engine)) {
      objectEngine = &engine;
      break;
    }
  for (const Engine &engine : walk.engines) {
    if (!EqualIgnoringCase(engine.brokerString, wanted)) continue;
    std::printf("%s is the broker string of engine %s (%s), file %s\n", wanted.c_str(),
                engine.brokerString.c_str(), engine.type.c_str(), engine.path.c_str());
    char *module = nullptr;
    code = brk_InfoQuery(object, wanted.c_str(), &module);
    if (code) return Fail("module of " + wanted, code);
    std::printf("module: %s\n", module);
    brk_InfoRelease(object, module);
    return cli::kOk;
  }

  const bool defaultForm = wanted.size() > 4 && wanted.compare(wanted.size() - 4, 4, "/def") == 0;
  std::vector<std::pair<const char *, const std::vector<Component> *>> lists;
  if (objectEngine) lists.push_back({"engine", &objectEngine->addons});
  lists.push_back({"shared", &walk.shared});
  const Component *chosen = nullptr;
  if (defaultForm) {
    const std::string prefix = wanted.substr(0, wanted.size() - 4);
    std::printf(
        "%s is in the default form: among the add-ons whose broker strings begin with "
        "%s (ignoring case) and whose language passes, the highest priority (unsigned) "
        "wins and a later one wins a tie%s\n",
        wanted.c_str(), Quoted(prefix).c_str(),
        objectEngine ? "; the shared add-ons count only when none of the engine's does" : "");
    for (const auto &[from, list] : lists) {
      if (chosen) break;
      uint32_t best = 0;
      for (const Component &addon : *list) {
        if (addon.brokerString.size() < prefix.size() ||
            !EqualIgnoringCase(addon.brokerString.substr(0, prefix.size()), prefix))
          continue;
        const bool languagePasses =
            !options.hasLanguage || addon.language.empty() || addon.language == options.language;
        std::printf("  candidate %-24s priority %-14s language %-6s %s  %s%s\n",
                    addon.brokerString.c_str(), PriorityText(addon.priority).c_str(),
                    addon.language.empty() ? "-" : addon.language.c_str(), from, addon.path.c_str(),
                    languagePasses ? "" : "  (language does not pass)");
        if (languagePasses && addon.priority >= best) {
          chosen = &addon;
          best = addon.priority;
        }
      }
    }
  } else {
    std::printf(
        "%s is exact: the first add-on with this broker string (ignoring case), the "
        "engine's before the shared ones; languages do not count\n",
        wanted.c_str());
    for (const auto &[from, list] : lists)
      for (const Component &addon : *list)
        if (!chosen && EqualIgnoringCase(addon.brokerString, wanted)) chosen = &addon;
  }

  char *answer = nullptr;
  code = brk_InfoQuery(object, wanted.c_str(), &answer);
  if (code == BRK_E_BROKER_STRING_NOT_FOUND) {
    std::printf("selected: nothing\n");
    return Fail(wanted, code);
  }
  if (defaultForm && code) return Fail(wanted, code);
  const std::string selected = defaultForm ? std::string(answer)
                               : chosen    ? chosen->brokerString
                                           : "";
  std::printf("selected: %s, file %s\n", selected.c_str(), chosen ? chosen->path.c_str() : "?");
  if (chosen && chosen->brokerString != selected)
    std::printf("note: the library chose %s; the files changed since the walk\n", selected.c_str());
  if (defaultForm) {
    brk_InfoRelease(object, answer);
    answer = nullptr;
    code = brk_InfoQuery(object, selected.c_str(), &answer);
  }
  if (code == BRK_E_TAG_NOT_FOUND)
    std::printf("module: none (no DLL tag: a data-only component)\n");
  else if (code)
    return Fail("module of " + selected, code);
  else
    std::printf("module: %s\n", answer);
  if (answer) brk_InfoRelease(object, answer);
  return cli::kOk;
}

// --- check ------------------------------------------------------------------------------------

// The components whose module the library refuses because their DLL value leads out of the
// root: the library decides, for every component listed whose DLL value climbs.
std::vector<Skip> ModulesOutsideRoot(const Options &options, const Walk &walk) {
  std::vector<Skip> refused;
  Broker broker(options.root);
  VQRESULT code = 0;
  const auto ask = [&](BrkObject *object, const Component &component) {
    // Only a ".." can lead out; the library's lookups are not asked about every component.
    if (component.dll.find("..") == std::string::npos) return;
    char *module = nullptr;
    code = object ? brk_InfoQuery(object, component.brokerString.c_str(), &module) : 0;
    if (code == BRK_E_MODULE_OUTSIDE_ROOT)
      refused.push_back({component.path, "DLL leads out of the root, its module is not loaded: " +
                                             cli::Hex(code) + " " + cli::FamilyMessage(code)});
    if (module) brk_InfoRelease(object, module);
  };
  for (const Engine &engine : walk.engines) {
    BrkObject *object = broker.Open(engine.brokerString.c_str(), nullptr, &code);
    ask(object, engine);
    for (const Component &addon : engine.addons)
      ask(object, addon);
  }
  BrkObject *none = broker.Open(nullptr, nullptr, &code);
  for (const Component &addon : walk.shared)
    ask(none, addon);
  return refused;
}

int Check(const Options &options) {
  const Walk walk = WalkRoot(options.root);
  for (const Skip &skip : walk.skipped)
    std::printf("%s: %s\n", skip.path.c_str(), skip.reason.c_str());
  const std::vector<Skip> outside = ModulesOutsideRoot(options, walk);
  for (const Skip &skip : outside)
    std::printf("%s: %s\n", skip.path.c_str(), skip.reason.c_str());
  size_t engineAddons = 0;
  for (const Engine &engine : walk.engines)
    engineAddons += engine.addons.size();
  std::printf(
      "%zu header files read; engines: %zu, engine add-ons: %zu, shared add-ons: %zu, "
      "skipped: %zu%s\n",
      walk.read, walk.engines.size(), engineAddons, walk.shared.size(), walk.skipped.size(),
      outside.empty() ? ""
                      : (", modules outside the root: " + std::to_string(outside.size())).c_str());
  return walk.skipped.empty() && outside.empty() ? cli::kOk : cli::kFailed;
}

}  // namespace

namespace cli {

int CmdBroker(int argc, char **argv) {
  if (argc >= 1 && (!std::strcmp(argv[0], "--help") || !std::strcmp(argv[0], "-h"))) {
    std::fputs(kHelp, stdout);
    return kOk;
  }
  if (argc < 2) {
    std::fputs(kHelp, stderr);
    return kUsage;
  }
  const std::string command = argv[0];
  Options options;
  options.root = argv[1];
  while (options.root.size() > 1 && options.root.back() == '/')
    options.root.pop_back();
  std::vector<std::string> positional;
  for (int i = 2; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool takesValue = arg == "--type" || arg == "--engine" || arg == "--language";
    if (takesValue && i + 1 >= argc) {
      std::fprintf(stderr, "speechcommon broker: %s needs a value\n", arg.c_str());
      return kUsage;
    }
    if (arg == "--type" && command == "list") {
      options.type = argv[++i];
    } else if (arg == "--engine" && command != "check") {
      options.engine = argv[++i];
      options.hasEngine = true;
    } else if (arg == "--language" && command == "resolve") {
      options.language = argv[++i];
      options.hasLanguage = true;
    } else if (arg == "--json" && command == "list") {
      options.json = true;
    } else if (arg.size() > 1 && arg[0] == '-') {
      std::fprintf(stderr, "speechcommon broker %s: unknown option %s\n", command.c_str(),
                   arg.c_str());
      return kUsage;
    } else {
      positional.push_back(arg);
    }
  }
  const size_t wantedPositional = command == "resolve" ? 1 : 0;
  if (positional.size() != wantedPositional ||
      (command != "list" && command != "resolve" && command != "check")) {
    std::fputs(kHelp, stderr);
    return kUsage;
  }
  if (command == "resolve") options.brokerString = positional[0];
  // The library takes a missing root for an empty one; a person means a mistake.
  std::error_code error;
  if (!fs::is_directory(options.root, error)) {
    std::fprintf(stderr, "speechcommon broker: %s: not a directory\n", options.root.c_str());
    return kFailed;
  }
  if (command == "list") return List(options);
  if (command == "resolve") return Resolve(options);
  return Check(options);
}

}  // namespace cli
