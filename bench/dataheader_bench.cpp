// Reading a data header file with 10,000 tags and mapping its 1 MB data block in small
// windows, against reading the same file into memory with plain fread (the limit).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "sc_hdrpars.h"

namespace {

constexpr size_t kBlockSize = 1 << 20;
constexpr int32_t kWindow = 4096;

std::string Le(const std::string &ascii) {
  std::string bytes;
  for (char c : ascii) {
    bytes.push_back(c);
    bytes.push_back('\0');
  }
  return bytes;
}

struct TestFile {
  std::string path;
  size_t blockStart = 0;

  TestFile() {
    path = (std::filesystem::temp_directory_path() / "sc_dataheader_bench.hdr").string();
    // 2,000 elements with 4 children each, and a DATABLOCK with 3: 10,004 tags.
    std::string text = "<VQS>\r\n<VERSION>VQ_1.0</VERSION>\r\n<HEADER>\r\n";
    for (int i = 0; i < 2000; ++i) {
      const std::string n = std::to_string(i);
      text += "  <ENTRY" + n + ">\r\n    <NAME>component " + n +
              "</NAME>\r\n    <LANGUAGE>en-US</LANGUAGE>\r\n    <PRIORITY>" + n +
              "</PRIORITY>\r\n    <NOTE>a value of moderate length for entry " + n +
              "</NOTE>\r\n  </ENTRY" + n + ">\r\n";
    }
    text +=
        "  <DATABLOCK>\r\n    <BROKERSTRING>data</BROKERSTRING>\r\n    <OFFSET>           "
        "0</OFFSET>\r\n    <SIZE>     1048576</SIZE>\r\n  </DATABLOCK>\r\n</HEADER>\r\n"
        "<BINARYDATA>";
    std::string bytes = "\xFF\xFE" + Le(text);
    blockStart = bytes.size();
    for (size_t i = 0; i < kBlockSize; ++i)
      bytes.push_back(static_cast<char>(i * 131 % 256));
    bytes += Le("</BINARYDATA>\r\n</VQS>");
    FILE *file = std::fopen(path.c_str(), "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
  }
  ~TestFile() { std::filesystem::remove(path); }
};

const TestFile &File() {
  static const TestFile file;
  return file;
}

// Reads every byte, eight at a time; one routine for the library's windows and the peer's
// whole block, so that neither gains from how the compiler treats its call site.
[[gnu::noinline]] uint64_t Sum(const void *data, size_t size) {
  const auto *bytes = static_cast<const unsigned char *>(data);
  uint64_t sum = 0;
  size_t i = 0;
  for (; i + 8 <= size; i += 8) {
    uint64_t word;
    std::memcpy(&word, bytes + i, sizeof word);
    sum += word;
  }
  for (; i < size; ++i)
    sum += bytes[i];
  return sum;
}

void BM_Library_ReadHeaderAndMapBlock(benchmark::State &state) {
  const TestFile &file = File();
  for (auto _ : state) {
    FileStructure *structure = nullptr;
    if (hdrpars_ReadFileHeader(file.path.c_str(), &structure)) state.SkipWithError("read");
    DataBlock *block = nullptr;
    if (hdrpars_OpenData(u"data", structure, &block)) state.SkipWithError("open");
    uint64_t sum = 0;
    for (uint32_t offset = 0; offset < block->size; offset += kWindow) {
      const void *data = nullptr;
      uint32_t available = 0;
      hdrpars_DataMap(block->source, offset, kWindow, &data, &available);
      sum += Sum(data, available);
      hdrpars_DataUnMap(block->source, data);
    }
    benchmark::DoNotOptimize(sum);
    hdrpars_DeleteFileStructure(structure);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) *
                          int64_t(std::filesystem::file_size(file.path)));
}

void BM_Peer_FreadWholeFile(benchmark::State &state) {
  const TestFile &file = File();
  for (auto _ : state) {
    FILE *in = std::fopen(file.path.c_str(), "rb");
    std::fseek(in, 0, SEEK_END);
    std::vector<char> bytes(static_cast<size_t>(std::ftell(in)));
    std::fseek(in, 0, SEEK_SET);
    if (std::fread(bytes.data(), 1, bytes.size(), in) != bytes.size()) state.SkipWithError("read");
    std::fclose(in);
    benchmark::DoNotOptimize(Sum(bytes.data() + file.blockStart, kBlockSize));
  }
  state.SetBytesProcessed(int64_t(state.iterations()) *
                          int64_t(std::filesystem::file_size(file.path)));
}

// The header alone, to show where the library's time goes.
void BM_Library_ReadHeaderOnly(benchmark::State &state) {
  const TestFile &file = File();
  for (auto _ : state) {
    FileStructure *structure = nullptr;
    if (hdrpars_ReadFileHeader(file.path.c_str(), &structure)) state.SkipWithError("read");
    hdrpars_DeleteFileStructure(structure);
  }
}

BENCHMARK(BM_Library_ReadHeaderAndMapBlock)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Peer_FreadWholeFile)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Library_ReadHeaderOnly)->Unit(benchmark::kMillisecond);

}  // namespace
