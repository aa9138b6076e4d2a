/* The component modules of the broker tests, one per build of this file. They report what
 * happens to them (loaded, initialised, asked for an interface, finalised, unloaded) through a
 * hook that the test program exports, and never link the library: the broker operations they
 * call come from the program that loaded them.
 *   ENGINE: an engine with interfaces 1 and 2 whose initialiser comes back into the broker,
 *           and the entry point of the add-ons living in its library, with interface 5; one
 *           more of those that answers 0 but gives null for every interface.
 *   ADDON:  an add-on with interfaces 3 to 5; a bare entry point serving ids 1 to 15 from a
 *           table without initialiser and finaliser; one refusing even the function table;
 *           one whose initialiser fails, so that its finaliser must never run; one that
 *           answers 0 for every id, the table included, and gives null. */
#include <stdio.h>

#include "speechcommon.h"

extern void brktest_Event(const char *component, const char *event);
#pragma weak brktest_Event
#pragma weak brk_DataOpen
#pragma weak brk_DataSizeQuery
#pragma weak brk_DataClose

static char g_interfaces[16][32];

static void Record(const char *format, unsigned long value) {
  char text[96];
  snprintf(text, sizeof text, format, value);
  if (brktest_Event) brktest_Event(COMPONENT_NAME, text);
}

__attribute__((constructor)) static void Loaded(void) {
  Record("load", 0);
}

__attribute__((destructor)) static void Unloaded(void) {
  Record("unload", 0);
}

static VQRESULT Final(SafeHandle instance) {
  Record("fini %lx", instance.check);
  return 0;
}

/* An initialiser recording its instance value; `extra` runs before it returns `result`. */
#define INIT(name, value, result, extra)                                             \
  static VQRESULT name(BrkObject *object, HeapInstance heap, SafeHandle *instance) { \
    (void)object;                                                                    \
    (void)heap;                                                                      \
    Record("init %lx", value);                                                       \
    instance->check = value;                                                         \
    extra;                                                                           \
    return result;                                                                   \
  }

/* An entry point giving the table for id 0 and a named interface for the ids low to high. */
#define ENTRY(name, table, low, high)                                                     \
  VQRESULT name(uint32_t id, void **out) {                                                \
    void *const given = (table);                                                          \
    Record(#name " %lu", id);                                                             \
    if (id == 0 ? !given : id < low || id > high) return BRK_E_INTERFACE_NOT_FOUND;       \
    snprintf(g_interfaces[id], sizeof g_interfaces[id], #name " %lu", (unsigned long)id); \
    *out = id == 0 ? given : (void *)g_interfaces[id];                                    \
    return 0;                                                                             \
  }

/* An entry point that claims every interface and gives null for all but the table. */
#define NULLENTRY(name, table)               \
  VQRESULT name(uint32_t id, void **out) {   \
    Record(#name " %lu", id);                \
    *out = id == 0 ? (void *)(table) : NULL; \
    return 0;                                \
  }

#if defined(ENGINE)
/* Opens and closes a data block through the object: the broker holds its lock while the
 * initialiser runs, so this returns only when the lock is re-entrant. */
static void Reenter(BrkObject *object) {
  BrkData *data = NULL;
  uint32_t size = 0;
  if (brk_DataOpen && brk_DataOpen(object, "test/data:idx", &data) == 0 &&
      brk_DataSizeQuery(object, data, &size) == 0)
    Record("reenter size %lu", size);
  if (data) brk_DataClose(object, data);
}
INIT(EngineInit, 0xE1, 0, Reenter(object))
INIT(PartInit, 0xA5, 0, (void)0)
static BrkModuleTable g_engine = {NULL, NULL, EngineInit, Final};
static BrkModuleTable g_part = {NULL, NULL, PartInit, Final};
ENTRY(EngineGetInterface, &g_engine, 1, 2)
ENTRY(PartGetInterface, &g_part, 5, 5)
NULLENTRY(NullPartGetInterface, &g_part)
#else
INIT(AddonInit, 0xAD, 0, (void)0)
INIT(BadInit, 0xBD, BRK_E_OUT_OF_MEMORY, (void)0)
static BrkModuleTable g_addon = {NULL, NULL, AddonInit, Final};
static BrkModuleTable g_bare = {NULL, NULL, NULL, NULL};
static BrkModuleTable g_bad = {NULL, NULL, BadInit, Final};
static BrkModuleTable *const g_none = NULL;
ENTRY(AddonGetInterface, &g_addon, 3, 5)
ENTRY(BareGetInterface, &g_bare, 1, 15)
ENTRY(BadInitGetInterface, &g_bad, 1, 0)
ENTRY(RefuseGetInterface, g_none, 1, 0)
NULLENTRY(NullGetInterface, g_none)
#endif
