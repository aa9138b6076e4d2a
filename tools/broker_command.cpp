// speechcommon broker: what a component root holds, which component a broker string selects,
// and why a header file is not found. Listings and selections come from the library; the walk
// (broker_walk.h) explains them.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <filesystem>
#include <memory>

#include "speechcommon.h"
#include "tools/broker_walk.h"
#include "tools/cli.h"
#include "tools/output.h"
#include "tools/result_codes.h"
#include "tools/text.h"

namespace cli {
namespace {

constexpr const char *kEngineTypes[] = {"ASRENGINE", "TTSENGINE", "FXENGINE"};

// A class over the root and the objects opened on it, closed at the end.
class Broker {
 public:
  explicit Broker(const std::string &root) {
    const VQRESULT opened = brk_ClassOpenEx(&class_, root.c_str(), g_vqNullHandle, nullptr);
    if (opened) throw Failure(root + ": " + Describe(opened));
  }
  ~Broker() {
    for (BrkObject *object : objects_)
      brk_ObjClose(object);
    if (class_) brk_ClassClose(class_);
  }
  Broker(const Broker &) = delete;
  Broker &operator=(const Broker &) = delete;

  // An object on the engine (null or empty: on none).
  BrkObject *Open(const std::string *engine, const std::string *language) {
    objects_.reserve(objects_.size() + 1);  // so that an object opened is always kept
    BrkObject *object = nullptr;
    const VQRESULT opened = brk_ObjOpen(&object, engine ? engine->c_str() : nullptr,
                                        language ? language->c_str() : nullptr, class_, nullptr);
    if (opened)
      throw Failure((engine ? "engine " + *engine : std::string("an object")) + ": " +
                    Describe(opened));
    objects_.push_back(object);
    return object;
  }

