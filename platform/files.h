// Binary files named by 8-bit (UTF-8) paths. Every call goes through the replaceable system
// call table of syscalls.h. (Removing a file by name is FileDelete of textfile.h.)
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/syscalls.h"

namespace sc::plat {

// Null when the file cannot be opened.
File *FileOpenForRead(const char *path);
// Creates the file or empties an existing one; null when refused.
File *FileCreateForWrite(const char *path);
// False when the file cannot be positioned there.
bool FileSeek(File *file, uint64_t offset);
// Bytes read from the current position, fewer at the end of the file; -1 on a read error.
int64_t FileRead(File *file, void *buffer, size_t size);
// True when every byte was written.
bool FileWrite(File *file, const void *bytes, size_t size);
// The file's length in bytes, or -1. Leaves the position at the end.
int64_t FileSize(File *file);
// False when buffered bytes could not be written out; the file is closed either way.
bool FileClose(File *file);

}  // namespace sc::plat
