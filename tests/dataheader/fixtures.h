// Helpers of the data header tests: files made byte by byte and read, tag trees as short
// strings, and a system call table with chosen calls failing.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "foundation/alloc.h"
#include "platform/syscalls.h"
#include "sc_hdrpars.h"
#include "test_util.h"

namespace hdrtest {

// UTF-16 little-endian bytes of the text.
inline std::string Le(std::u16string_view text) {
  std::string bytes;
  for (char16_t c : text)
    bytes += {static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)};
  return bytes;
}

// A whole file: mark, "<VQS>", the version, HEADER around `body`, then `tail`.
inline std::string HeaderFile(std::u16string_view body, std::string_view tail = "") {
  return "\xFF\xFE" + Le(u"<VQS>\r\n<VERSION>VQ_1.0</VERSION>\r\n<HEADER>\r\n") + Le(body) +
         Le(u"</HEADER>") + std::string(tail);
}

// The bytes written as a file in `dir` and read; null (and a test failure) when reading fails.
inline FileStructure *ReadHeader(const sctest::TempDir &dir, std::string_view bytes,
                                 const std::string &name = "h") {
  FileStructure *structure = nullptr;
  EXPECT_EQ(hdrpars_ReadFileHeader(dir.Write(name, bytes).c_str(), &structure), 0u);
  return structure;
}

inline std::string Ascii(const char16_t *text) {
  std::string out;
  for (; text && *text; ++text)
    out += *text < 0x80 ? static_cast<char>(*text) : '?';
  return out;
}

// "P{X=1;Y=2};A=v": names, leaf values, children in braces.
inline std::string Describe(const Tag *tag) {
  std::string out;
  for (; tag; tag = tag->next) {
    if (!out.empty()) out += ';';
    out += Ascii(tag->name);
    if (tag->children)
      out.append("{").append(Describe(tag->children)).append("}");
    else
      out.append("=").append(Ascii(tag->value));
  }
  return out;
}

// Maps a range of the resource and gives it back at once: the bytes, or "<null>".
inline std::string MapOnce(ParserResource *source, uint32_t offset, int32_t length) {
  const void *data = nullptr;
  uint32_t available = 0;
  EXPECT_EQ(hdrpars_DataMap(source, offset, length, &data, &available), 0u);
  EXPECT_EQ(hdrpars_DataUnMap(source, data), 0u);
  return data ? std::string(static_cast<const char *>(data), available) : "<null>";
}

// A copy of the real system call table, in use for the object's lifetime; the test changes
// the entries it wants to fail.
class FaultySyscalls {
 public:
  FaultySyscalls() : table_(sc::plat::DefaultSyscalls()) { sc::plat::SetSyscalls(&table_); }
  ~FaultySyscalls() { sc::plat::SetSyscalls(nullptr); }
  sc::plat::Syscalls &Table() { return table_; }
  // Reads that fail with an error.
  void FailReads() {
    table_.read = [](void *, size_t, sc::plat::File *) -> size_t { return 0; };
    table_.error = [](sc::plat::File *) { return 1; };
  }

 private:
  sc::plat::Syscalls table_;
};

}  // namespace hdrtest