 private:
  BrkClass *class_ = nullptr;
  std::vector<BrkObject *> objects_;
};

// Gives back what a query handed out, however the copy made of it ends.
template <class T, VQRESULT (*Release)(BrkObject *, T *)>
struct Given {
  BrkObject *object;
  void operator()(T *handed) const { Release(object, handed); }
};

// One entry of the library's component lists.
struct Listed {
  std::string type, brokerString, name;
  std::optional<std::string> version, language;
  uint32_t priority = 0;
  bool shared = false;
};

std::vector<Listed> ListQuery(BrkObject *object, const std::string &type) {
  BrkComponentList *list = nullptr;
  const VQRESULT queried = brk_ComponentListQuery(object, type.c_str(), &list);
  if (queried) throw Failure("the " + type + " list: " + Describe(queried));
  const std::unique_ptr<BrkComponentList, Given<BrkComponentList, brk_ComponentListRelease>> held(
      list, {object});
  std::vector<Listed> entries;
  for (uint32_t i = 0; i < list->count; ++i) {
    const BrkComponentInfo &info = list->entries[i];
    Listed entry;
    entry.type = type;
    entry.brokerString = info.brokerString;
    entry.name = Utf8(info.name);
    if (info.version) entry.version = info.version;
    if (info.language) entry.language = info.language;
    entry.priority = info.priority;
    entries.push_back(entry);
  }
  return entries;
}

// What the library lists: the engines, for each the add-ons an object on it reaches before the
// shared ones, and the shared add-ons. The library lists one component type at a time, so the
// types asked for are those of every readable header below the root.
struct LibraryLists {
  std::vector<Listed> engines;
  std::vector<std::vector<Listed>> engineAddons;
  std::vector<Listed> shared;
};

LibraryLists QueryLists(Broker &broker, const RootWalk &walk, const std::string *onlyEngine) {
  LibraryLists lists;
  BrkObject *none = broker.Open(nullptr, nullptr);
  if (onlyEngine) broker.Open(onlyEngine, nullptr);  // refused for an unknown engine
  for (const char *type : kEngineTypes)
    for (const Listed &engine : ListQuery(none, type))
      if (!onlyEngine || EqualIgnoringCase(engine.brokerString, *onlyEngine))
        lists.engines.push_back(engine);
  for (const std::string &type : walk.types)
    if (!IsEngineType(type))
      for (Listed &addon : ListQuery(none, type)) {
        addon.shared = true;
        lists.shared.push_back(addon);
      }
  for (const Listed &engine : lists.engines) {
    BrkObject *object = broker.Open(&engine.brokerString, nullptr);
    lists.engineAddons.emplace_back();
    for (const std::string &type : walk.types) {
      if (IsEngineType(type)) continue;
      // An engine object's list is its engine's add-ons followed by the shared ones.
      std::vector<Listed> entries = ListQuery(object, type);
      size_t shared = 0;
      for (const Listed &addon : lists.shared)
        shared += addon.type == type;
      entries.resize(entries.size() - std::min(shared, entries.size()));
      lists.engineAddons.back().insert(lists.engineAddons.back().end(), entries.begin(),
                                       entries.end());
    }
  }
  return lists;
}

Json AddonJson(const Listed &entry) {
  return {{"type", entry.type},
          {"brokerString", entry.brokerString},
          {"name", entry.name},
          {"version", entry.version ? Json(*entry.version) : Json()},
          {"language", entry.language ? Json(*entry.language) : Json()},
          {"priority", entry.priority},
          {"from", entry.shared ? "shared" : "engine"}};
}

void PrintAddons(const std::vector<Listed> &addons) {
  if (addons.empty()) return fmt::print("  (none)\n");
  Table table({"TYPE", "BROKERSTRING", "NAME", "VERSION", "LANGUAGE", "PRIORITY", "FROM"});
  for (const Listed &addon : addons)
    table.Add({addon.type, addon.brokerString, addon.name, addon.version.value_or("-"),
               addon.language.value_or("-"), PriorityText(addon.priority),
               addon.shared ? "shared" : "engine"});
  table.Print("  ");
}

struct BrokerOptions {
  std::string root, type, engine, language, brokerString;
  bool json = false, hasEngine = false, hasLanguage = false;
  const std::string *Engine() const { return hasEngine ? &engine : nullptr; }
  const std::string *Language() const { return hasLanguage ? &language : nullptr; }
};

int List(const BrokerOptions &options) {
  Doing("reading the components below", options.root);
  Broker broker(options.root);
  Doing("walking", options.root);
  const RootWalk walk = WalkRoot(options.root);
  Doing("listing the components below", options.root);
  const LibraryLists lists = QueryLists(broker, walk, options.Engine());
  const auto keep = [&](const Listed &entry) {
    return options.type.empty() || entry.type == options.type;
  };
  const auto kept = [&](const std::vector<Listed> &entries) {
    std::vector<Listed> out;
    for (const Listed &entry : entries)
      if (keep(entry)) out.push_back(entry);
    return out;
  };
  if (options.json) {
    Json engines = Json::array(), shared = Json::array();
    for (size_t i = 0; i < lists.engines.size(); ++i) {
      const Listed &engine = lists.engines[i];
      Json addons = Json::array();
      for (const Listed &addon : kept(lists.engineAddons[i]))
        addons.push_back(AddonJson(addon));
      if (options.hasEngine)  // the shared add-ons the object reaches as well
        for (const Listed &addon : kept(lists.shared))
          addons.push_back(AddonJson(addon));
      engines.push_back({{"type", engine.type},
                         {"brokerString", engine.brokerString},
                         {"name", engine.name},
                         {"version", engine.version ? Json(*engine.version) : Json()},
                         {"addons", std::move(addons)}});
    }
    for (const Listed &addon : kept(lists.shared))
      shared.push_back(AddonJson(addon));
    PrintJson(
        {{"root", options.root}, {"engines", std::move(engines)}, {"shared", std::move(shared)}});
    return kOk;
  }
  fmt::print("engines below {}:\n", options.root);
  Table engines({"TYPE", "BROKERSTRING", "NAME", "VERSION"});
  for (const Listed &engine : kept(lists.engines))
    engines.Add({engine.type, engine.brokerString, engine.name, engine.version.value_or("-")});
  if (engines.empty())
    fmt::print("  (none)\n");
  else
    engines.Print("  ");
  for (size_t i = 0; i < lists.engines.size(); ++i) {
    std::vector<Listed> shown = kept(lists.engineAddons[i]);
    if (options.hasEngine) {
      const std::vector<Listed> shared = kept(lists.shared);
      shown.insert(shown.end(), shared.begin(), shared.end());
    }
    fmt::print("\nadd-ons an object on engine {} reaches{}:\n", lists.engines[i].brokerString,
               options.hasEngine ? "" : " (besides the shared ones)");
    PrintAddons(shown);
  }
  if (!options.hasEngine) {
    fmt::print("\nshared add-ons (every object reaches them):\n");
    PrintAddons(kept(lists.shared));
  }
  return kOk;
}

// The walk's record of a component the library selected: the first with exactly that broker
// string, the engine's add-ons before the shared ones.
const Component *Explained(const RootWalk &walk, const Engine *engine,
                           const std::string &selected) {
  if (engine)
    for (const Component &addon : engine->addons)
      if (addon.brokerString == selected) return &addon;
  for (const Component &addon : walk.shared)
    if (addon.brokerString == selected) return &addon;
  return nullptr;
}

// The library's answer to a query that hands out a string, or nothing when it finds none.
std::optional<std::string> InfoQuery(BrkObject *object, const std::string &brokerString,
                                     VQRESULT *code) {
  char *answer = nullptr;
  *code = brk_InfoQuery(object, brokerString.c_str(), &answer);
  if (*code) return std::nullopt;
  const std::unique_ptr<char, Given<char, brk_InfoRelease>> held(answer, {object});
  return std::string(answer);
}

int Resolve(const BrokerOptions &options) {
  Broker broker(options.root);
  BrkObject *object = broker.Open(options.Engine(), options.Language());
  const RootWalk walk = WalkRoot(options.root);
  const std::string &wanted = options.brokerString;
  const Engine *objectEngine = nullptr;
  for (const Engine &engine : walk.engines)
    if (options.hasEngine && EqualIgnoringCase(engine.brokerString, options.engine)) {
      objectEngine = &engine;
      break;
    }
  Json json = {{"brokerString", wanted},
               {"engine", options.hasEngine ? Json(options.engine) : Json()},
               {"language", options.hasLanguage ? Json(options.language) : Json()}};
  const auto say = [&](const std::string &line) {
    if (!options.json) fmt::print("{}\n", line);
  };
  say(fmt::format("object: {}, {}",
                  options.hasEngine ? "on engine " + options.engine : "without engine",
                  options.hasLanguage ? "language " + options.language : "no language"));

  // An engine's broker string: the library lists the engine of that type.
  const char16_t *type = nullptr;
  if (!brk_TagQuery(object, wanted.c_str(), "COMPTYPE", &type) && IsEngineType(Utf8(type))) {
    for (const Listed &engine : ListQuery(object, Utf8(type))) {
      if (!EqualIgnoringCase(engine.brokerString, wanted)) continue;
      const Engine *file = nullptr;
      for (const Engine &candidate : walk.engines)
        if (!file && candidate.brokerString == engine.brokerString) file = &candidate;
      VQRESULT code = 0;
      const std::optional<std::string> module = InfoQuery(object, wanted, &code);
      json.update({{"form", "engine"},
                   {"selected", engine.brokerString},
                   {"file", file ? Json(file->path) : Json()},
                   {"module", module ? Json(*module) : Json()}});
      if (options.json) {
        PrintJson(json);
      } else {
        say(fmt::format("{} is the broker string of engine {} ({}), file {}", wanted,
                        engine.brokerString, engine.type, file ? file->path : "?"));
        say(module ? "module: " + *module : "module: none (" + Describe(code) + ")");
      }
      return kOk;
    }
  }

  // An add-on: the walk lists the candidates, the library selects.
  const bool defaultForm = wanted.size() > 4 && wanted.ends_with("/def");
  std::vector<std::pair<const char *, const std::vector<Component> *>> lists;
  if (objectEngine) lists.push_back({"engine", &objectEngine->addons});
  lists.push_back({"shared", &walk.shared});
  Json candidates = Json::array();
  if (defaultForm) {
    const std::string prefix = wanted.substr(0, wanted.size() - 4);
    say(fmt::format(
        "{} is in the default form: among the add-ons whose broker strings begin "
        "with {} (ignoring case) and whose language passes, the highest priority "
        "(unsigned) wins and a later one wins a tie{}",
        wanted, Quoted(prefix),
        objectEngine ? "; the shared add-ons count only when none of the engine's does" : ""));
    Table table({});
    for (const auto &[from, list] : lists)
      for (const Component &addon : *list) {
        if (addon.brokerString.size() < prefix.size() ||
            !EqualIgnoringCase(addon.brokerString.substr(0, prefix.size()), prefix))
          continue;
        const bool passes =
            !options.hasLanguage || addon.language.empty() || addon.language == options.language;
        candidates.push_back({{"brokerString", addon.brokerString},
                              {"priority", addon.priority},
                              {"language", addon.language.empty() ? Json() : Json(addon.language)},
                              {"from", from},
                              {"file", addon.path},
                              {"languagePasses", passes}});
        table.Add({"candidate", addon.brokerString, "priority " + PriorityText(addon.priority),
                   "language " + (addon.language.empty() ? "-" : addon.language), from,
                   addon.path + (passes ? "" : "  (language does not pass)")});
      }
    if (!options.json) table.Print("  ");
  } else {
    say(
        fmt::format("{} is exact: the first add-on with this broker string (ignoring case), the "
                    "engine's before the shared ones; languages do not count",
                    wanted));
  }

  // The selection: what the default form selects, or the broker string of the add-on that
  // the exact form reaches.
  VQRESULT code = 0;
  std::optional<std::string> selected;
  if (defaultForm) {
    selected = InfoQuery(object, wanted, &code);
  } else {
    const char16_t *value = nullptr;
    code = brk_TagQuery(object, wanted.c_str(), "BROKERSTRING", &value);
    if (!code) selected = Utf8(value);
  }
  json.update({{"form", defaultForm ? "default" : "exact"}, {"candidates", candidates}});
  if (!selected) {
    json.update({{"selected", nullptr}, {"file", nullptr}, {"module", nullptr}});
    if (options.json) PrintJson(json);
    say("selected: nothing");
    if (code != BRK_E_BROKER_STRING_NOT_FOUND) throw Failure(wanted + ": " + Describe(code));
    return kFailed;
  }
  const Component *file = Explained(walk, objectEngine, *selected);
  std::optional<std::string> module = InfoQuery(object, *selected, &code);
  json.update({{"selected", *selected},
               {"file", file ? Json(file->path) : Json()},
               {"module", module ? Json(*module) : Json()}});
  if (options.json) {
    PrintJson(json);
    return kOk;
  }
  say(fmt::format("selected: {}, file {}", *selected, file ? file->path : "?"));
  if (!file)
    say("note: the walk found no such file; the files changed since the library read them");
  if (module)
    say("module: " + *module);
  else if (code == BRK_E_TAG_NOT_FOUND)
    say("module: none (no DLL tag: a data-only component)");
  else
    throw Failure("module of " + *selected + ": " + Describe(code));
  return kOk;
}

// Where the walk and the library disagree about what is listed: a fault of the explanation.
std::vector<std::string> Disagreements(const RootWalk &walk, const LibraryLists &lists) {
  std::vector<std::string> found;
  const auto compare = [&](const std::string &what, const std::vector<Component> &walked,
                           const std::vector<Listed> &listed) {
    std::vector<std::string> a, b;
    for (const Component &component : walked)
      a.push_back(component.type + " " + component.brokerString);
    for (const Listed &entry : listed)
      b.push_back(entry.type + " " + entry.brokerString);
    std::sort(a.begin(), a.end());
    std::sort(b.begin(), b.end());
    if (a != b)
      found.push_back(fmt::format("{}: the walk finds [{}], the library lists [{}]", what,
                                  fmt::join(a, ", "), fmt::join(b, ", ")));
  };
  std::vector<Component> engines(walk.engines.begin(), walk.engines.end());
  compare("engines", engines, lists.engines);
  // An engine listed twice is reached through the first: its objects get the first's add-ons.
  for (size_t i = 0; i < walk.engines.size(); ++i) {
    const Engine &engine = walk.engines[i];
    bool shadowed = false;
    for (size_t k = 0; k < i; ++k)
      shadowed = shadowed || EqualIgnoringCase(walk.engines[k].brokerString, engine.brokerString);
    for (size_t k = 0; !shadowed && k < lists.engines.size(); ++k)
      if (lists.engines[k].brokerString == engine.brokerString) {
        compare("add-ons of engine " + engine.brokerString, engine.addons, lists.engineAddons[k]);
        break;
      }
  }
  compare("shared add-ons", walk.shared, lists.shared);
  return found;
}

// The components whose module the library refuses because their DLL value leads out of the
// root. The library decides; it is asked about every listed component whose DLL value climbs.
std::vector<Problem> ModulesOutsideRoot(Broker &broker, const RootWalk &walk) {
  std::vector<Problem> refused;
  const auto ask = [&](BrkObject *object, const Component &component) {
    if (component.dll.find("..") == std::string::npos) return;
    char *module = nullptr;
    const VQRESULT code = brk_InfoQuery(object, component.brokerString.c_str(), &module);
    if (module) brk_InfoRelease(object, module);
    if (code == BRK_E_MODULE_OUTSIDE_ROOT)
      refused.push_back({component.path,
                         "DLL leads out of the root, its module is not loaded: " + Describe(code)});
  };
  for (const Engine &engine : walk.engines) {
    BrkObject *object = broker.Open(&engine.brokerString, nullptr);
    ask(object, engine);
    for (const Component &addon : engine.addons)
      ask(object, addon);
  }
  BrkObject *none = broker.Open(nullptr, nullptr);
  for (const Component &addon : walk.shared)
    ask(none, addon);
  return refused;
}

int Check(const BrokerOptions &options) {
  RootWalk walk = WalkRoot(options.root);
  Broker broker(options.root);
  const LibraryLists lists = QueryLists(broker, walk, nullptr);
  const std::vector<std::string> disagreements = Disagreements(walk, lists);
  for (Problem &problem : ModulesOutsideRoot(broker, walk))
    walk.problems.push_back(std::move(problem));
  size_t engineAddons = 0;
  for (const Engine &engine : walk.engines)
    engineAddons += engine.addons.size();
  if (options.json) {
    const auto component = [](const Component &c) {
      return Json{{"type", c.type}, {"brokerString", c.brokerString}, {"file", c.path}};
    };
    Json engines = Json::array(), shared = Json::array(), problems = Json::array();
    for (const Engine &engine : walk.engines) {
      Json addons = Json::array();
      for (const Component &addon : engine.addons)
        addons.push_back(component(addon));
      Json entry = component(engine);
      entry["addons"] = addons;
      engines.push_back(entry);
    }
    for (const Component &addon : walk.shared)
      shared.push_back(component(addon));
    for (const Problem &problem : walk.problems)
      problems.push_back({{"file", problem.path}, {"reason", problem.reason}});
    PrintJson({{"root", options.root},
               {"read", walk.read},
               {"engines", engines},
               {"shared", shared},
               {"problems", problems},
               {"disagreements", disagreements}});
  } else {
    for (const Problem &problem : walk.problems)
      fmt::print("{}: {}\n", problem.path, problem.reason);
    for (const std::string &disagreement : disagreements)
      fmt::print("the walk explains the library wrongly: {}\n", disagreement);
    fmt::print(
        "{} header files read; engines: {}, engine add-ons: {}, shared add-ons: {}, "
        "problems: {}\n",
        walk.read, walk.engines.size(), engineAddons, walk.shared.size(), walk.problems.size());
  }
  return walk.problems.empty() && disagreements.empty() ? kOk : kFailed;
}

}  // namespace

void AddBrokerCommands(CLI::App &app, Commands &commands) {
  auto o = std::make_shared<BrokerOptions>();
  CLI::App *broker = app.add_subcommand("broker", "List, resolve and check installed components");
  broker->footer(
      "ROOT is the directory below which the components are installed: engines in its "
      "subdirectories, their add-ons deeper, shared add-ons below ROOT/shared.");
  const auto root = [&o](CLI::App *command) {
    command->add_option("ROOT", o->root, "The component root")
        ->required()
        ->check(CLI::ExistingDirectory);
  };
  const auto engine = [&o](CLI::App *command, const char *what) {
    command->add_option("--engine", o->engine, what)->each([o](const std::string &) {
      o->hasEngine = true;
    });
  };

  CLI::App *list = broker->add_subcommand("list", "The installed components");
  list->footer(
      "Shows the engines, then for each engine the add-ons an object on it reaches (broker "
      "string, name, version, language, priority, and whether the add-on is the engine's own "
      "or shared), then the shared add-ons.");
  root(list);
  list->add_option("--type", o->type, "Only components of this COMPTYPE");
  engine(list, "Only this engine (and the shared add-ons its objects reach)");
  list->add_flag("--json", o->json, "Write the lists as JSON");
  commands.Add(list, [o] { return List(*o); });

  CLI::App *resolve =
      broker->add_subcommand("resolve", "Which component a broker string selects, and why");
  resolve->footer(
      "The selection is the library's; the candidates, their priorities and languages, and "
      "the files come from reading the root again. Exit status 1 when nothing is selected.");
  root(resolve);
  resolve->add_option("BROKERSTRING", o->brokerString, "The broker string to resolve")->required();
  engine(resolve, "Resolve for an object on this engine (else on none)");
  resolve->add_option("--language", o->language, "The object's language")
      ->each([o](const std::string &) { o->hasLanguage = true; });
  resolve->add_flag("--json", o->json, "Write the answer as JSON");
  commands.Add(resolve, [o] { return Resolve(*o); });

  CLI::App *check = broker->add_subcommand("check", "Header files the broker skips, and why");
  check->footer(
      "Lists every header file below ROOT that the broker skips or passes by, and the reason "
      "(unreadable, no or wrong COMPTYPE, no BROKERSTRING or NAME, a duplicate broker string, "
      "an ENGINE tag that does not name the engine, a place where no component is read). Exit "
      "status 1 when there is one.");
  root(check);
  check->add_flag("--json", o->json, "Write the components found and the problems as JSON");
  commands.Add(check, [o] { return Check(*o); });
}

}  // namespace cli
