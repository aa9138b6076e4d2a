// Compiling a real lexicon, text stream to archive image, beside tinycdb's `cdb -c` building a
// constant database of the same key/value records, in one run.
//
// The lexicon is made at start from word lists that Debian ships: English pronunciations
// from festlex-cmu's dictionary as broad-narrows entries (one piece per syllable), and the
// French (wfrench) and German (wngerman) word lists as orthographic entries whose data is the
// word in capitals; three SubHeaders, about 800,000 entries, about 21 MB. Without the lists
// or without /usr/bin/cdb the benchmarks skip with a message.
//
// Both sides go from a file to a file: the dictionary reads the text through its ReadStream
// callback and the image is written out; cdb reads its records file and writes its database.
// "peak_bytes" is the heap the compile holds at its fullest (the dictionary and the image),
// "peak_per_text" the same over the text's size.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "speechcommon.h"

extern char **environ;

namespace {

constexpr const char *kEnglish = "/usr/share/festival/dicts/cmu/cmudict-0.4.out";
constexpr const char *kFrench = "/usr/share/dict/french";
constexpr const char *kGerman = "/usr/share/dict/ngerman";
constexpr const char *kCdb = "/usr/bin/cdb";

size_t HeapBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

bool Readable(const char *path) {
  return access(path, R_OK) == 0;
}

struct Record {
  std::string key, data;
};

// ("word" pos (((k eh m) 1) ((b ax l) 0))) gives the key word and the data //k eh m1//b ax l0.
bool Pronunciation(const std::string &line, Record *record) {
  if (line.size() < 4 || line[0] != '(' || line[1] != '"') return false;
  const size_t close = line.find('"', 2);
  if (close == std::string::npos) return false;
  record->key = line.substr(2, close - 2);
  record->data.clear();
  // Each syllable is "((phones) stress)".
  for (size_t at = line.find("((", close); at != std::string::npos; at = line.find("((", at)) {
    at += 2;
    while (at < line.size() && line[at] == '(')
      ++at;
    const size_t phonesEnd = line.find(')', at);
    const size_t stressEnd = line.find(')', phonesEnd + 1);
    if (phonesEnd == std::string::npos || stressEnd == std::string::npos) return false;
    record->data += "//" + line.substr(at, phonesEnd - at);
    for (size_t i = phonesEnd + 1; i < stressEnd; ++i)
      if (line[i] != ' ') record->data += line[i];
    at = stressEnd;
  }
  return !record->key.empty() && !record->data.empty();
}

std::string Capitals(const std::string &word) {
  std::string out = word;
  for (char &c : out)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return out;
}

struct Section {
  const char *language;
  const char *content;
  const char *representation;
  std::vector<Record> records;
};

// The three sections, or an empty list when a word list is missing.
std::vector<Section> Sections() {
  std::vector<Section> sections;
  if (!Readable(kEnglish) || !Readable(kFrench) || !Readable(kGerman)) return sections;
  sections.push_back({"en-US", "EDCT_CONTENT_BROAD_NARROWS", "EDCT_REPR_SZZ_STRING", {}});
  std::ifstream english(kEnglish);
  Record record;
  for (std::string line; std::getline(english, line);)
    if (Pronunciation(line, &record)) sections.back().records.push_back(record);
  for (const auto &[path, language] : {std::pair{kFrench, "fr-FR"}, std::pair{kGerman, "de-DE"}}) {
    sections.push_back({language, "EDCT_CONTENT_ORTHOGRAPHIC", "EDCT_REPR_SZ_STRING", {}});
    std::ifstream words(path);
    for (std::string line; std::getline(words, line);)
      if (!line.empty()) sections.back().records.push_back({line, Capitals(line)});
  }
  return sections;
}

// The lexicon as a text stream, its records in cdb's input format, and where they lie.
struct Files {
  std::string text, records, image, database;
  size_t textBytes = 0;
  size_t entries = 0;
  std::string missing;  // why the benchmarks cannot run, if they cannot

