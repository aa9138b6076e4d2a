// Dictionaries against their peers, on 1,000,000 distinct words (ASCII and accented, made
// deterministically), one entry each, in one run:
// - adding and looking up (edct_DctGetEntryData + edct_DctFreeEntryData) in a writable
//   dictionary, beside std::map<std::u16string, std::vector<std::string>>;
// - archiving the dictionary (beside memcpy of the image), loading the image writable and
//   opening it read-only, and checking it first (also over 1,000 small sections);
// - read-only lookups over UTF-8 keys and over UTF-16 keys (a second word list in CJK
//   characters, which the writer stores as UTF-16), beside std::lower_bound over a sorted
//   std::vector and beside tinycdb holding the same keys and data.
// The "bytes" counters are heap bytes held once the container is built (peak memory).
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "speechcommon.h"

#ifdef SC_HAVE_TINYCDB
#include <cdb.h>
#include <fcntl.h>
#include <unistd.h>
#endif

namespace {

constexpr size_t kWords = 1000000;

size_t HeapBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

std::u16string Word(std::mt19937 &random, bool cjk) {
  static const char16_t *const kOnsets[] = {u"b",  u"c",  u"d",  u"f",  u"g",      u"h",     u"j",
                                            u"k",  u"l",  u"m",  u"n",  u"p",      u"r",     u"s",
                                            u"t",  u"v",  u"w",  u"z",  u"ch",     u"sh",    u"tr",
                                            u"st", u"br", u"pl", u"gr", u"\u00e7", u"\u00f1"};
  static const char16_t *const kVowels[] = {
      u"a",      u"e",      u"i",      u"o",      u"u",      u"ou",     u"ai", u"ie",
      u"\u00e9", u"\u00e8", u"\u00fc", u"\u00f6", u"\u00e5", u"\u00e2", u"ea", u"y"};
  std::u16string word;
  const int syllables = 2 + random() % 3;
  for (int i = 0; i < syllables; ++i) {
    if (cjk) {
      word += static_cast<char16_t>(0x4E00 + random() % 3000);
      continue;
    }
    word += kOnsets[random() % std::size(kOnsets)];
    word += kVowels[random() % std::size(kVowels)];
    if (random() % 4 == 0) word += u"n";
  }
  if (!cjk && random() % 5 == 0) word[0] = static_cast<char16_t>(word[0] - 32);  // a capital
  return word;
}

// The words in a fixed pseudo-random order, and the data of each.
struct Words {
  std::vector<std::u16string> keys;
  std::vector<std::string> data;
};

Words MakeWords(bool cjk) {
  Words words;
  std::mt19937 random(cjk ? 20 : 10);
  std::unordered_set<std::u16string> seen;
  while (words.keys.size() < kWords) {
    std::u16string word = Word(random, cjk);
    if (!seen.insert(word).second) continue;
    words.data.push_back(std::string("p").append(std::to_string(words.keys.size())).append("#"));
    words.keys.push_back(std::move(word));
  }
  return words;
}

const Words &Latin() {
  static const Words words = MakeWords(false);
  return words;
}

const Words &Cjk() {
  static const Words words = MakeWords(true);
  return words;
}

EDCT_ENTRY EntryFor(const std::string &data) {
  return EDCT_ENTRY{EDCT_CONTENT_ORTHOGRAPHIC,
                    EDCT_REPR_SZ_STRING,
                    0xFFFFFFFFu,
                    nullptr,
                    nullptr,
                    nullptr,
                    data.c_str(),
                    static_cast<uint32_t>(data.size() + 1)};
}

SafeHandle BuildDictionary(const Words &words) {
  SafeHandle dictionary;
  edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, &dictionary);
  for (size_t i = 0; i < words.keys.size(); ++i) {
    const EDCT_ENTRY entry = EntryFor(words.data[i]);
    edct_DctAddEntry(dictionary, words.keys[i].c_str(), &entry, 1);
  }
  return dictionary;
}

// A dictionary built once and kept for the lookups and the archive benchmarks.
SafeHandle Dictionary(bool cjk) {
  static SafeHandle latin = BuildDictionary(Latin());
  static SafeHandle chinese = BuildDictionary(Cjk());
  return cjk ? chinese : latin;
}

std::vector<uint32_t> ArchiveOf(SafeHandle dictionary, uint32_t *size) {
  edct_DctArchive(dictionary, nullptr, size, 0);
  std::vector<uint32_t> image(*size / 4 + 1);
  edct_DctArchive(dictionary, image.data(), size, 0);
  return image;
}

