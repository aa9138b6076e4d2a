/* A user dictionary in memory: words made into keys from UTF-8, spellings added and looked
 * up, the dictionary walked with an iterator and written out as a text stream. */
#include <speechcommon.h>
#include <stdio.h>
#include <string.h>

static int failed(const char *step, VQRESULT code) {
  fprintf(stderr, "dictionary: %s: 0x%08X %s\n", step, (unsigned)code, edct_ErrorGetString(code));
  return 1;
}

/* Adds a spelling under a word: an orthographic entry whose data is a UTF-8 string, its NUL
 * counted in DataSize. The dictionary copies the key, the attributes and the data. */
static VQRESULT add_spelling(SafeHandle dictionary, const char *word, const char *spelling,
                             const char *language) {
  char16_t *key = NULL;
  EDCT_ENTRY entry;
  VQRESULT code = edct_KeyFromUTF8(word, &key);
  if (VQ_FAILED(code)) return code;
  entry.Content = EDCT_CONTENT_ORTHOGRAPHIC;
  entry.Representation = EDCT_REPR_SZ_STRING;
  entry.POS = 0xFFFFFFFFu; /* no part of speech */
  entry.Language = language;
  entry.Model = NULL;
  entry.Engine = NULL;
  entry.Data = spelling;
  entry.DataSize = (uint32_t)strlen(spelling) + 1;
  code = edct_DctAddEntry(dictionary, key, &entry, 1);
  edct_KeyFree(key); /* the dictionary has its own copy */
  return code;
}

/* Prints the spellings of a word that pass the filter (null: all of them). */
static VQRESULT look_up(SafeHandle dictionary, const char *word, const EDCT_FILTER *filter) {
  char16_t *key = NULL;
  EDCT_ENTRY *entries = NULL;
  uint32_t count = 0, i;
  VQRESULT code = edct_KeyFromUTF8(word, &key);
  if (VQ_FAILED(code)) return code;
  code = edct_DctGetEntryData(dictionary, key, filter, &entries, &count);
  edct_KeyFree(key);
  if (code == EDCT_E_NOT_FOUND) {
    printf("%s: not found\n", word);
    return 0;
  }
  if (VQ_FAILED(code)) return code;
  /* Newest first; the array and every string it points to are freed in one call. */
  for (i = 0; i < count; ++i)
    printf("%s -> %s (%s)\n", word, (const char *)entries[i].Data, entries[i].Language);
  return edct_DctFreeEntryData(dictionary, entries, count);
}

/* The sink of the text stream: standard output. A nonzero result would stop the writer. */
static uint32_t to_stdout(void *user, const void *bytes, uint32_t count) {
  (void)user;
  return fwrite(bytes, 1, count, stdout) == count ? 0 : 1;
}

int main(void) {
  SafeHandle dictionary, iterator;
  EDCT_FILTER british = {0xFFFFFFFFu, 0xFFFFFFFFu, "en-GB", NULL, NULL};
  EDCT_INFO info;
  uint32_t ended = 0, count = 0, sections = 0, keys = 0, newSection = 0;
  VQRESULT code;

  /* The null handle selects the default resource: the dictionary needs no resource of ours. */
  code = edct_DctOpen(g_vqNullHandle, NULL, EDCT_OPEN_WRITABLE, NULL, NULL, &dictionary);
  if (VQ_FAILED(code)) return failed("open", code);

  /* Adding never replaces: a second spelling of a word is one more entry. */
  if (VQ_FAILED(code = add_spelling(dictionary, "Dr.", "doctor", "en-US")) ||
      VQ_FAILED(code = add_spelling(dictionary, "Dr.", "drive", "en-US")) ||
      VQ_FAILED(code = add_spelling(dictionary, "caf\xC3\xA9", "coffee house", "en-GB")))
    return failed("add", code);

  if (VQ_FAILED(code = look_up(dictionary, "Dr.", NULL)) ||
      VQ_FAILED(code = look_up(dictionary, "Dr.", &british)) ||
      VQ_FAILED(code = look_up(dictionary, "caf\xC3\xA9", &british)))
    return failed("look up", code);

  /* The counts; a writable dictionary hands out copies of Name and Description, which
   * edct_DctFreeInfo gives back. */
  code = edct_DctGetInfo(dictionary, &info);
  if (VQ_FAILED(code)) return failed("info", code);
  printf("%u keys, %u entries\n", (unsigned)info.NbrKeys, (unsigned)info.NbrEntries);
  edct_DctFreeInfo(dictionary, &info);

  /* Every key, SubDictionary by SubDictionary (one per set of attributes). */
  code = edct_DctItOpen(g_vqNullHandle, dictionary, &iterator);
  if (VQ_FAILED(code)) return failed("iterator", code);
  while (!VQ_FAILED(code = edct_DctItHasEnded(iterator, &ended)) && !ended) {
    code = edct_DctItCurrent(iterator, NULL, NULL, &count, &newSection);
    if (VQ_FAILED(code)) break;
    sections += newSection;
    keys += 1;
    code = edct_DctItIncrement(iterator);
    if (VQ_FAILED(code)) break;
  }
  edct_DctItClose(iterator);
  if (VQ_FAILED(code)) return failed("walk", code);
  printf("walked %u keys in %u SubDictionaries\n", (unsigned)keys, (unsigned)sections);

  /* The whole dictionary as text, in the format edct_DctReadStream reads back. */
  code = edct_DctWriteStream(dictionary, to_stdout, EDCT_FORMAT_UTF8, NULL);
  if (VQ_FAILED(code)) return failed("write", code);
  return VQ_FAILED(code = edct_DctClose(dictionary)) ? failed("close", code) : 0;
}
