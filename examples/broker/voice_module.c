/* A voice with code: a component module the broker loads when its interface is asked for. It
 * includes the library's headers for the types only and does not link the library. */
#include <stdio.h>

#include "demo_voice.h"
#include "speechcommon.h"

static int g_sentences;

static void Speak(const char *text, char *out, unsigned long size) {
  ++g_sentences;
  snprintf(out, size, "Anna says: \"%s\" (sentence %d)", text, g_sentences);
}

static const DemoVoice g_voice = {Speak};

static VQRESULT Initialize(BrkObject *object, HeapInstance heap, SafeHandle *instance) {
  (void)object;
  (void)heap;
  g_sentences = 0;
  instance->pointer = &g_sentences;
  instance->check = 0x414E4E41u; /* "ANNA" */
  return 0;
}

static VQRESULT Finalize(SafeHandle instance) {
  (void)instance;
  return 0;
}

static BrkModuleTable g_table = {NULL, NULL, Initialize, Finalize};

VQRESULT VoiceGetInterface(uint32_t id, void **out) {
  if (id == 0) {
    *out = &g_table;
    return 0;
  }
  if (id == 1) {
    *out = (void *)&g_voice;
    return 0;
  }
  return BRK_E_INTERFACE_NOT_FOUND;
}
