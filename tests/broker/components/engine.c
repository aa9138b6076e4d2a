/* An engine module with interfaces 1 and 2, and the entry point of the add-ons that live in
 * the engine's library (inline ones and those with DLL "ENGINE"), with interface 5. */

#include "component.h"

static int g_state;

/* With a REENTER tag naming a data block in the engine header, the initialiser opens and
 * closes that block through its object: the broker holds its lock while the initialiser runs,
 * so this returns only when the lock is re-entrant. */
static void Reenter(BrkObject *object) {
  const char16_t *target = NULL;
  char name[64];
  size_t i = 0;
  BrkData *data = NULL;
  uint32_t size = 0;
  if (!brk_TagQuery || brk_TagQuery(object, "test/engine", "REENTER", &target) != 0) return;
  for (; target[i] && i + 1 < sizeof name; ++i)
    name[i] = (char)target[i];
  name[i] = 0;
  if (brk_DataOpen(object, name, &data) == 0 && brk_DataSizeQuery(object, data, &size) == 0)
    Record("reenter size %lu", size);
  if (data) brk_DataClose(object, data);
}

static VQRESULT EngineInit(BrkObject *object, HeapInstance heap, SafeHandle *instance) {
  (void)heap;
  Record("init", 0);
  instance->pointer = &g_state;
  instance->check = 0xE1;
  Reenter(object);
  return 0;
}

static VQRESULT PartInit(BrkObject *object, HeapInstance heap, SafeHandle *instance) {
  (void)object;
  (void)heap;
  Record("part init", 0);
  instance->check = 0xA5;
  return 0;
}

static VQRESULT EngineFinal(SafeHandle instance) {
  Record(instance.check == 0xE1 ? "fini %lx" : "part fini %lx", instance.check);
  return 0;
}

static BrkModuleTable g_engineTable = {NULL, NULL, EngineInit, EngineFinal};
static BrkModuleTable g_partTable = {NULL, NULL, PartInit, EngineFinal};

VQRESULT EngineGetInterface(uint32_t id, void **out) {
  static const char *const interfaces[] = {"engine interface 1", "engine interface 2"};
  Record("entry %lu", id);
  if (id > 2) return REFUSED;
  *out = id == 0 ? (void *)&g_engineTable : (void *)interfaces[id - 1];
  return 0;
}

VQRESULT PartGetInterface(uint32_t id, void **out) {
  Record("part entry %lu", id);
  if (id != 0 && id != 5) return REFUSED;
  *out = id == 0 ? (void *)&g_partTable : (void *)"part interface 5";
  return 0;
}
