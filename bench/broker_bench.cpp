// The component broker on a generated root of 1,000 components (100 engines, 900 add-ons,
// headers of about 20 tags each), beside peers doing the same work with the standard library:
//   ClassOpen          the scan of the whole root  vs  recursive_directory_iterator plus reading
//                      every file into memory (and, for scale, plain reads of just the files the
//                      scan reads: the engine headers and the shared add-ons)
//   FirstObjectOpen    the first object on an engine with 50 add-ons  vs  the same walk of that
//                      engine's directory
//   ListManyAddons     class open, an object and the component list over 10,000 and 40,000
//                      shared add-ons  vs  recursive_directory_iterator reading every file
//   DefaultResolution  brk_InfoQuery of "/def" strings (100,000 per run; median and 99th
//                      percentile per call as counters)  vs  the same selection over vectors of
//                      std::u16string
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "speechcommon.h"

namespace {

namespace fs = std::filesystem;

constexpr int kEngines = 100;
constexpr int kFirstEngineAddons = 50;
constexpr int kSharedAddons = 100;
constexpr int kOtherAddons = 900 - kFirstEngineAddons - kSharedAddons;  // over engines 1..99
constexpr const char *kLanguages[] = {"en", "de", "fr"};

std::string Le(const std::u16string &text) {
  std::string bytes;
  for (char16_t c : text) {
    bytes.push_back(static_cast<char>(c & 0xFF));
    bytes.push_back(static_cast<char>(c >> 8));
  }
  return bytes;
}

std::u16string Wide(const std::string &text) {
  return std::u16string(text.begin(), text.end());
}

std::u16string Element(const std::string &name, const std::string &value) {
  return u"  <" + Wide(name) + u">" + Wide(value) + u"</" + Wide(name) + u">\r\n";
}

// A header with the given tags and filler up to 20 tags.
void WriteHeader(const fs::path &file, std::vector<std::pair<std::string, std::string>> tags) {
  for (int i = static_cast<int>(tags.size()); i < 20; ++i)
    tags.push_back({"INFO" + std::to_string(i), "descriptive text of entry " + std::to_string(i)});
  std::u16string text = u"<VQS>\r\n<VERSION>VQ_1.0</VERSION>\r\n<HEADER>\r\n";
  for (const auto &[name, value] : tags)
    text += Element(name, value);
  text += u"</HEADER>\r\n</VQS>";
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << "\xFF\xFE" << Le(text);
}

// "007", or with a prefix "e007".
std::string Number(int n, const char *prefix = "") {
  char text[16];
  std::snprintf(text, sizeof text, "%s%03d", prefix, n);
  return text;
}

void WriteAddon(const fs::path &file, const std::string &brokerString, int n) {
  WriteHeader(file, {{"COMPTYPE", "VOICE"},
                     {"BROKERSTRING", brokerString},
                     {"NAME", "Voice " + std::to_string(n)},
                     {"VERSION", "1." + std::to_string(n % 10)},
                     {"LANGUAGE", kLanguages[n % 3]},
                     {"PRIORITY", std::to_string(n % 17)},
                     {"DLL", "libvoice.so"},
                     {"GETINTERFACE", "VoiceGetInterface"}});
}

// The generated root, made once per process and removed at exit.
class GeneratedRoot {
 public:
  GeneratedRoot() {
    std::random_device seed;
    path_ = fs::temp_directory_path() / ("sc_brk_bench_" + std::to_string(seed()));
    for (int e = 0; e < kEngines; ++e) {
      WriteHeader(path_ / Number(e, "e") / "engine.hdr",
                  {{"COMPTYPE", "TTSENGINE"},
                   {"BROKERSTRING", "vendor/tts/e" + Number(e)},
                   {"NAME", "Engine " + std::to_string(e)},
                   {"VERSION", "4.2"},
                   {"DLL", "libengine.so"},
                   {"GETINTERFACE", "EngineGetInterface"}});
    }
    for (int n = 0; n < kFirstEngineAddons; ++n)
      WriteAddon(path_ / "e000" / "voices" / Number(n % 5) / (Number(n) + ".hdr"),
                 "voice/" + std::string(kLanguages[n % 3]) + "/e000/" + Number(n), n);
    for (int n = 0; n < kOtherAddons; ++n) {
      const std::string engine = Number(1 + n % (kEngines - 1), "e");
      WriteAddon(path_ / engine / "voices" / (Number(n) + ".hdr"),
                 "voice/" + std::string(kLanguages[n % 3]) + "/" + engine + "/" + Number(n), n);
    }
    for (int n = 0; n < kSharedAddons; ++n)
      WriteAddon(path_ / "shared" / Number(n % 10, "g") / (Number(n) + ".hdr"),
                 "rules/" + std::string(kLanguages[n % 3]) + "/" + Number(n), n);
  }
  ~GeneratedRoot() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  std::string Path() const { return path_.string(); }

