#include "platform/console.h"

#include <cstdio>

namespace sc::plat {

bool StandardOutputWrite(const void *bytes, size_t size) {
  return size == 0 || std::fwrite(bytes, 1, size, stdout) == size;
}

void StandardOutputFlush() {
  std::fflush(stdout);
}

}  // namespace sc::plat
