#include "platform/textfile.h"

#include <stdio.h>

namespace sc::plat {
namespace {

// A TextFile is the C library's FILE under another name.
FILE *Native(TextFile *file) {
  return reinterpret_cast<FILE *>(file);
}

}  // namespace

TextFile *TextFileOpen(const char *path, TextFileMode mode) {
  if (!path || !*path) return nullptr;
  const char *how = mode == TextFileMode::kRead    ? "re"
                    : mode == TextFileMode::kWrite ? "we"
                                                   : "w+e";
  return reinterpret_cast<TextFile *>(fopen(path, how));
}

void TextFileClose(TextFile *file) {
  if (file) fclose(Native(file));
}

bool TextFileWrite(TextFile *file, const char *bytes, size_t length) {
  return length == 0 || fwrite(bytes, 1, length, Native(file)) == length;
}

bool TextFileFlush(TextFile *file) {
  return fflush(Native(file)) == 0;
}

bool TextFileWriteFlushed(TextFile *file, const char *bytes, size_t length) {
  FILE *native = Native(file);
  flockfile(native);
  const bool ok = (length == 0 || fwrite_unlocked(bytes, 1, length, native) == length) &&
                  fflush_unlocked(native) == 0;
  funlockfile(native);
  return ok;
}

int TextFileReadChar(TextFile *file) {
  const int c = getc(Native(file));
  return c == EOF ? kTextFileEnd : c;
}

int64_t TextFilePosition(TextFile *file) {
  return static_cast<int64_t>(ftello(Native(file)));
}

bool FileDelete(const char *path) {
  return path && remove(path) == 0;
}

}  // namespace sc::plat
