// Mapped inputs, the standard input and output, and whole-file writes.
#include "tools/files.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>

#include "tools/cli.h"

namespace cli {

InputFile::InputFile(const std::string &path) : path_(path) {
  if (path == "-") {
    copy_.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
    data_ = copy_.data();
    size_ = copy_.size();
    return;
  }
  const int fd = open(path.c_str(), O_RDONLY);
  if (fd < 0) throw Failure(path + ": cannot open: " + std::strerror(errno));
  struct stat info;
  int error = fstat(fd, &info) == 0 ? 0 : errno;
  if (!error && S_ISDIR(info.st_mode)) error = EISDIR;
  if (!error && info.st_size > 0) {
    void *data = mmap(nullptr, static_cast<size_t>(info.st_size), PROT_READ, MAP_PRIVATE, fd, 0);
    if (data == MAP_FAILED) {
      error = errno;
    } else {
      data_ = data;
      size_ = static_cast<size_t>(info.st_size);
      mapped_ = true;
    }
  }
  close(fd);
  if (error) throw Failure(path + ": cannot open: " + std::strerror(error));
}

InputFile::~InputFile() {
  if (mapped_) munmap(data_, size_);
}

uint32_t InputFile::Word(size_t at) const {
  uint32_t word = 0;
  if (size_ >= at + 4) std::memcpy(&word, data() + at, 4);
  return word;
}

void WriteOutput(const std::string &path, std::string_view bytes) {
  Doing("writing", path == "-" ? "the standard output" : path);
  if (path == "-") {
    std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!std::cout.flush()) throw Failure("standard output: write failed");
    return;
  }
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) throw Failure(path + ": cannot write: " + std::strerror(errno));
}

bool HasExtension(const std::string &path, std::string_view extension) {
  if (path.size() < extension.size()) return false;
  for (size_t i = 0; i < extension.size(); ++i) {
    char c = path[path.size() - extension.size() + i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != extension[i]) return false;
  }
  return true;
}

}  // namespace cli