const std::vector<uint32_t> &Image(bool cjk, uint32_t *size = nullptr) {
  static uint32_t sizes[2];
  static const std::vector<uint32_t> latin = ArchiveOf(Dictionary(false), &sizes[0]);
  static const std::vector<uint32_t> chinese = ArchiveOf(Dictionary(true), &sizes[1]);
  if (size) *size = sizes[cjk];
  return cjk ? chinese : latin;
}

// ---- Writable dictionary against std::map ----------------------------------------------------

void BM_DictionaryAdd(benchmark::State &state) {
  const Words &words = Latin();
  for (auto _ : state) {
    const size_t before = HeapBytes();
    SafeHandle dictionary = BuildDictionary(words);
    state.counters["bytes"] = static_cast<double>(HeapBytes() - before);
    state.PauseTiming();
    edct_DctClose(dictionary);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kWords);
}
BENCHMARK(BM_DictionaryAdd)->Unit(benchmark::kMillisecond)->Iterations(2);

void BM_MapAdd(benchmark::State &state) {
  const Words &words = Latin();
  for (auto _ : state) {
    const size_t before = HeapBytes();
    auto *map = new std::map<std::u16string, std::vector<std::string>>;
    for (size_t i = 0; i < words.keys.size(); ++i)
      (*map)[words.keys[i]].push_back(words.data[i]);
    state.counters["bytes"] = static_cast<double>(HeapBytes() - before);
    state.PauseTiming();
    delete map;
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kWords);
}
BENCHMARK(BM_MapAdd)->Unit(benchmark::kMillisecond)->Iterations(2);

void BM_DictionaryLookup(benchmark::State &state) {
  const Words &words = Latin();
  const SafeHandle dictionary = Dictionary(false);
  size_t found = 0;
  for (auto _ : state) {
    for (const std::u16string &key : words.keys) {
      EDCT_ENTRY *entries = nullptr;
      uint32_t count = 0;
      if (edct_DctGetEntryData(dictionary, key.c_str(), nullptr, &entries, &count) == 0) {
        found += entries[0].DataSize;
        edct_DctFreeEntryData(dictionary, entries, count);
      }
    }
  }
  benchmark::DoNotOptimize(found);
  state.SetItemsProcessed(state.iterations() * kWords);
}
BENCHMARK(BM_DictionaryLookup)->Unit(benchmark::kMillisecond)->Iterations(2);

void BM_MapLookup(benchmark::State &state) {
  const Words &words = Latin();
  std::map<std::u16string, std::vector<std::string>> map;
  for (size_t i = 0; i < words.keys.size(); ++i)
    map[words.keys[i]].push_back(words.data[i]);
  size_t found = 0;
  for (auto _ : state) {
    for (const std::u16string &key : words.keys) {
      const auto at = map.find(key);
      if (at == map.end()) continue;
      const std::vector<std::string> copy = at->second;
      found += copy[0].size();
    }
  }
  benchmark::DoNotOptimize(found);
  state.SetItemsProcessed(state.iterations() * kWords);
}
BENCHMARK(BM_MapLookup)->Unit(benchmark::kMillisecond)->Iterations(2);

// ---- Archive images ----------------------------------------------------------------------

void BM_Archive(benchmark::State &state) {
  const SafeHandle dictionary = Dictionary(false);
  uint32_t size = 0;
  edct_DctArchive(dictionary, nullptr, &size, 0);
  std::vector<uint32_t> image(size / 4 + 1);
  for (auto _ : state) {
    uint32_t measured = 0;
    edct_DctArchive(dictionary, nullptr, &measured, 0);
    edct_DctArchive(dictionary, image.data(), &measured, 0);
  }
  state.SetBytesProcessed(state.iterations() * int64_t{size});
  state.counters["image_bytes"] = size;
}
BENCHMARK(BM_Archive)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_MemcpyImage(benchmark::State &state) {
  uint32_t size = 0;
  const std::vector<uint32_t> &image = Image(false, &size);
  std::vector<uint32_t> copy(image.size());
  for (auto _ : state) {
    std::memcpy(copy.data(), image.data(), size);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{size});
}
BENCHMARK(BM_MemcpyImage)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_LoadWritable(benchmark::State &state) {
  const std::vector<uint32_t> &image = Image(false);
  for (auto _ : state) {
    SafeHandle loaded;
    edct_DctOpen(g_vqNullHandle, image.data(), EDCT_OPEN_WRITABLE, nullptr, nullptr, &loaded);
    state.PauseTiming();
    edct_DctClose(loaded);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kWords);
}
BENCHMARK(BM_LoadWritable)->Unit(benchmark::kMillisecond)->Iterations(2);

