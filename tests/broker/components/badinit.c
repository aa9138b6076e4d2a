/* A module whose initialiser fails; its finaliser must then never run. */
#define COMPONENT_NAME "badinit"
#include "component.h"

static VQRESULT BadInit(BrkObject *object, HeapInstance heap, SafeHandle *instance) {
  (void)object;
  (void)heap;
  (void)instance;
  Record("init");
  return 0x80150186u;
}

static VQRESULT BadFinal(SafeHandle instance) {
  (void)instance;
  Record("fini");
  return 0;
}

static BrkModuleTable g_table = {NULL, NULL, BadInit, BadFinal};

VQRESULT BadInitGetInterface(uint32_t id, void **out) {
  *out = id == 0 ? (void *)&g_table : NULL;
  return 0;
}
