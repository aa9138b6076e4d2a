/* An engine module with interfaces 1 and 2, and the entry point of add-ons that live in the
 * engine's library (declared inline in the engine header, or with DLL "ENGINE"). */
#define COMPONENT_NAME "engine"
#include "component.h"

static int g_state = 7;
static const char g_interface1[] = "engine interface 1";
static const char g_interface2[] = "engine interface 2";
static const char g_part5[] = "part interface 5";

/* When the engine header has a REENTER tag naming a data block, the initialiser opens and
 * closes that block through the object it was given: the broker holds its lock while it runs
 * the initialiser, so this only returns when the lock is re-entrant. */
static void Reenter(BrkObject *object) {
  const char16_t *target = NULL;
  if (!brk_TagQuery || brk_TagQuery(object, "test/engine", "REENTER", &target) != 0) return;
  char name[64];
  size_t i = 0;
  for (; target[i] && i + 1 < sizeof name; ++i)
    name[i] = (char)target[i];
  name[i] = 0;
  BrkData *data = NULL;
  uint32_t size = 0;
  VQRESULT result = brk_DataOpen(object, name, &data);
  if (result == 0) result = brk_DataSizeQuery(object, data, &size);
  if (data) brk_DataClose(object, data);
  if (result == 0)
    Recordf("reenter size %lu", size);
  else
    Recordf("reenter failed %lx", result);
}

static VQRESULT EngineInit(BrkObject *object, HeapInstance heap, SafeHandle *instance) {
  (void)heap;
  Record("init");
  instance->pointer = &g_state;
  instance->check = 0xE1;
  Reenter(object);
  return 0;
}

static VQRESULT EngineFinal(SafeHandle instance) {
  Recordf("fini %lx", instance.check);
  return 0;
}

static BrkModuleTable g_engineTable = {NULL, NULL, EngineInit, EngineFinal};

VQRESULT EngineGetInterface(uint32_t id, void **out) {
  Recordf("entry %lu", id);
  switch (id) {
    case 0:
      *out = &g_engineTable;
      return 0;
    case 1:
      *out = (void *)g_interface1;
      return 0;
    case 2:
      *out = (void *)g_interface2;
      return 0;
    default:
      return REFUSED;
  }
}

static VQRESULT PartInit(BrkObject *object, HeapInstance heap, SafeHandle *instance) {
  (void)object;
  (void)heap;
  Record("part init");
  instance->check = 0xA5;
  return 0;
}

static VQRESULT PartFinal(SafeHandle instance) {
  Recordf("part fini %lx", instance.check);
  return 0;
}

static BrkModuleTable g_partTable = {NULL, NULL, PartInit, PartFinal};

VQRESULT PartGetInterface(uint32_t id, void **out) {
  Recordf("part entry %lu", id);
  switch (id) {
    case 0:
      *out = &g_partTable;
      return 0;
    case 5:
      *out = (void *)g_part5;
      return 0;
    default:
      return REFUSED;
  }
}
