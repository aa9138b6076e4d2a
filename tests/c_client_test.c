/* A C11 client: the public headers must compile as C and link against the shared library. */
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
  puts("c client ok");
  return 0;
}
