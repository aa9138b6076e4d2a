/* A module whose entry point refuses even the function table. */
#define COMPONENT_NAME "refuse"
#include "component.h"

VQRESULT RefuseGetInterface(uint32_t id, void **out) {
  (void)out;
  Recordf("entry %lu", id);
  return REFUSED;
}
