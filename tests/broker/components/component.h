/* What the test component modules share: they report what happens to them (loaded,
 * initialised, asked for an interface, finalised, unloaded) to the test program that loaded
 * them, through a hook the program exports. Modules do not link the library; the broker
 * operations they call come from the program that loaded them. */
#ifndef BRKTEST_COMPONENT_H
#define BRKTEST_COMPONENT_H

#include <stdio.h>

#include "speechcommon.h"

#ifndef COMPONENT_NAME
#error "COMPONENT_NAME must name the module"
#endif

/* Exported by the test program; absent elsewhere. */
extern void brktest_Event(const char *component, const char *event);
#pragma weak brktest_Event
#pragma weak brk_TagQuery
#pragma weak brk_DataOpen
#pragma weak brk_DataSizeQuery
#pragma weak brk_DataClose

__attribute__((unused)) static void Record(const char *event) {
  if (brktest_Event) brktest_Event(COMPONENT_NAME, event);
}

__attribute__((unused)) static void Recordf(const char *format, unsigned long value) {
  char text[96];
  snprintf(text, sizeof text, format, value);
  Record(text);
}

__attribute__((constructor)) static void ComponentLoaded(void) {
  Record("load");
}

__attribute__((destructor)) static void ComponentUnloaded(void) {
  Record("unload");
}

#define REFUSED 0x80150108u

#endif