  Files() {
    const std::vector<Section> sections = Sections();
    if (sections.empty()) {
      missing = "the word lists are missing (Debian: wfrench, wngerman, festlex-cmu)";
      return;
    }
    if (!Readable(kCdb)) missing = "cdb is missing (Debian: tinycdb)";
    std::string stream =
        "[Header]\nName = Lexicon\nDescription = English pronunciations, French and German "
        "spellings\n";
    std::string cdb;
    for (const Section &section : sections) {
      stream += std::string("\n[SubHeader]\nLanguage = ") + section.language +
                "\nContent = " + section.content + "\nRepresentation = " + section.representation +
                "\n\n[Data]\n";
      for (const Record &record : section.records) {
        stream += record.key + '\t' + record.data + '\n';
        cdb += '+' + std::to_string(record.key.size()) + ',' + std::to_string(record.data.size()) +
               ':' + record.key + "->" + record.data + '\n';
        ++entries;
      }
    }
    cdb += '\n';
    const std::string base = "/tmp/lexicon_bench_" + std::to_string(getpid());
    text = base + ".txt";
    records = base + ".cdbin";
    image = base + ".img";
    database = base + ".cdb";
    std::ofstream(text, std::ios::binary) << stream;
    std::ofstream(records, std::ios::binary) << cdb;
    textBytes = stream.size();
  }
  ~Files() {
    for (const std::string *path : {&text, &records, &image, &database})
      if (!path->empty()) std::remove(path->c_str());
  }
};

const Files &Lexicon() {
  static const Files files;
  return files;
}

uint32_t ReadFile(void *user, void *buffer, uint32_t *count) {
  *count = static_cast<uint32_t>(std::fread(buffer, 1, *count, static_cast<std::FILE *>(user)));
  return 0;
}

// The text file to the image file through the public API; the heap held at the fullest.
bool Compile(const Files &files, size_t *peak) {
  const size_t before = HeapBytes();
  SafeHandle dictionary;
  if (edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, &dictionary))
    return false;
  std::FILE *in = std::fopen(files.text.c_str(), "rb");
  bool ok = in && edct_DctReadStream(dictionary, ReadFile, EDCT_FORMAT_UTF8, in) == 0;
  if (in) std::fclose(in);
  uint32_t size = 0;
  ok = ok && edct_DctArchive(dictionary, nullptr, &size, 0) == 0;
  void *image = ok ? std::malloc(size) : nullptr;
  ok = ok && image && edct_DctArchive(dictionary, image, &size, 0) == 0;
  *peak = HeapBytes() - before;
  if (ok) {
    std::FILE *out = std::fopen(files.image.c_str(), "wb");
    ok = out && std::fwrite(image, 1, size, out) == size;
    if (out) ok = std::fclose(out) == 0 && ok;
  }
  std::free(image);
  edct_DctClose(dictionary);
  return ok;
}

void BM_LexiconCompile(benchmark::State &state) {
  const Files &files = Lexicon();
  if (files.text.empty()) return state.SkipWithError(files.missing.c_str());
  size_t peak = 0;
  for (auto _ : state)
    if (!Compile(files, &peak)) return state.SkipWithError("compiling the lexicon failed");
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * files.textBytes));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * files.entries));
  state.counters["peak_bytes"] = static_cast<double>(peak);
  state.counters["peak_per_text"] = static_cast<double>(peak) / files.textBytes;
}
BENCHMARK(BM_LexiconCompile)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3);

// cdb -c database records, as a shell would run it.
void BM_CdbCreate(benchmark::State &state) {
  const Files &files = Lexicon();
  if (!files.missing.empty()) return state.SkipWithError(files.missing.c_str());
  const std::string temporary = files.database + ".tmp";
  char *const argv[] = {const_cast<char *>(kCdb),
                        const_cast<char *>("-c"),
                        const_cast<char *>("-t"),
                        const_cast<char *>(temporary.c_str()),
                        const_cast<char *>(files.database.c_str()),
                        const_cast<char *>(files.records.c_str()),
                        nullptr};
  for (auto _ : state) {
    pid_t child;
    int status = 0;
    if (posix_spawn(&child, kCdb, nullptr, nullptr, argv, environ) != 0 ||
        waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
      return state.SkipWithError("cdb -c failed");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * files.textBytes));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * files.entries));
}
BENCHMARK(BM_CdbCreate)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3);

}  // namespace
