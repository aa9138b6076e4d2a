// The system calls behind files, kept in one replaceable table so that tests can make any of
// them fail (a refused open, a read error, a full disk) without root or a broken disk.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sc::plat {

// An open file. What it is depends on the table that opened it.
struct File;

inline constexpr int kSeekStart = 0;
inline constexpr int kSeekEnd = 2;

struct Syscalls {
  File *(*open)(const char *path, const char *mode);      // like fopen: null when refused
  int (*close)(File *file);                               // like fclose: 0 when all was flushed
  int (*seek)(File *file, int64_t offset, int whence);    // like fseeko: 0 on success
  int64_t (*tell)(File *file);                            // like ftello: -1 on failure
  size_t (*read)(void *buffer, size_t size, File *file);  // like fread of single bytes
  int (*error)(File *file);                               // like ferror: non-zero after a failure
  size_t (*write)(const void *bytes, size_t size, File *file);  // like fwrite of single bytes
};

// The table of the real calls.
const Syscalls &DefaultSyscalls();
// The table in use now.
const Syscalls &CurrentSyscalls();
// Puts `table` in use; null puts the real calls back. The table must outlive its use.
void SetSyscalls(const Syscalls *table);

}  // namespace sc::plat
