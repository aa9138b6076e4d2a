/* Modules that cannot serve, one per build of this file: REFUSE's entry point refuses even the
 * function table, BADINIT's initialiser fails (so its finaliser must never run), NOENTRY
 * exports no entry point of the name its header gives. */
#include "component.h"

#if defined(REFUSE)
VQRESULT RefuseGetInterface(uint32_t id, void **out) {
  (void)out;
  Record("entry %lu", id);
  return REFUSED;
}
#elif defined(BADINIT)
static VQRESULT BadInit(BrkObject *object, HeapInstance heap, SafeHandle *instance) {
  (void)object;
  (void)heap;
  (void)instance;
  Record("init", 0);
  return 0x80150186u;
}
static VQRESULT BadFinal(SafeHandle instance) {
  (void)instance;
  Record("fini", 0);
  return 0;
}
static BrkModuleTable g_table = {NULL, NULL, BadInit, BadFinal};
VQRESULT BadInitGetInterface(uint32_t id, void **out) {
  *out = id == 0 ? (void *)&g_table : NULL;
  return 0;
}
#else
int SomethingElse(void) {
  return 1;
}
#endif
