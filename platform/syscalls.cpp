#include "platform/syscalls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdio>

namespace sc::plat {
namespace {

FILE *AsStdio(File *file) {
  return reinterpret_cast<FILE *>(file);
}

File *RealOpen(const char *path, const char *mode) {
  return reinterpret_cast<File *>(std::fopen(path, mode));
}
int RealClose(File *file) {
  return std::fclose(AsStdio(file));
}
int RealSeek(File *file, int64_t offset, int whence) {
  return fseeko(AsStdio(file), static_cast<off_t>(offset),
                whence == kSeekEnd ? SEEK_END : SEEK_SET);
}
int64_t RealTell(File *file) {
  return ftello(AsStdio(file));
}
size_t RealRead(void *buffer, size_t size, File *file) {
  return std::fread(buffer, 1, size, AsStdio(file));
}
int RealError(File *file) {
  return std::ferror(AsStdio(file));
}
size_t RealWrite(const void *bytes, size_t size, File *file) {
  return std::fwrite(bytes, 1, size, AsStdio(file));
}

Directory *RealOpenDir(const char *path) {
  return reinterpret_cast<Directory *>(opendir(path));
}
const char *RealReadDir(Directory *directory, EntryKind *kind) {
  const dirent *entry = readdir(reinterpret_cast<DIR *>(directory));
  if (!entry) return nullptr;
  switch (entry->d_type) {
    case DT_DIR:
      *kind = EntryKind::kDirectory;
      break;
    case DT_UNKNOWN:
    case DT_LNK:
      *kind = EntryKind::kUnknown;
      break;
    default:
      *kind = EntryKind::kOther;
  }
  return entry->d_name;
}
int RealCloseDir(Directory *directory) {
  return closedir(reinterpret_cast<DIR *>(directory));
}
int RealStat(const char *path, EntryKind *kind) {
  struct stat status;
  if (::stat(path, &status) != 0) return -1;
  *kind = S_ISDIR(status.st_mode) ? EntryKind::kDirectory : EntryKind::kOther;
  return 0;
}
Library *RealDlopen(const char *path) {
  return static_cast<Library *>(dlopen(path, RTLD_NOW | RTLD_LOCAL));
}
void *RealDlsym(Library *library, const char *name) {
  return dlsym(library, name);
}
int RealDlclose(Library *library) {
  return dlclose(library);
}
const char *RealDlerror() {
  return dlerror();
}

constexpr Syscalls kReal{RealOpen,  RealClose,  RealSeek,    RealTell,    RealRead,
                         RealError, RealWrite,  RealOpenDir, RealReadDir, RealCloseDir,
                         RealStat,  RealDlopen, RealDlsym,   RealDlclose, RealDlerror};

std::atomic<const Syscalls *> g_current{&kReal};

}  // namespace

const Syscalls &DefaultSyscalls() {
  return kReal;
}

const Syscalls &CurrentSyscalls() {
  return *g_current.load(std::memory_order_acquire);
}

void SetSyscalls(const Syscalls *table) {
  g_current.store(table ? table : &kReal, std::memory_order_release);
}

}  // namespace sc::plat