 private:
  fs::path path_;
};

const GeneratedRoot &Root() {
  static const GeneratedRoot root;
  return root;
}

// The peer of a scan: every file below `directory` read into memory.
size_t WalkAndRead(const fs::path &directory) {
  size_t bytes = 0;
  for (const auto &entry : fs::recursive_directory_iterator(directory)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream in(entry.path(), std::ios::binary);
    const std::string content((std::istreambuf_iterator<char>(in)),
                              std::istreambuf_iterator<char>());
    bytes += content.size();
  }
  return bytes;
}

void ClassOpen(benchmark::State &state) {
  const std::string root = Root().Path();
  for (auto _ : state) {
    BrkClass *cls = nullptr;
    if (brk_ClassOpenEx(&cls, root.c_str(), g_vqNullHandle, nullptr)) state.SkipWithError("open");
    state.PauseTiming();
    brk_ClassClose(cls);
    state.ResumeTiming();
  }
}
BENCHMARK(ClassOpen)->Unit(benchmark::kMillisecond);

void ClassOpenPeer(benchmark::State &state) {
  const std::string root = Root().Path();
  for (auto _ : state)
    benchmark::DoNotOptimize(WalkAndRead(root));
}
BENCHMARK(ClassOpenPeer)->Unit(benchmark::kMillisecond);

void ClassOpenPeerSameFiles(benchmark::State &state) {
  const fs::path root = Root().Path();
  for (auto _ : state) {
    size_t bytes = WalkAndRead(root / "shared");
    for (const auto &engine : fs::directory_iterator(root)) {
      if (!engine.is_directory()) continue;
      for (const auto &file : fs::directory_iterator(engine.path())) {
        if (file.path().extension() != ".hdr") continue;
        std::ifstream in(file.path(), std::ios::binary);
        bytes += std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>())
                     .size();
      }
    }
    benchmark::DoNotOptimize(bytes);
  }
}
BENCHMARK(ClassOpenPeerSameFiles)->Unit(benchmark::kMillisecond);

void FirstObjectOpen(benchmark::State &state) {
  BrkClass *cls = nullptr;
  brk_ClassOpenEx(&cls, Root().Path().c_str(), g_vqNullHandle, nullptr);
  for (auto _ : state) {
    BrkObject *object = nullptr;
    // Closing the engine's only object drops its add-ons, so every open is a first one.
    if (brk_ObjOpen(&object, "vendor/tts/e000", "en", cls, nullptr)) state.SkipWithError("obj");
    state.PauseTiming();
    brk_ObjClose(object);
    state.ResumeTiming();
  }
  brk_ClassClose(cls);
}
BENCHMARK(FirstObjectOpen)->Unit(benchmark::kMicrosecond);

void FirstObjectOpenPeer(benchmark::State &state) {
  const fs::path engine = fs::path(Root().Path()) / "e000";
  for (auto _ : state)
    benchmark::DoNotOptimize(WalkAndRead(engine / "voices"));
}
BENCHMARK(FirstObjectOpenPeer)->Unit(benchmark::kMicrosecond);

// Many add-ons: a root whose shared directory holds `count` add-ons, 400 to a directory, made
// once per size. Listing them (class open, an object, the component list) should grow with
// their number as the peer's walk and reads do, not faster.
class ManyAddonsRoot {
 public:
  explicit ManyAddonsRoot(int count) {
    std::random_device seed;
    path_ = fs::temp_directory_path() /
            ("sc_brk_bench_many_" + std::to_string(count) + "_" + std::to_string(seed()));
    for (int n = 0; n < count; ++n) {
      const fs::path file = path_ / "shared" / Number(n / 400, "d") / (std::to_string(n) + ".hdr");
      if (n % 400 == 0) fs::create_directories(file.parent_path());
      std::u16string text = u"<VQS>\r\n<VERSION>VQ_1.0</VERSION>\r\n<HEADER>\r\n";
      text += Element("COMPTYPE", "VOICE") + Element("BROKERSTRING", "v/" + std::to_string(n)) +
              Element("NAME", "Voice " + std::to_string(n)) + Element("PRIORITY", "1");
      text += u"</HEADER>\r\n</VQS>";
      std::ofstream(file, std::ios::binary) << "\xFF\xFE" << Le(text);
    }
  }
  ~ManyAddonsRoot() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  std::string Path() const { return path_.string(); }

 private:
  fs::path path_;
};

const ManyAddonsRoot &ManyAddons(int count) {
  static const ManyAddonsRoot ten(10000);
  if (count == 10000) return ten;
  static const ManyAddonsRoot forty(40000);
  return forty;
}

