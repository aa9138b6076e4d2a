/* A client of the component broker: opens a class over an installed tree and an object on its
 * engine, lists the voices, resolves the default voice, talks to it through its interface and
 * reads a data block. Usage: broker_client ROOT */
#include <stdio.h>
#include <string.h>

#include "demo_voice.h"
#include "speechcommon.h"

static int Check(VQRESULT code, const char *what) {
  if (code == 0) return 1;
  fprintf(stderr, "%s: 0x%08X %s\n", what, (unsigned)code, brk_ErrorGetString(code));
  return 0;
}

/* Header values are UTF-16; the example's are ASCII. */
static void PrintWide(const char16_t *text) {
  for (; text && *text; ++text)
    putchar(*text < 0x80 ? (int)*text : '?');
}

int main(int argc, char **argv) {
  BrkClass *cls = NULL;
  BrkObject *object = NULL;
  BrkComponentList *voices = NULL;
  char *selected = NULL;
  SafeHandle instance;
  void *interface = NULL;
  BrkData *data = NULL;
  const void *bytes = NULL;
  uint32_t size = 0, i;
  char said[128];
  int ok = 1;

  if (argc != 2) {
    fprintf(stderr, "usage: %s ROOT\n", argv[0]);
    return 2;
  }
  if (!Check(brk_ClassOpenEx(&cls, argv[1], g_vqNullHandle, NULL), "class")) return 1;
  if (!Check(brk_ObjOpen(&object, "demo/tts", "en", cls, NULL), "object")) return 1;

  if (Check(brk_ComponentListQuery(object, "VOICE", &voices), "voices")) {
    for (i = 0; i < voices->count; ++i) {
      printf("voice %-22s ", voices->entries[i].brokerString);
      PrintWide(voices->entries[i].name);
      printf(" (language %s, priority %u)\n",
             voices->entries[i].language ? voices->entries[i].language : "-",
             (unsigned)voices->entries[i].priority);
    }
    brk_ComponentListRelease(object, voices);
  }

  /* The object's language is en: clara (de) is no candidate; anna has the higher priority. */
  ok = Check(brk_InfoQuery(object, "demo/voice/def", &selected), "default voice");
  if (ok) {
    printf("demo/voice/def selects %s\n", selected);
    ok = Check(brk_InterfaceQuery(object, selected, 1, &instance, &interface), "voice");
    if (ok) {
      ((const DemoVoice *)interface)->speak("hello", said, sizeof said);
      printf("%s\n", said);
      brk_InterfaceRelease(object, interface);
    }
    brk_InfoRelease(object, selected);
  }

  if (ok && Check(brk_DataOpen(object, "demo/rules/numbers:table", &data), "rules")) {
    brk_DataSizeQuery(object, data, &size);
    if (Check(brk_DataMap(object, data, 0, 0, &bytes), "map")) {
      printf("rules table (%u bytes): %.*s\n", (unsigned)size, (int)size, (const char *)bytes);
      brk_DataUnmap(object, data, bytes);
    } else {
      ok = 0;
    }
    brk_DataClose(object, data);
  }

  ok = Check(brk_ObjClose(object), "close object") && ok;
  ok = Check(brk_ClassClose(cls), "close class") && ok;
  return ok ? 0 : 1;
}
