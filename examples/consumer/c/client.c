/* A C client of an installed speechcommon: a user dictionary in memory, kept as an archive
 * image, then read in place from that image. Keys are made from UTF-8 by the library, so no
 * u"..." literal is needed. Exits with 0 when every step gave what it should. */
#include <speechcommon.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failed(const char *step, VQRESULT code) {
  fprintf(stderr, "client_c: %s: 0x%08X %s\n", step, (unsigned)code, edct_ErrorGetString(code));
  return 1;
}

/* Prints the entries a dictionary holds for "Dr."; 0 when it holds exactly `expected`. */
static int look_up(SafeHandle dictionary, const char16_t *key, const char *where,
                   const char *expected) {
  EDCT_ENTRY *entries = NULL;
  uint32_t count = 0;
  VQRESULT code = edct_DctGetEntryData(dictionary, key, NULL, &entries, &count);
  if (VQ_FAILED(code)) return failed(where, code);
  int same = count == 1 && strcmp((const char *)entries[0].Data, expected) == 0;
  printf("%s: Dr. -> \"%s\" (%u entry)\n", where, count ? (const char *)entries[0].Data : "",
         (unsigned)count);
  edct_DctFreeEntryData(dictionary, entries, count);
  return same ? 0 : 1;
}

int main(void) {
  printf("speechcommon %s\n", SC_VERSION_STRING);

  /* The key, a UTF-16 string from the library's heap, freed with edct_KeyFree. */
  char16_t *doctorKey = NULL;
  VQRESULT code = edct_KeyFromUTF8("Dr.", &doctorKey);
  if (VQ_FAILED(code)) return failed("key", code);

  /* A writable dictionary with one word: an orthographic entry, a NUL-terminated string whose
   * NUL DataSize counts. */
  SafeHandle dictionary;
  code = edct_DctOpen(g_vqNullHandle, NULL, EDCT_OPEN_WRITABLE, NULL, NULL, &dictionary);
  if (VQ_FAILED(code)) return failed("open", code);
  const char doctor[] = "Doctor";
  EDCT_ENTRY entry = {EDCT_CONTENT_ORTHOGRAPHIC,
                      EDCT_REPR_SZ_STRING,
                      0xFFFFFFFFu,
                      "en-US",
                      NULL,
                      NULL,
                      doctor,
                      sizeof doctor};
  code = edct_DctAddEntry(dictionary, doctorKey, &entry, 1);
  if (VQ_FAILED(code)) return failed("add", code);
  if (look_up(dictionary, doctorKey, "in memory", doctor)) return 1;

  /* The archive image: measure, then write. */
  uint32_t size = 0;
  code = edct_DctArchive(dictionary, NULL, &size, 0);
  if (VQ_FAILED(code)) return failed("measure the image", code);
  void *image = malloc(size);
  if (!image) return 1;
  code = edct_DctArchive(dictionary, image, &size, 0);
  if (VQ_FAILED(code)) return failed("write the image", code);
  edct_DctClose(dictionary);
  printf("archive image: %u bytes\n", (unsigned)size);

  /* Read-only, in place over the image, which must stay until the close. edct_DctOpen trusts
   * the image it is given; one that comes from a file or another program is checked against
   * its size first. */
  code = edct_DctCheckImage(image, size);
  if (VQ_FAILED(code)) return failed("check the image", code);
  SafeHandle view;
  code = edct_DctOpen(g_vqNullHandle, image, EDCT_OPEN_READONLY, NULL, NULL, &view);
  if (VQ_FAILED(code)) return failed("open the image", code);
  if (look_up(view, doctorKey, "from the image", doctor)) return 1;

  /* A refusal comes as a result code with a text. */
  code = edct_DctAddEntry(view, doctorKey, &entry, 1);
  printf("adding to the image: 0x%08X \"%s\"\n", (unsigned)code, edct_ErrorGetString(code));
  edct_DctClose(view);
  edct_KeyFree(doctorKey);
  free(image);
  return VQ_FAILED(code) ? 0 : 1;
}
