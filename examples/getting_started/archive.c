/* Dictionaries from text files, one kept as an archive image and read in place, both searched
 * through a manager: the override first, the lexicon after it.
 * Usage: archive LEXICON.txt OVERRIDE.txt WORD... */
#include <speechcommon.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failed(const char *step, VQRESULT code) {
  fprintf(stderr, "archive: %s: 0x%08X %s\n", step, (unsigned)code, edct_ErrorGetString(code));
  return 1;
}

/* The source of a text stream: a file, up to *count bytes at a time; 0 bytes at its end. */
static uint32_t from_file(void *user, void *buffer, uint32_t *count) {
  FILE *file = (FILE *)user;
  *count = (uint32_t)fread(buffer, 1, *count, file);
  return ferror(file) ? 1 : 0;
}

/* A writable dictionary filled from a UTF-8 text file. */
static VQRESULT read_text(const char *path, SafeHandle *dictionary) {
  FILE *file = fopen(path, "rb");
  VQRESULT code;
  if (!file) {
    perror(path);
    return EDCT_E_READSTREAM_FAILED;
  }
  code = edct_DctOpen(g_vqNullHandle, NULL, EDCT_OPEN_WRITABLE, NULL, NULL, dictionary);
  if (!VQ_FAILED(code)) code = edct_DctReadStream(*dictionary, from_file, EDCT_FORMAT_UTF8, file);
  fclose(file);
  return code;
}

/* The archive image of a dictionary, in a buffer of ours: measure, allocate, write. */
static VQRESULT make_image(SafeHandle dictionary, void **image) {
  uint32_t size = 0;
  VQRESULT code = edct_DctArchive(dictionary, NULL, &size, 0);
  if (VQ_FAILED(code)) return code;
  *image = malloc(size); /* malloc aligns to 4 and more, as a read-only view needs */
  if (!*image) return EDCT_E_OUT_OF_MEMORY;
  code = edct_DctArchive(dictionary, *image, &size, 0);
  printf("image: %u bytes\n", (unsigned)size);
  return code;
}

/* Prints an entry's data: a spelling, or a list of pronunciations. */
static void print_data(const EDCT_ENTRY *entry) {
  const char *text = (const char *)entry->Data;
  if (entry->Representation == EDCT_REPR_SZ_STRING) {
    printf("%s", text);
  } else if (entry->Representation == EDCT_REPR_SZZ_STRING) {
    /* NUL-terminated strings, then one more NUL */
    for (; *text; text += strlen(text) + 1)
      printf("//%s", text);
  }
}

int main(int argc, char **argv) {
  SafeHandle lexicon, override, view, manager, answered;
  void *image = NULL;
  int i;
  VQRESULT code;

  if (argc < 3) {
    fprintf(stderr, "usage: %s LEXICON.txt OVERRIDE.txt WORD...\n", argv[0]);
    return 2;
  }
  if (VQ_FAILED(code = read_text(argv[1], &lexicon))) return failed(argv[1], code);
  if (VQ_FAILED(code = read_text(argv[2], &override))) return failed(argv[2], code);

  /* The lexicon becomes an image, opened read-only in place: it must stay until the close. */
  if (VQ_FAILED(code = make_image(lexicon, &image))) return failed("archive", code);
  edct_DctClose(lexicon);
  code = edct_DctOpen(g_vqNullHandle, image, EDCT_OPEN_READONLY, NULL, NULL, &view);
  if (VQ_FAILED(code)) return failed("open the image", code);

  /* The first dictionary that holds a word answers for it. */
  if (VQ_FAILED(code = edct_DctMgrOpen(g_vqNullHandle, &manager)) ||
      VQ_FAILED(code = edct_DctMgrRegisterDct(manager, view, 0)) ||
      VQ_FAILED(code = edct_DctMgrRegisterDct(manager, override, 1)))
    return failed("manager", code);

  for (i = 3; i < argc; ++i) {
    char16_t *key = NULL;
    EDCT_ENTRY *entries = NULL;
    uint32_t count = 0, k;
    if (VQ_FAILED(code = edct_KeyFromUTF8(argv[i], &key))) return failed("key", code);
    code = edct_DctMgrGetEntryData(manager, key, NULL, &entries, &count, &answered);
    edct_KeyFree(key);
    if (code == EDCT_E_NOT_FOUND) {
      printf("%s: not found\n", argv[i]);
      continue;
    }
    if (VQ_FAILED(code)) return failed(argv[i], code);
    printf("%s ->", argv[i]);
    for (k = 0; k < count; ++k) {
      printf(" ");
      print_data(&entries[k]);
    }
    printf(" (%s)\n", safeh_HandlesEqual(answered, override) ? "override" : "lexicon");
    /* Entries are freed by the dictionary that answered. */
    edct_DctFreeEntryData(answered, entries, count);
  }

  /* Registered dictionaries refuse to close; closing the manager unregisters them. */
  code = edct_DctClose(view);
  printf("closing a registered dictionary: %s\n", edct_ErrorGetString(code));
  edct_DctMgrClose(manager);
  edct_DctClose(override);
  edct_DctClose(view);
  free(image);
  return 0;
}
