// A ring of waiting blocks, oldest first, each stamped with the number of openings when it
// came. The oldest leave when enough openings have passed or the ring holds too many bytes.
#include "foundation/quarantine.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>

#include "foundation/alloc.h"
#include "platform/lock.h"

namespace sc {
namespace {

struct Waiting {
  void *block;
  size_t bytes;
  uint64_t openedBefore;
};

plat::Mutex g_mutex;
Waiting *g_ring SC_GUARDED_BY(g_mutex) = nullptr;
size_t g_capacity SC_GUARDED_BY(g_mutex) = 0;
size_t g_first SC_GUARDED_BY(g_mutex) = 0;
size_t g_count SC_GUARDED_BY(g_mutex) = 0;
size_t g_bytes SC_GUARDED_BY(g_mutex) = 0;
std::atomic<uint64_t> g_openings{0};
// The opening count at which the oldest waiting block may leave; none waits: no limit.
std::atomic<uint64_t> g_nextDue{UINT64_MAX};

void ReleaseDue() SC_REQUIRES(g_mutex) {
  const uint64_t openings = g_openings.load(std::memory_order_relaxed);
  while (g_count) {
    const Waiting &oldest = g_ring[g_first];
    if (openings - oldest.openedBefore < kQuarantineOpenings && g_bytes <= kQuarantineBytes) break;
    std::free(oldest.block);
    g_bytes -= oldest.bytes;
    g_first = (g_first + 1) % g_capacity;
    --g_count;
  }
  g_nextDue.store(g_count ? g_ring[g_first].openedBefore + kQuarantineOpenings : UINT64_MAX,
                  std::memory_order_relaxed);
}

bool Reserve() SC_REQUIRES(g_mutex) {
  if (g_count < g_capacity) return true;
  const size_t capacity = g_capacity ? g_capacity * 2 : 256;
  auto *ring = static_cast<Waiting *>(std::malloc(capacity * sizeof(Waiting)));
  if (!ring) return false;
  for (size_t i = 0; i < g_count; ++i)
    ring[i] = g_ring[(g_first + i) % g_capacity];
  std::free(g_ring);
  g_ring = ring;
  g_capacity = capacity;
  g_first = 0;
  return true;
}

}  // namespace

void CountOpening() {
  const uint64_t openings = g_openings.fetch_add(1, std::memory_order_relaxed) + 1;
  if (openings < g_nextDue.load(std::memory_order_relaxed)) return;
  plat::MutexHold hold(g_mutex);
  ReleaseDue();
}

void Quarantine(void *block, size_t bytes) {
  if (!block) return;
  RawForget(block);
  plat::MutexHold hold(g_mutex);
  if (!Reserve()) {
    std::free(block);  // nowhere to wait: better freed now than kept for ever
    return;
  }
  g_ring[(g_first + g_count) % g_capacity] =
      Waiting{block, bytes, g_openings.load(std::memory_order_relaxed)};
  ++g_count;
  g_bytes += bytes;
  ReleaseDue();
}

}  // namespace sc
