// Reading the process environment.
#pragma once

namespace sc::plat {

// The value of an environment variable, or null when it is not set. The text belongs to the
// environment: copy it before the variable may change.
const char *EnvironmentValue(const char *name);

}  // namespace sc::plat
