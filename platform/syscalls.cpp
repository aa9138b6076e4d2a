#include "platform/syscalls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>

namespace sc::plat {
namespace {

FILE *AsStdio(File *file) {
  return reinterpret_cast<FILE *>(file);
}

bool IsRegular(const struct stat &status) {
  return S_ISREG(status.st_mode);
}

// Files opened for reading are regular files only. The path is asked first, so that nothing
// else (a device, whose opening may do something) is opened at all; the open does not wait
// (a FIFO put in place meanwhile would block it) and what it opened is asked again.
File *RealOpen(const char *path, const char *mode) {
  if (mode[0] != 'r') return reinterpret_cast<File *>(std::fopen(path, mode));
  struct stat status;
  if (::stat(path, &status) != 0) return nullptr;
  if (!IsRegular(status)) {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return nullptr;
  }
  const int fd = ::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) return nullptr;
  const int flags = fcntl(fd, F_GETFL);
  FILE *file = nullptr;
  if (fstat(fd, &status) == 0 && IsRegular(status) && flags >= 0 &&
      fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) == 0)
    file = fdopen(fd, mode);
  if (!file) {
    const int saved = errno;
    ::close(fd);
    errno = saved;
  }
  return reinterpret_cast<File *>(file);
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
int RealIdentify(Directory *directory, DirectoryIdentity *identity) {
  struct stat status;
  if (fstat(dirfd(reinterpret_cast<DIR *>(directory)), &status) != 0) return -1;
  *identity = {static_cast<uint64_t>(status.st_dev), static_cast<uint64_t>(status.st_ino)};
  return 0;
}

constexpr Syscalls kReal{RealOpen,  RealClose,   RealSeek,    RealTell,     RealRead, RealError,
                         RealWrite, RealOpenDir, RealReadDir, RealCloseDir, RealStat, RealDlopen,
                         RealDlsym, RealDlclose, RealDlerror, RealIdentify};

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
