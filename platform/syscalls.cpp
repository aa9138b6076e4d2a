#include "platform/syscalls.h"

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

constexpr Syscalls kReal{RealOpen, RealClose, RealSeek, RealTell, RealRead, RealError, RealWrite};

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
