/* A module that exports no entry point of the name its header gives. */
#define COMPONENT_NAME "noentry"
#include "component.h"

int SomethingElse(void) {
  return 1;
}
