// The probes answer from a snapshot of the process's memory map (/proc/self/maps). Each
// thread keeps its own copy of the newest snapshot, so a probe that hits is a binary search
// and a look at the coarse clock, without locks or system calls. A miss (a range the
// snapshot does not grant) re-reads the map once before refusing, so memory mapped after the
// snapshot is seen at once. Memory unmapped or re-protected after a snapshot cannot be seen
// in it, so a snapshot older than kMaxSnapshotAge is read again before it says yes: a range
// that has gone bad is refused at the latest that long after it went.
#include "platform/probe.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/lock.h"

namespace sc::plat {
namespace {

constexpr uint8_t kRead = 1;
constexpr uint8_t kWrite = 2;

struct Region {
  uintptr_t start;
  uintptr_t end;
  uint8_t perms;
};

struct RegionList {
  Region *items = nullptr;
  size_t count = 0;
  size_t capacity = 0;

  bool Reserve(size_t wanted) {
    if (wanted <= capacity) return true;
    size_t next = capacity ? capacity * 2 : 256;
    while (next < wanted)
      next *= 2;
    auto *grown = static_cast<Region *>(std::realloc(items, next * sizeof(Region)));
    if (!grown) return false;
    items = grown;
    capacity = next;
    return true;
  }
  bool Append(const Region &r) {
    // Neighbours with the same rights are merged: fewer regions, same answers.
    if (count && items[count - 1].end == r.start && items[count - 1].perms == r.perms) {
      items[count - 1].end = r.end;
      return true;
    }
    if (!Reserve(count + 1)) return false;
    items[count++] = r;
    return true;
  }
  bool CopyFrom(const RegionList &other) {
    if (!Reserve(other.count)) return false;
    if (other.count) std::memcpy(items, other.items, other.count * sizeof(Region));
    count = other.count;
    return true;
  }
  ~RegionList() { std::free(items); }
};

Mutex g_mutex;
RegionList g_global SC_GUARDED_BY(g_mutex);
std::atomic<uint64_t> g_generation{0};         // 0: no snapshot taken yet
int64_t g_takenAt SC_GUARDED_BY(g_mutex) = 0;  // when g_global was read, in ms

constexpr int64_t kMaxSnapshotAge = 20;  // milliseconds

int64_t NowMs() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

struct LocalCopy {
  RegionList list;
  uint64_t generation = 0;
  int64_t takenAt = 0;
};
thread_local LocalCopy t_local;

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Parses "start-end perms ..." at the beginning of one line of the map.
bool ParseLine(const char *line, size_t length, Region *out) {
  size_t i = 0;
  uintptr_t start = 0, end = 0;
  int digit;
  while (i < length && (digit = HexValue(line[i])) >= 0)
    start = start * 16 + digit, ++i;
  if (i >= length || line[i] != '-') return false;
  ++i;
  while (i < length && (digit = HexValue(line[i])) >= 0)
    end = end * 16 + digit, ++i;
  if (i + 3 > length || line[i] != ' ') return false;
  ++i;
  out->start = start;
  out->end = end;
  out->perms =
      static_cast<uint8_t>((line[i] == 'r' ? kRead : 0) | (line[i + 1] == 'w' ? kWrite : 0));
  return end > start;
}

// Re-reads the map into g_global.
bool RefreshGlobal() SC_REQUIRES(g_mutex) {
  const int fd = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  RegionList fresh;
  char buffer[8192];
  size_t held = 0;
  bool ok = true;
  for (;;) {
    const ssize_t got = read(fd, buffer + held, sizeof buffer - held);
    if (got < 0) {
      ok = false;
      break;
    }
    held += static_cast<size_t>(got);
    size_t begin = 0;
    for (size_t i = 0; i < held; ++i) {
      if (buffer[i] != '\n') continue;
      Region r;
      if (ParseLine(buffer + begin, i - begin, &r) && !fresh.Append(r)) ok = false;
      begin = i + 1;
    }
    std::memmove(buffer, buffer + begin, held - begin);
    held -= begin;
    if (got == 0 || !ok) break;
    if (held == sizeof buffer) held = 0;  // a line longer than the buffer: drop it
  }
  close(fd);
  if (!ok) return false;
  // Swap the fresh list in; the old storage goes with `fresh`.
  Region *items = g_global.items;
  const size_t capacity = g_global.capacity;
  g_global.items = fresh.items;
  g_global.count = fresh.count;
  g_global.capacity = fresh.capacity;
  fresh.items = items;
  fresh.capacity = capacity;
  g_takenAt = NowMs();
  g_generation.fetch_add(1, std::memory_order_release);
  return true;
}

enum class Reread {
  kNo,      // take the newest snapshot as it is
  kIfOld,   // read the map again unless the newest snapshot is young
  kAlways,  // read the map again (a miss: the range may have been mapped just now)
};

// Brings this thread's copy up to the newest snapshot, re-reading the map when asked.
bool SyncLocal(Reread reread) {
  MutexHold hold(g_mutex);
  bool ok = true;
  const bool old = NowMs() - g_takenAt > kMaxSnapshotAge;
  if (reread == Reread::kAlways || (reread == Reread::kIfOld && old) ||
      g_generation.load(std::memory_order_relaxed) == 0)
    ok = RefreshGlobal();
  if (ok) {
    ok = t_local.list.CopyFrom(g_global);
    t_local.generation = g_generation.load(std::memory_order_relaxed);
    t_local.takenAt = g_takenAt;
  }
  return ok;
}

// The index of the region that contains address, or count when none does.
size_t FindRegion(const RegionList &list, uintptr_t address) {
  size_t low = 0, high = list.count;
  while (low < high) {
    const size_t mid = low + (high - low) / 2;
    if (list.items[mid].end <= address)
      low = mid + 1;
    else
      high = mid;
  }
  if (low < list.count && list.items[low].start <= address) return low;
  return list.count;
}

bool Covered(const RegionList &list, uintptr_t begin, uintptr_t end, uint8_t perms) {
  size_t i = FindRegion(list, begin);
  uintptr_t reached = begin;
  while (i < list.count && list.items[i].start <= reached) {
    if ((list.items[i].perms & perms) != perms) return false;
    reached = list.items[i].end;
    if (reached >= end) return true;
    ++i;
  }
  return false;
}

bool Check(const void *pointer, size_t size, uint8_t perms) {
  if (!pointer) return false;
  if (size == 0) return true;
  const auto begin = reinterpret_cast<uintptr_t>(pointer);
  const uintptr_t end = begin + size;
  if (end < begin) return false;
  if (t_local.generation != g_generation.load(std::memory_order_acquire) || t_local.generation == 0)
    if (!SyncLocal(Reread::kNo)) return false;
  if (Covered(t_local.list, begin, end, perms)) {
    if (NowMs() - t_local.takenAt <= kMaxSnapshotAge) return true;
    if (!SyncLocal(Reread::kIfOld)) return false;
    if (Covered(t_local.list, begin, end, perms)) return true;
  }
  if (!SyncLocal(Reread::kAlways)) return false;
  return Covered(t_local.list, begin, end, perms);
}

// Scans a string in place, region by region of a freshly read map.
bool ReadStringDirectly(uintptr_t address, size_t left) {
  if (!SyncLocal(Reread::kAlways)) return false;
  while (left) {
    const size_t i = FindRegion(t_local.list, address);
    if (i == t_local.list.count || !(t_local.list.items[i].perms & kRead)) return false;
    const uintptr_t stop = t_local.list.items[i].end;
    const size_t span = stop - address < left ? stop - address : left;
    if (std::memchr(reinterpret_cast<const void *>(address), 0, span)) return true;
    left -= span;
    address = stop;
  }
  return true;
}

}  // namespace

bool CanRead(const void *pointer, size_t size) {
  return Check(pointer, size, kRead);
}

bool CanWrite(const void *pointer, size_t size) {
  return Check(pointer, size, kRead | kWrite);
}

// The string probe reads the bytes it looks at, so it copies them through the kernel, which
// refuses unreadable memory instead of faulting: a stale snapshot can never make it fault.
// Where the kernel does not allow that copy, it falls back to a fresh map and direct reads.
bool CanReadString(const char *string, size_t maxLength) {
  if (!string) return false;
  auto address = reinterpret_cast<uintptr_t>(string);
  size_t left = maxLength;
  const pid_t self = getpid();
  const uintptr_t pageSize = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  while (left) {
    char chunk[256];
    // A chunk never crosses a page, so a short copy can only mean an unreadable page.
    const uintptr_t pageLeft = pageSize - (address & (pageSize - 1));
    size_t size = left < sizeof chunk ? left : sizeof chunk;
    if (size > pageLeft) size = pageLeft;
    iovec local{chunk, size};
    iovec remote{reinterpret_cast<void *>(address), size};
    const ssize_t got = process_vm_readv(self, &local, 1, &remote, 1, 0);
    if (got < 0 && (errno == ENOSYS || errno == EPERM)) return ReadStringDirectly(address, left);
    if (got != static_cast<ssize_t>(size)) return false;
    if (std::memchr(chunk, 0, size)) return true;
    address += size;
    left -= size;
  }
  return true;
}

}  // namespace sc::plat
