#include "platform/files.h"

namespace sc::plat {

File *FileOpenForRead(const char *path) {
  return CurrentSyscalls().open(path, "rb");
}

File *FileCreateForWrite(const char *path) {
  return CurrentSyscalls().open(path, "wb");
}

bool FileSeek(File *file, uint64_t offset) {
  if (offset > static_cast<uint64_t>(INT64_MAX)) return false;
  return CurrentSyscalls().seek(file, static_cast<int64_t>(offset), kSeekStart) == 0;
}

int64_t FileRead(File *file, void *buffer, size_t size) {
  const Syscalls &calls = CurrentSyscalls();
  const size_t got = calls.read(buffer, size, file);
  if (got < size && calls.error(file)) return -1;
  return static_cast<int64_t>(got);
}

bool FileWrite(File *file, const void *bytes, size_t size) {
  return size == 0 || CurrentSyscalls().write(bytes, size, file) == size;
}

int64_t FileSize(File *file) {
  const Syscalls &calls = CurrentSyscalls();
  if (calls.seek(file, 0, kSeekEnd) != 0) return -1;
  return calls.tell(file);
}

bool FileClose(File *file) {
  return CurrentSyscalls().close(file) == 0;
}

}  // namespace sc::plat
