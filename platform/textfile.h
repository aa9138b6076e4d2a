// Buffered text files for logs and debug data files. Text and binary are the same here.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sc::plat {

struct TextFile;

enum class TextFileMode {
  kRead,       // an existing file, from its start
  kWrite,      // created, or truncated when it exists
  kReadWrite,  // created or truncated, and readable too
};

// Null when the file cannot be opened.
TextFile *TextFileOpen(const char *path, TextFileMode mode);
void TextFileClose(TextFile *file);

// Writes into the file's buffer; false when the system refused.
bool TextFileWrite(TextFile *file, const char *bytes, size_t length);
// Hands the buffer to the system.
bool TextFileFlush(TextFile *file);
// Writes and flushes as one step, so lines from several threads never mix.
bool TextFileWriteFlushed(TextFile *file, const char *bytes, size_t length);

inline constexpr int kTextFileEnd = -1;
// The next byte (0 to 255), or kTextFileEnd at the end of the file or on an error.
int TextFileReadChar(TextFile *file);

// The current position in bytes from the start.
int64_t TextFilePosition(TextFile *file);

// Removes a file by name; false when the system refused.
bool FileDelete(const char *path);

}  // namespace sc::plat
