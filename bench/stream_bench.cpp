// Reading and writing a 1,000,000-entry UTF-8 lexicon (about 30 MB) as a dictionary text
// stream, beside what a user would write instead (std::getline into a std::map) and beside
// the bare scan for line ends (memchr) or the bare copy (memcpy), the limits.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "speechcommon.h"

namespace {

constexpr int kEntries = 1000000;
constexpr uint32_t kBlock = 1024;

std::string Letters(std::mt19937 &random, size_t length) {
  std::string text;
  for (size_t i = 0; i < length; ++i)
    text += static_cast<char>('a' + random() % 26);
  return text;
}

// One orthographic section; keys unique, data words with an occasional blank or accent.
std::string Lexicon(bool sorted) {
  std::mt19937 random(20240601);
  std::vector<std::pair<std::string, std::string>> lines;
  lines.reserve(kEntries);
  for (int i = 0; i < kEntries; ++i) {
    std::string key = Letters(random, 4 + random() % 5);
    for (int n = i, k = 0; k < 5; ++k, n /= 26)
      key += static_cast<char>('a' + n % 26);
    std::string data = Letters(random, 8 + random() % 10);
    if (random() % 2 == 0) data.append(" ").append(Letters(random, 5 + random() % 6));
    if (random() % 10 == 0) data += "\xC3\xA9";
    lines.emplace_back(std::move(key), std::move(data));
  }
  if (sorted)
    std::sort(lines.begin(), lines.end());
  else
    std::shuffle(lines.begin(), lines.end(), random);
  std::string text =
      "[Header]\nName = Benchmark lexicon\n\n[SubHeader]\nLanguage = en-US\n"
      "Content = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_SZ_STRING\n\n[Data]\n";
  for (const auto &[key, data] : lines)
    text += key + '\t' + data + '\n';
  return text;
}

const std::string &Text(bool sorted) {
  static const std::string shuffledText = Lexicon(false);
  static const std::string sortedText = Lexicon(true);
  return sorted ? sortedText : shuffledText;
}

struct Source {
  const std::string *text;
  size_t at = 0;
  static uint32_t Read(void *user, void *buffer, uint32_t *count) {
    auto *self = static_cast<Source *>(user);
    const size_t size = std::min<size_t>(*count, self->text->size() - self->at);
    std::memcpy(buffer, self->text->data() + self->at, size);
    self->at += size;
    *count = static_cast<uint32_t>(size);
    return 0;
  }
};

SafeHandle ReadDictionary(const std::string &text) {
  SafeHandle dictionary;
  edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, &dictionary);
  Source source{&text};
  if (edct_DctReadStream(dictionary, Source::Read, EDCT_FORMAT_UTF8, &source) != 0) std::abort();
  return dictionary;
}

void BM_ReadStream(benchmark::State &state) {
  const std::string &text = Text(state.range(0));
  for (auto _ : state) {
    SafeHandle dictionary = ReadDictionary(text);
    edct_DctClose(dictionary);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

// ---- What a user would write instead ---------------------------------------------------

std::u16string Utf16(const std::string &text) {
  std::u16string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const auto b = static_cast<unsigned char>(text[i]);
    if (b < 0x80) {
      out += b;
      i += 1;
    } else if (b < 0xE0) {
      out += static_cast<char16_t>((b & 0x1F) << 6 | (text[i + 1] & 0x3F));
      i += 2;
    } else {
      out += static_cast<char16_t>((b & 0x0F) << 12 | (text[i + 1] & 0x3F) << 6 |
                                   (text[i + 2] & 0x3F));
      i += 3;
    }
  }
  return out;
}

std::string Utf8(const std::u16string &text) {
  std::string out;
  for (char16_t u : text) {
    if (u < 0x80) {
      out += static_cast<char>(u);
    } else if (u < 0x800) {
      out += {static_cast<char>(0xC0 | u >> 6), static_cast<char>(0x80 | (u & 0x3F))};
    } else {
      out += {static_cast<char>(0xE0 | u >> 12), static_cast<char>(0x80 | ((u >> 6) & 0x3F)),
              static_cast<char>(0x80 | (u & 0x3F))};
    }
  }
  return out;
}

using Lines = std::map<std::u16string, std::vector<std::string>>;

Lines ParseWithGetline(const std::string &text) {
  Lines lexicon;
  std::istringstream in(text);
  std::string line;
  bool data = false;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!data) {
      data = line == "[Data]";
      continue;
    }
    const size_t split = line.find_first_of(" \t");
    if (split == std::string::npos) continue;
    lexicon[Utf16(line.substr(0, split))].push_back(line.substr(split + 1));
  }
  return lexicon;
}

void BM_GetlineMap(benchmark::State &state) {
  const std::string &text = Text(state.range(0));
  for (auto _ : state) {
    Lines lexicon = ParseWithGetline(text);
    benchmark::DoNotOptimize(lexicon.size());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_MemchrLineEnds(benchmark::State &state) {
  const std::string &text = Text(state.range(0));
  for (auto _ : state) {
    size_t lines = 0;
    for (const char *at = text.data(), *end = at + text.size();
         (at = static_cast<const char *>(std::memchr(at, '\n', end - at))); ++at)
      ++lines;
    benchmark::DoNotOptimize(lines);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

// ---- Writing -----------------------------------------------------------------------------

struct Sink {
  std::string bytes;
  static uint32_t Write(void *user, const void *buffer, uint32_t count) {
    static_cast<Sink *>(user)->bytes.append(static_cast<const char *>(buffer), count);
    return 0;
  }
};

void BM_WriteStream(benchmark::State &state) {
  SafeHandle dictionary = ReadDictionary(Text(false));
  Sink sink;
  sink.bytes.reserve(Text(false).size() * 2);
  for (auto _ : state) {
    sink.bytes.clear();
    edct_DctWriteStream(dictionary, Sink::Write, EDCT_FORMAT_UTF8, &sink);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * sink.bytes.size()));
  edct_DctClose(dictionary);
}

void BM_MapToStream(benchmark::State &state) {
  const Lines lexicon = ParseWithGetline(Text(false));
  size_t size = 0;
  for (auto _ : state) {
    std::ostringstream out;
    out << "[Header]\r\nName = Benchmark lexicon\r\n\r\n[SubHeader]\r\nLanguage = en-US\r\n"
           "Content = EDCT_CONTENT_ORTHOGRAPHIC\r\nRepresentation = EDCT_REPR_SZ_STRING\r\n\r\n"
           "[Data]\r\n";
    for (const auto &[key, data] : lexicon)
      for (const std::string &value : data)
        out << Utf8(key) << '\t' << value << "\r\n";
    size = out.str().size();
    benchmark::DoNotOptimize(size);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

void BM_MemcpyBlocks(benchmark::State &state) {
  const std::string &text = Text(false);
  Sink sink;
  sink.bytes.reserve(text.size());
  for (auto _ : state) {
    sink.bytes.clear();
    for (size_t at = 0; at < text.size(); at += kBlock)
      Sink::Write(&sink, text.data() + at,
                  static_cast<uint32_t>(std::min<size_t>(kBlock, text.size() - at)));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

// Argument 0: keys in shuffled order, 1: in sorted order.
BENCHMARK(BM_ReadStream)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(BM_GetlineMap)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(BM_MemchrLineEnds)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteStream)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(BM_MapToStream)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(BM_MemcpyBlocks)->Unit(benchmark::kMillisecond);

}  // namespace
