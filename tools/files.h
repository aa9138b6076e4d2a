// Files as the tool reads and writes them; "-" is the standard input or output.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

// The bytes of a file, mapped read-only in place (so an archive image can be used where it
// lies), or read whole from the standard input for "-". Throws Failure when it cannot be read.
class InputFile {
 public:
  explicit InputFile(const std::string &path);
  ~InputFile();
  InputFile(const InputFile &) = delete;
  InputFile &operator=(const InputFile &) = delete;

  const std::string &path() const { return path_; }
  const unsigned char *data() const { return static_cast<const unsigned char *>(data_); }
  size_t size() const { return size_; }
  std::string_view bytes() const { return {static_cast<const char *>(data_), size_}; }
  // The 32-bit word at a byte offset in host order, 0 beyond the end.
  uint32_t Word(size_t at) const;

 private:
  std::string path_;
  void *data_ = nullptr;
  size_t size_ = 0;
  bool mapped_ = false;
  std::string copy_;  // what the standard input gave
};

// Writes the bytes to the file (replacing it) or, for "-", to the standard output. Throws
// Failure when that fails.
void WriteOutput(const std::string &path, std::string_view bytes);

// Whether the name ends in the extension, ignoring ASCII case (".txt").
bool HasExtension(const std::string &path, std::string_view extension);

}  // namespace cli
