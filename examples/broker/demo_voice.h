/* The interface that the example voice module hands out as interface 1. */
#ifndef DEMO_VOICE_H
#define DEMO_VOICE_H

typedef struct DemoVoice {
  /* Writes what the voice would say for the text into out (size bytes, NUL-terminated). */
  void (*speak)(const char *text, char *out, unsigned long size);
} DemoVoice;

#endif
