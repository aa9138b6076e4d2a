/* A C client, built as C99: the public headers must compile as C without C11's u"..." literals,
 * and link against the shared library. */
#include <stdio.h>
#include <string.h>

#include "speechcommon.h"

/* Result codes by name serve as case labels. */
static int Kind(VQRESULT code) {
  switch (code) {
    case 0:
      return 0;
    case SRVSPI_S_ARRAY_NO_ELEMENT:
      return 1;
    case SRVSPI_E_ARRAY_INVALID_ARGUMENT:
      return 2;
    default:
      return 3;
  }
}

/* A word added under a key made from UTF-8 and found again with another key made from the
 * same bytes; 0 when all went as it should. */
static int KeyRoundTrip(void) {
  static const char16_t expected[] = {'n', 'a', 0xEF, 'v', 'e', 0};
  const char spelling[] = "naive";
  char16_t *key = NULL, *again = NULL;
  SafeHandle dictionary;
  EDCT_ENTRY entry = {EDCT_CONTENT_ORTHOGRAPHIC,
                      EDCT_REPR_SZ_STRING,
                      0xFFFFFFFFu,
                      NULL,
                      NULL,
                      NULL,
                      spelling,
                      sizeof spelling};
  EDCT_ENTRY *found = NULL;
  uint32_t count = 0;
  int failures = 0;
  if (edct_KeyFromUTF8("na\xC3\xAFve", &key) != 0) return 1;
  failures += memcmp(key, expected, sizeof expected) != 0;
  if (edct_DctOpen(g_vqNullHandle, NULL, EDCT_OPEN_WRITABLE, NULL, NULL, &dictionary) != 0)
    return 1;
  failures += edct_DctAddEntry(dictionary, key, &entry, 1) != 0;
  failures += edct_KeyFree(key) != 0;
  failures += edct_KeyFromUTF8("na\xC3\xAFve", &again) != 0;
  failures += edct_DctGetEntryData(dictionary, again, NULL, &found, &count) != 0 || count != 1 ||
              strcmp((const char *)found[0].Data, spelling) != 0;
  failures += edct_DctFreeEntryData(dictionary, found, count) != 0;
  failures += edct_KeyFree(again) != 0;
  failures += edct_KeyFree(NULL) != EDCT_E_NULL_POINTER;
  failures += edct_DctClose(dictionary) != 0;
  return failures;
}

int main(void) {
  ResourceHandle resource;
  SrvArray array;
  uint32_t count = 0;
  int value = 42;
  void *element = NULL;
  if (rsrc_Open(0, 0, 1, 2, &resource) != 0) return 1;
  if (srvspi_ArrayInit(resource, sizeof value, &array) != 0) return 2;
  if (srvspi_ArrayAdd(&array, &value) != 0) return 3;
  if (srvspi_ArrayCount(&array, &count) != 0 || count != 1) return 4;
  if (Kind(srvspi_ArrayPop(&array, &element)) != 0 || *(int *)element != 42) return 9;
  if (Kind(srvspi_ArrayPop(&array, &element)) != 1) return 10;
  if (Kind(srvspi_ArrayCount(NULL, &count)) != 2) return 11;
  if (srvspi_ArrayDeinit(&array) != 0) return 5;
  if (rsrc_Close(resource) != 0) return 6;
  if (strcmp(vq_ErrorGetString(SRVSPI_E_SEC_NULL_POINTER),
             " an unexpected nullpointer has been passed to this function.") != 0)
    return 7;
  if (edct_GetVersion(NULL) != EDCT_E_NULL_POINTER || VQ_SUCCEEDED(EDCT_E_NULL_POINTER)) return 12;
  if (!safeh_HandlesEqual(g_vqNullHandle, g_vqNullHandle)) return 8;
  if (KeyRoundTrip() != 0) return 13;
  puts("c client ok");
  return 0;
}
