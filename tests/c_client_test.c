/* A C11 client: the public headers must compile as C and link against the shared library. */
#include <stdio.h>
#include <string.h>

#include "speechcommon.h"

int main(void) {
  ResourceHandle resource;
  SrvArray array;
  uint32_t count = 0;
  int value = 42;
  if (rsrc_Open(0, 0, 1, 2, &resource) != 0) return 1;
  if (srvspi_ArrayInit(resource, sizeof value, &array) != 0) return 2;
  if (srvspi_ArrayAdd(&array, &value) != 0) return 3;
  if (srvspi_ArrayCount(&array, &count) != 0 || count != 1) return 4;
  if (srvspi_ArrayDeinit(&array) != 0) return 5;
  if (rsrc_Close(resource) != 0) return 6;
  if (strcmp(vq_ErrorGetString(0x80010183u),
             " an unexpected nullpointer has been passed to this function.") != 0)
    return 7;
  if (!safeh_HandlesEqual(g_vqNullHandle, g_vqNullHandle)) return 8;
  puts("c client ok");
  return 0;
}
