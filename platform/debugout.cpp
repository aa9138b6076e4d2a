#include "platform/debugout.h"

#include <errno.h>
#include <unistd.h>

namespace sc::plat {

void DebugOutput(const char *bytes, size_t length) {
  while (length > 0) {
    const ssize_t written = write(STDERR_FILENO, bytes, length);
    if (written < 0) {
      if (errno == EINTR) continue;
      return;
    }
    bytes += written;
    length -= static_cast<size_t>(written);
  }
}

}  // namespace sc::plat
