#include "platform/process.h"

#include <stdio.h>
#include <stdlib.h>

namespace sc::plat {

void StandardOutput(const char *bytes, size_t length) {
  fwrite(bytes, 1, length, stdout);
  fflush(stdout);
}

void ExitProcess(int status) {
  exit(status);
}

}  // namespace sc::plat