// Opening costs the same for a small image with one section.
void BM_OpenReadOnly(benchmark::State &state) {
  const std::vector<uint32_t> &image = Image(state.range(0) != 0);
  for (auto _ : state) {
    SafeHandle view;
    edct_DctOpen(g_vqNullHandle, image.data(), EDCT_OPEN_READONLY, nullptr, nullptr, &view);
    edct_DctClose(view);
  }
}
BENCHMARK(BM_OpenReadOnly)->Arg(0)->Arg(1);

void BM_OpenReadOnlySmallImage(benchmark::State &state) {
  SafeHandle dictionary;
  edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, &dictionary);
  const std::string data = "d";
  const EDCT_ENTRY entry = EntryFor(data);
  edct_DctAddEntry(dictionary, u"word", &entry, 1);
  uint32_t size = 0;
  const std::vector<uint32_t> image = ArchiveOf(dictionary, &size);
  for (auto _ : state) {
    SafeHandle view;
    edct_DctOpen(g_vqNullHandle, image.data(), EDCT_OPEN_READONLY, nullptr, nullptr, &view);
    edct_DctClose(view);
  }
  edct_DctClose(dictionary);
}
BENCHMARK(BM_OpenReadOnlySmallImage);

// Checking an image before trusting it, beside the opens above: a pass over each section's
// two offset tables (1,000,000 keys in one section), and over many small sections.
void BM_CheckImage(benchmark::State &state) {
  uint32_t size = 0;
  const std::vector<uint32_t> &image = Image(state.range(0) != 0, &size);
  for (auto _ : state)
    if (edct_DctCheckImage(image.data(), size)) state.SkipWithError("check");
  state.counters["keys"] = kWords;
}
BENCHMARK(BM_CheckImage)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// 1,000 sections of 10 keys each (one language per section).
const std::vector<uint32_t> &ManySections(uint32_t *size) {
  static uint32_t bytes = 0;
  static const std::vector<uint32_t> image = [] {
    SafeHandle dictionary;
    edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, &dictionary);
    const std::string data = "d";
    for (int section = 0; section < 1000; ++section) {
      std::string language = "l";
      language += std::to_string(section);
      EDCT_ENTRY entry = EntryFor(data);
      entry.Language = language.c_str();
      for (int key = 0; key < 10; ++key) {
        const std::u16string word = {u'w', char16_t(u'a' + key)};
        edct_DctAddEntry(dictionary, word.c_str(), &entry, 1);
      }
    }
    std::vector<uint32_t> archived = ArchiveOf(dictionary, &bytes);
    edct_DctClose(dictionary);
    return archived;
  }();
  *size = bytes;
  return image;
}

void BM_CheckImageManySections(benchmark::State &state) {
  uint32_t size = 0;
  const std::vector<uint32_t> &image = ManySections(&size);
  for (auto _ : state)
    if (edct_DctCheckImage(image.data(), size)) state.SkipWithError("check");
}
BENCHMARK(BM_CheckImageManySections)->Unit(benchmark::kMicrosecond);

void BM_OpenReadOnlyManySections(benchmark::State &state) {
  uint32_t size = 0;
  const std::vector<uint32_t> &image = ManySections(&size);
  for (auto _ : state) {
    SafeHandle view;
    if (edct_DctOpen(g_vqNullHandle, image.data(), EDCT_OPEN_READONLY, nullptr, nullptr, &view))
      state.SkipWithError("open");
    edct_DctClose(view);
  }
}
BENCHMARK(BM_OpenReadOnlyManySections)->Unit(benchmark::kMicrosecond);

// ---- Read-only lookups -------------------------------------------------------------------

// range(0): 0 for the UTF-8 keys (Latin words), 1 for the UTF-16 keys (CJK words).
void BM_ReadOnlyLookup(benchmark::State &state) {
  const bool cjk = state.range(0) != 0;
  const Words &words = cjk ? Cjk() : Latin();
  SafeHandle view;
  edct_DctOpen(g_vqNullHandle, Image(cjk).data(), EDCT_OPEN_READONLY, nullptr, nullptr, &view);
  // The first lookup builds the key index; BM_ReadOnlyFirstLookup reports that cost.
  EDCT_ENTRY *first = nullptr;
  uint32_t firstCount = 0;
  if (edct_DctGetEntryData(view, words.keys[0].c_str(), nullptr, &first, &firstCount) == 0)
    edct_DctFreeEntryData(view, first, firstCount);
  size_t found = 0;
  for (auto _ : state) {
    for (const std::u16string &key : words.keys) {
      EDCT_ENTRY *entries = nullptr;
      uint32_t count = 0;
      if (edct_DctGetEntryData(view, key.c_str(), nullptr, &entries, &count) == 0) {
        found += entries[0].DataSize;
        edct_DctFreeEntryData(view, entries, count);
      }
    }
  }
  edct_DctClose(view);
  benchmark::DoNotOptimize(found);
  state.SetLabel(cjk ? "UTF-16 keys" : "UTF-8 keys");
  state.SetItemsProcessed(state.iterations() * kWords);
}
BENCHMARK(BM_ReadOnlyLookup)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(2);

