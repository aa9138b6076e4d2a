#include "platform/clock.h"

#include <time.h>

namespace sc::plat {

uint32_t MillisecondsSinceBoot() {
  timespec now{};
  if (clock_gettime(CLOCK_BOOTTIME, &now) != 0) clock_gettime(CLOCK_MONOTONIC, &now);
  const uint64_t ms =
      static_cast<uint64_t>(now.tv_sec) * 1000u + static_cast<uint64_t>(now.tv_nsec) / 1000000u;
  return static_cast<uint32_t>(ms);
}

}  // namespace sc::plat
