/* An add-on in a module of its own, with interfaces 3 to 5; it refuses every other id. Bare
 * serves any id from a table without initialiser and finaliser. */

#include "component.h"

static const char g_interfaces[3][16] = {"addon iface 3", "addon iface 4", "addon iface 5"};

static VQRESULT AddonInit(BrkObject *object, HeapInstance heap, SafeHandle *instance) {
  (void)object;
  (void)heap;
  Record("init", 0);
  instance->check = 0xAD;
  return 0;
}

static VQRESULT AddonFinal(SafeHandle instance) {
  Record("fini %lx", instance.check);
  return 0;
}

static BrkModuleTable g_table = {NULL, NULL, AddonInit, AddonFinal};
static BrkModuleTable g_bareTable = {NULL, NULL, NULL, NULL};

VQRESULT AddonGetInterface(uint32_t id, void **out) {
  Record("entry %lu", id);
  if (id != 0 && (id < 3 || id > 5)) return REFUSED;
  *out = id == 0 ? (void *)&g_table : (void *)g_interfaces[id - 3];
  return 0;
}

VQRESULT BareGetInterface(uint32_t id, void **out) {
  *out = id == 0 ? (void *)&g_bareTable : (void *)g_interfaces[0];
  return 0;
}
