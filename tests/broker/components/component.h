/* What the test component modules share: they report what happens to them (loaded,
 * initialised, asked for an interface, finalised, unloaded) through a hook that the test
 * program exports. Modules do not link the library; the broker operations they call come from
 * the program that loaded them. */
#include <stdio.h>

#include "speechcommon.h"

extern void brktest_Event(const char *component, const char *event);
#pragma weak brktest_Event
#pragma weak brk_TagQuery
#pragma weak brk_DataOpen
#pragma weak brk_DataSizeQuery
#pragma weak brk_DataClose

#define REFUSED 0x80150108u

__attribute__((unused)) static void Record(const char *format, unsigned long value) {
  char text[96];
  snprintf(text, sizeof text, format, value);
  if (brktest_Event) brktest_Event(COMPONENT_NAME, text);
}

__attribute__((constructor)) static void ComponentLoaded(void) {
  Record("load", 0);
}

__attribute__((destructor)) static void ComponentUnloaded(void) {
  Record("unload", 0);
}
