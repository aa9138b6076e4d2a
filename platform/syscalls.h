// The system calls behind files, directories and loadable modules, kept in one replaceable
// table so that tests can make any of them fail (a refused open, a read error, a full disk, a
// directory that cannot be listed, a module that will not load) without root or a broken disk.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sc::plat {

// An open file, an open directory listing, a loaded module. What each is depends on the table
// that opened it.
struct File;
struct Directory;
struct Library;

// What a directory entry is, as far as the listing or stat can tell.
enum class EntryKind : int { kUnknown = 0, kDirectory = 1, kOther = 2 };

// Which directory a listing reads, whatever path led to it.
struct DirectoryIdentity {
  uint64_t device;
  uint64_t inode;
};

inline constexpr int kSeekStart = 0;
inline constexpr int kSeekEnd = 2;

struct Syscalls {
  // Like fopen: null when refused. For reading ("r" modes) only a regular file is opened,
  // without waiting: a FIFO, a device or a directory is refused.
  File *(*open)(const char *path, const char *mode);
  int (*close)(File *file);                               // like fclose: 0 when all was flushed
  int (*seek)(File *file, int64_t offset, int whence);    // like fseeko: 0 on success
  int64_t (*tell)(File *file);                            // like ftello: -1 on failure
  size_t (*read)(void *buffer, size_t size, File *file);  // like fread of single bytes
  int (*error)(File *file);                               // like ferror: non-zero after a failure
  size_t (*write)(const void *bytes, size_t size, File *file);  // like fwrite of single bytes

  Directory *(*opendir)(const char *path);  // like opendir: null when refused
  // Like readdir: the next entry's name (valid until the next call) and its kind (kUnknown
  // when the listing cannot tell, links included); null at the end or on a failure.
  const char *(*readdir)(Directory *directory, EntryKind *kind);
  int (*closedir)(Directory *directory);               // like closedir: 0 on success
  int (*stat)(const char *path, EntryKind *kind);      // like stat, links followed: 0 on success
  Library *(*dlopen)(const char *path);                // like dlopen(path, RTLD_NOW | RTLD_LOCAL)
  void *(*dlsym)(Library *library, const char *name);  // like dlsym: null when not found
  int (*dlclose)(Library *library);                    // like dlclose: 0 on success
  const char *(*dlerror)();  // like dlerror: the last failure's text, or null
  // Like fstat of the listing's descriptor: 0 with the identity of the directory it reads.
  int (*identify)(Directory *directory, DirectoryIdentity *identity);
};

// The table of the real calls.
const Syscalls &DefaultSyscalls();
// The table in use now.
const Syscalls &CurrentSyscalls();
// Puts `table` in use; null puts the real calls back. The table must outlive its use.
void SetSyscalls(const Syscalls *table);

}  // namespace sc::plat