// The one-time cost of the first lookup in a view: opening, and the first lookup building the
// index of the keys, beside a lookup in a view already indexed (BM_ReadOnlyLookup).
void BM_ReadOnlyFirstLookup(benchmark::State &state) {
  const bool cjk = state.range(0) != 0;
  const Words &words = cjk ? Cjk() : Latin();
  const std::vector<uint32_t> &image = Image(cjk);
  for (auto _ : state) {
    SafeHandle view;
    edct_DctOpen(g_vqNullHandle, image.data(), EDCT_OPEN_READONLY, nullptr, nullptr, &view);
    const size_t before = HeapBytes();
    EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0;
    if (edct_DctGetEntryData(view, words.keys[0].c_str(), nullptr, &entries, &count) == 0)
      edct_DctFreeEntryData(view, entries, count);
    state.counters["index_bytes"] = static_cast<double>(HeapBytes() - before);
    edct_DctClose(view);
  }
  uint32_t size = 0;
  Image(cjk, &size);
  state.counters["image_bytes"] = size;
  state.SetLabel(cjk ? "UTF-16 keys" : "UTF-8 keys");
}
BENCHMARK(BM_ReadOnlyFirstLookup)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_SortedVectorLookup(benchmark::State &state) {
  const bool cjk = state.range(0) != 0;
  const Words &words = cjk ? Cjk() : Latin();
  std::vector<std::pair<std::u16string, std::string>> sorted;
  for (size_t i = 0; i < words.keys.size(); ++i)
    sorted.emplace_back(words.keys[i], words.data[i]);
  std::sort(sorted.begin(), sorted.end());
  size_t found = 0;
  for (auto _ : state) {
    for (const std::u16string &key : words.keys) {
      const auto at =
          std::lower_bound(sorted.begin(), sorted.end(), key,
                           [](const std::pair<std::u16string, std::string> &item,
                              const std::u16string &wanted) { return item.first < wanted; });
      if (at != sorted.end() && at->first == key) found += at->second.size() + 1;
    }
  }
  benchmark::DoNotOptimize(found);
  state.SetLabel(cjk ? "UTF-16 keys" : "UTF-8 keys");
  state.SetItemsProcessed(state.iterations() * kWords);
}
BENCHMARK(BM_SortedVectorLookup)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(2);

#ifdef SC_HAVE_TINYCDB
// The same keys (as their UTF-16 bytes, the form a lookup receives) and data in a cdb file.
void BM_TinycdbLookup(benchmark::State &state) {
  const bool cjk = state.range(0) != 0;
  const Words &words = cjk ? Cjk() : Latin();
  char path[] = "/tmp/dictionary_bench_XXXXXX";
  const int fd = mkstemp(path);
  struct cdb_make make;
  cdb_make_start(&make, fd);
  for (size_t i = 0; i < words.keys.size(); ++i)
    cdb_make_add(&make, words.keys[i].data(), static_cast<unsigned>(words.keys[i].size() * 2),
                 words.data[i].c_str(), static_cast<unsigned>(words.data[i].size() + 1));
  cdb_make_finish(&make);
  struct cdb cdb;
  cdb_init(&cdb, fd);
  size_t found = 0;
  for (auto _ : state) {
    for (const std::u16string &key : words.keys) {
      if (cdb_find(&cdb, key.data(), static_cast<unsigned>(key.size() * 2)) > 0) {
        benchmark::DoNotOptimize(cdb_getdata(&cdb));
        found += cdb_datalen(&cdb);
      }
    }
  }
  cdb_free(&cdb);
  close(fd);
  unlink(path);
  benchmark::DoNotOptimize(found);
  state.SetLabel(cjk ? "UTF-16 keys" : "UTF-8 keys");
  state.SetItemsProcessed(state.iterations() * kWords);
}
BENCHMARK(BM_TinycdbLookup)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(2);
#endif

}  // namespace
