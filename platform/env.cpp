#include "platform/env.h"

#include <cstdlib>

namespace sc::plat {

const char *EnvironmentValue(const char *name) {
  return name ? std::getenv(name) : nullptr;
}

}  // namespace sc::plat