void ListManyAddons(benchmark::State &state) {
  const std::string root = ManyAddons(static_cast<int>(state.range(0))).Path();
  for (auto _ : state) {
    BrkClass *cls = nullptr;
    BrkObject *object = nullptr;
    BrkComponentList *list = nullptr;
    if (brk_ClassOpenEx(&cls, root.c_str(), g_vqNullHandle, nullptr) ||
        brk_ObjOpen(&object, nullptr, nullptr, cls, nullptr) ||
        brk_ComponentListQuery(object, "VOICE", &list) || list->count != state.range(0))
      state.SkipWithError("list");
    brk_ComponentListRelease(object, list);
    brk_ObjClose(object);
    brk_ClassClose(cls);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(ListManyAddons)->Arg(10000)->Arg(40000)->Unit(benchmark::kMillisecond);

void ListManyAddonsPeer(benchmark::State &state) {
  const fs::path root = ManyAddons(static_cast<int>(state.range(0))).Path();
  for (auto _ : state)
    benchmark::DoNotOptimize(WalkAndRead(root));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(ListManyAddonsPeer)->Arg(10000)->Arg(40000)->Unit(benchmark::kMillisecond);

// Default-form strings: within the engine's add-ons, across all of them, and ones that only
// the shared add-ons answer.
const std::vector<std::string> kDefaultStrings = {"voice/en/e000/def", "voice/def",
                                                  "VOICE/EN/def",      "rules/en/def",
                                                  "rules/def",         "rules/en/0/def"};
constexpr int kResolutions = 100000;

void DefaultResolution(benchmark::State &state) {
  BrkClass *cls = nullptr;
  BrkObject *object = nullptr;
  brk_ClassOpenEx(&cls, Root().Path().c_str(), g_vqNullHandle, nullptr);
  brk_ObjOpen(&object, "vendor/tts/e000", "en", cls, nullptr);
  std::vector<double> nanoseconds(kResolutions);
  for (auto _ : state) {
    for (int i = 0; i < kResolutions; ++i) {
      char *selected = nullptr;
      const auto start = std::chrono::steady_clock::now();
      const VQRESULT result =
          brk_InfoQuery(object, kDefaultStrings[i % kDefaultStrings.size()].c_str(), &selected);
      brk_InfoRelease(object, selected);
      nanoseconds[i] =
          std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start)
              .count();
      if (result) state.SkipWithError("resolution");
    }
  }
  std::sort(nanoseconds.begin(), nanoseconds.end());
  state.counters["median_ns"] = nanoseconds[kResolutions / 2];
  state.counters["p99_ns"] = nanoseconds[kResolutions * 99 / 100];
  state.SetItemsProcessed(state.iterations() * kResolutions);
  brk_ObjClose(object);
  brk_ClassClose(cls);
}
BENCHMARK(DefaultResolution)->Unit(benchmark::kMillisecond)->Iterations(1);

// The same selection over plain vectors: ASCII folding, prefix test, language test, unsigned
// priority with later ties winning; engine's add-ons first, then the shared ones.
struct PeerRecord {
  std::u16string brokerString, language;
  uint32_t priority;
};

const PeerRecord *PeerChoose(const std::vector<PeerRecord> &list, std::u16string_view prefix,
                             std::u16string_view language) {
  const auto fold = [](char16_t c) { return c >= u'A' && c <= u'Z' ? char16_t(c + 32) : c; };
  const PeerRecord *best = nullptr;
  uint32_t bestPriority = 0;
  for (const PeerRecord &record : list) {
    if (record.brokerString.size() < prefix.size() || record.priority < bestPriority) continue;
    if (!std::equal(prefix.begin(), prefix.end(), record.brokerString.begin(),
                    [&](char16_t a, char16_t b) { return fold(a) == fold(b); }))
      continue;
    if (!record.language.empty() && record.language != language) continue;
    best = &record;
    bestPriority = record.priority;
  }
  return best;
}

void DefaultResolutionPeer(benchmark::State &state) {
  std::vector<PeerRecord> engine, shared;
  for (int n = 0; n < kFirstEngineAddons; ++n)
    engine.push_back({Wide("voice/" + std::string(kLanguages[n % 3]) + "/e000/" + Number(n)),
                      Wide(kLanguages[n % 3]), static_cast<uint32_t>(n % 17)});
  for (int n = 0; n < kSharedAddons; ++n)
    shared.push_back({Wide("rules/" + std::string(kLanguages[n % 3]) + "/" + Number(n)),
                      Wide(kLanguages[n % 3]), static_cast<uint32_t>(n % 17)});
  std::vector<std::u16string> prefixes;
  for (const std::string &text : kDefaultStrings)
    prefixes.push_back(Wide(text.substr(0, text.size() - 4)));
  for (auto _ : state) {
    for (int i = 0; i < kResolutions; ++i) {
      const std::u16string &prefix = prefixes[i % prefixes.size()];
      const PeerRecord *chosen = PeerChoose(engine, prefix, u"en");
      if (!chosen) chosen = PeerChoose(shared, prefix, u"en");
      benchmark::DoNotOptimize(chosen);
    }
  }
  state.SetItemsProcessed(state.iterations() * kResolutions);
}
BENCHMARK(DefaultResolutionPeer)->Unit(benchmark::kMillisecond);

}  // namespace
