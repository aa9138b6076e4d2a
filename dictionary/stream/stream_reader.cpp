// The text stream reader: "[Header]", "[SubHeader]" and "[Data]" sections from the client's
// ReadStream callback into a dictionary. The dictionary is changed only through its public
// operations, so its Notify callback sees every entry added.
#include <cstring>

#include "dictionary/dictionary.h"
#include "dictionary/stream/stream_common.h"
#include "dictionary/stream/stream_input.h"
#include "foundation/result.h"
#include "platform/text.h"
#include "sc_edct.h"
#include "sc_heap.h"

namespace sc::edct::stream {
namespace {

// One call of edct_DctReadStream.
struct Reader {
  SafeHandle dictionary;
  Resource *resource;
  InputContext input;
  Tracer tracer;
  EDCT_INFO header;   // Name and Description: the dictionary's own, or the stream's first
  bool headerHeld;    // the header came from edct_DctGetInfo and goes back to it
  EDCT_ENTRY record;  // the attributes every entry line is added with
  char16_t *key;      // the entry key being read, kept while its data is read
  uint32_t keyCapacity;
};

void FreeAttribute(Reader &reader, const char *&attribute) {
  heap_Free(reader.resource->heap, const_cast<char *>(attribute));
  attribute = nullptr;
}

// ---- Section keys ----------------------------------------------------------------------

// The first Name (or Description) wins: one the dictionary already has stays.
VQRESULT KeepFirst(Reader &reader, const char16_t *&field, std::u16string_view value) {
  if (field) return 0;
  field = CopyWide(reader.resource, value.data());
  return field ? 0 : EDCT_E_OUT_OF_MEMORY;
}

VQRESULT HandleName(Reader &reader, std::u16string_view value) {
  return KeepFirst(reader, reader.header.Name, value);
}

VQRESULT HandleDescription(Reader &reader, std::u16string_view value) {
  return KeepFirst(reader, reader.header.Description, value);
}

VQRESULT ReplaceAttribute(Reader &reader, const char *&attribute, std::u16string_view value) {
  const HeapInstance heap = reader.resource->heap;
  char *text =
      plat::UTF8FromWcs(value.data(), [heap](size_t bytes) { return heap_Alloc(heap, bytes); });
  if (!text) return EDCT_E_OUT_OF_MEMORY;
  FreeAttribute(reader, attribute);
  attribute = text;
  return 0;
}

VQRESULT HandleLanguage(Reader &reader, std::u16string_view value) {
  return ReplaceAttribute(reader, reader.record.Language, value);
}

VQRESULT HandleEngine(Reader &reader, std::u16string_view value) {
  return ReplaceAttribute(reader, reader.record.Engine, value);
}

// The text over a block of spaces, so that the whole 128 bytes compare alike for equal texts.
VQRESULT HandleModel(Reader &reader, std::u16string_view value) {
  if (plat::WcsUTF8Size(value.data()) > kModelBlock) return EDCT_E_OUT_OF_MEMORY;
  auto *block = static_cast<char *>(heap_Alloc(reader.resource->heap, kModelBlock));
  if (!block) return EDCT_E_OUT_OF_MEMORY;
  std::memset(block, ' ', kModelBlock);
  plat::WcsToUTF8(value.data(), block);
  FreeAttribute(reader, reader.record.Model);
  reader.record.Model = block;
  return 0;
}

template <size_t N>
VQRESULT SetKind(uint32_t &field, const std::u16string_view (&names)[N],
                 std::u16string_view value) {
  for (uint32_t kind = 0; kind < N; ++kind) {
    if (names[kind] == value) {
      field = kind;
      return 0;
    }
  }
  return EDCT_E_UNKNOWN_FORMAT;
}

VQRESULT HandleContent(Reader &reader, std::u16string_view value) {
  return SetKind(reader.record.Content, kContentNames, value);
}

VQRESULT HandleRepresentation(Reader &reader, std::u16string_view value) {
  return SetKind(reader.record.Representation, kRepresentationNames, value);
}

// Streams carry no part-of-speech classes: whatever the value, POS stays unspecified.
VQRESULT HandlePos(Reader &reader, std::u16string_view) {
  reader.record.POS = kUnset;
  return 0;
}

VQRESULT HandleNbrSubDct(Reader &, std::u16string_view) {
  return 0;
}

struct KeyHandler {
  std::u16string_view key;
  VQRESULT (*handle)(Reader &, std::u16string_view);
};

constexpr KeyHandler kKeyHandlers[] = {
    {u"Name", HandleName},
    {u"Description", HandleDescription},
    {u"Language", HandleLanguage},
    {u"Engine", HandleEngine},
    {u"Model", HandleModel},
    {u"Content", HandleContent},
    {u"Representation", HandleRepresentation},
    {u"POS", HandlePos},
    {u"NbrSubDct", HandleNbrSubDct},
};

enum class SectionEnd { kData, kSubHeader };

// The key lines of one section, up to the "[Data]" or "[SubHeader]" line that ends it.
// Returns 0, EDCT_S_END_OF_STREAM (the stream ended instead) or a failure.
VQRESULT ReadSection(Reader &reader, SectionEnd *ending) {
  for (;;) {
    std::u16string_view key;
    VQRESULT status = ReadwItem(&reader.input, kEndsAtEquals | kEndsAtLineFeed, false, &key);
    if (status) return status;
    if (key == kData || key == kSubHeader) {
      *ending = key == kData ? SectionEnd::kData : SectionEnd::kSubHeader;
      return 0;
    }
    const KeyHandler *handler = nullptr;
    for (const KeyHandler &candidate : kKeyHandlers)
      if (candidate.key == key) handler = &candidate;
    if (!handler) return EDCT_E_UNKNOWN_FORMAT;
    std::u16string_view value;
    status = ReadwItem(&reader.input, kEndsAtLineFeed, false, &value);
    if (status == EDCT_S_END_OF_STREAM) return EDCT_E_UNKNOWN_FORMAT;
    if (status) return status;
    status = handler->handle(reader, value);
    if (status) return status;
  }
}

// ---- Entry data ------------------------------------------------------------------------
// Each handler reads the data of one entry line into the record and returns 0, EDCT_S_END_OF_STREAM
// (the data ran into the end of the stream) or a failure. *present turns false when the
// stream ended before any data: the key is then dropped.

// "//one//two" gives "one", NUL, "two", NUL and the closing NUL; pieces are not trimmed.
VQRESULT HandleBroadNarrowsInput(Reader &reader, bool *present) {
  if (reader.record.Representation != EDCT_REPR_SZZ_STRING) return EDCT_E_UNKNOWN_FORMAT;
  std::string_view line;
  const VQRESULT status = ReadsItem(&reader.input, kEndsAtLineFeed, false, &line);
  if (Failed(status)) return status;
  if (line.empty()) {
    *present = false;
    return status;
  }
  if (!line.starts_with("//")) return EDCT_E_UNKNOWN_FORMAT;
  InputContext &input = reader.input;
  // Each "//" of the line becomes one NUL, and the closing NUL makes up for the first.
  if (!Reserve(input.resource, input.data, input.dataCapacity, line.size()))
    return EDCT_E_OUT_OF_MEMORY;
  uint32_t used = 0;
  for (size_t start = 2;;) {
    const size_t separator = line.find("//", start);
    const std::string_view piece =
        line.substr(start, separator == std::string_view::npos ? line.npos : separator - start);
    std::memcpy(input.data + used, piece.data(), piece.size());
    used += static_cast<uint32_t>(piece.size());
    input.data[used++] = 0;
    if (separator == std::string_view::npos) break;
    start = separator + 2;
  }
  input.data[used++] = 0;
  reader.record.Data = input.data;
  reader.record.DataSize = used;
  return status;
}

int HexDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

// Hexadecimal byte pairs separated by spaces; a line ending in a backslash continues on the
// next one. A single digit left at the end of a line is ignored.
VQRESULT HandleUserWordsInput(Reader &reader, bool *present) {
  if (reader.record.Representation != EDCT_REPR_BINARY) return EDCT_E_UNKNOWN_FORMAT;
  InputContext &input = reader.input;
  uint32_t count = 0;
  VQRESULT status;
  for (bool first = true;; first = false) {
    std::string_view line;
    status = ReadsItem(&input, kEndsAtLineFeed, false, &line);
    if (Failed(status)) return status;
    if (line.empty()) {
      *present = !first;
      break;
    }
    const bool continued = line.back() == '\\';
    if (continued) line.remove_suffix(1);
    size_t at = 0;
    const auto skipSpaces = [&] {
      while (at < line.size() && line[at] == ' ')
        ++at;
    };
    skipSpaces();
    while (at + 1 < line.size()) {
      const int high = HexDigit(line[at]);
      const int low = HexDigit(line[at + 1]);
      if (high < 0 || low < 0) return EDCT_E_UNKNOWN_FORMAT;
      if (!Reserve(input.resource, input.data, input.dataCapacity, size_t{count} + 1))
        return EDCT_E_OUT_OF_MEMORY;
      input.data[count++] = static_cast<unsigned char>(high << 4 | low);
      at += 2;
      skipSpaces();
    }
    if (!continued || status == EDCT_S_END_OF_STREAM) break;
  }
  reader.record.Data = input.data;
  reader.record.DataSize = count;
  return status;
}

// The rest of the line, quotes and escapes resolved. The data is handed to the dictionary
// straight from the token buffer, which holds it until the next read.
VQRESULT HandleOrthographicInput(Reader &reader, bool *present) {
  EDCT_ENTRY &record = reader.record;
  VQRESULT status;
  size_t size = 0;
  if (record.Representation == EDCT_REPR_SZ_STRING) {
    std::string_view text;
    status = ReadsItem(&reader.input, kEndsAtLineFeed, true, &text);
    record.Data = text.data();
    size = text.size();
  } else if (record.Representation == EDCT_REPR_WSZ_STRING) {
    std::u16string_view text;
    status = ReadwItem(&reader.input, kEndsAtLineFeed, true, &text);
    record.Data = text.data();
    size = text.size();
  } else {
    return EDCT_E_UNKNOWN_FORMAT;
  }
  if (Failed(status)) return status;
  *present = size != 0;
  const size_t unit = record.Representation == EDCT_REPR_WSZ_STRING ? 2 : 1;
  record.DataSize = static_cast<uint32_t>(unit * (size + 1));
  return status;
}

VQRESULT ReadEntryData(Reader &reader, bool *present) {
  switch (reader.record.Content) {
    case EDCT_CONTENT_BROAD_NARROWS:
      return HandleBroadNarrowsInput(reader, present);
    case EDCT_CONTENT_USERWORDS:
      return HandleUserWordsInput(reader, present);
    case EDCT_CONTENT_ORTHOGRAPHIC:
      return HandleOrthographicInput(reader, present);
    default:
      return EDCT_E_UNKNOWN_FORMAT;
  }
}

// The entry lines of one data section, each added with the record's attributes. Returns 0
// when a "[SubHeader]" line ended the section (*atSubHeader set), EDCT_S_END_OF_STREAM when the
// stream did, or a failure.
VQRESULT ReadDataSection(Reader &reader, bool *atSubHeader) {
  *atSubHeader = false;
  for (;;) {
    std::u16string_view key;
    VQRESULT status = ReadwItem(&reader.input, kEndsAtBlank | kEndsAtLineFeed, true, &key);
    if (status) return status;
    if (key == kSubHeader) {
      *atSubHeader = true;
      return 0;
    }
    // The key's own copy: reading the data may reuse the token buffers.
    if (!Reserve(reader.resource, reader.key, reader.keyCapacity, key.size() + 1))
      return EDCT_E_OUT_OF_MEMORY;
    std::memcpy(reader.key, key.data(), (key.size() + 1) * sizeof(char16_t));
    bool present = true;
    status = ReadEntryData(reader, &present);
    if (Failed(status) || !present) return status;
    const VQRESULT added = edct_DctAddEntry(reader.dictionary, reader.key, &reader.record, 1);
    if (added) return added;
  }
}

// The grammar: "[Header]" and its keys; then nothing, one "[Data]" section (which a
// "[SubHeader]" line ends, and with it the read), or groups of "[SubHeader]", keys, "[Data]"
// and entry lines.
VQRESULT ReadSections(Reader &reader) {
  std::u16string_view first;
  VQRESULT status = ReadwItem(&reader.input, kEndsAtLineFeed, false, &first);
  if (Failed(status)) return status;
  if (status == EDCT_S_END_OF_STREAM || first != kHeader) return EDCT_E_UNKNOWN_FORMAT;
  SectionEnd ending = SectionEnd::kData;
  status = ReadSection(reader, &ending);
  if (status == EDCT_S_END_OF_STREAM) return 0;
  if (status) return status;
  bool atSubHeader = false;
  if (ending == SectionEnd::kData) {
    status = ReadDataSection(reader, &atSubHeader);
    return Failed(status) ? status : 0;
  }
  do {
    status = ReadSection(reader, &ending);
    if (status == EDCT_S_END_OF_STREAM) return EDCT_E_UNKNOWN_FORMAT;
    if (status) return status;
    if (ending != SectionEnd::kData) return EDCT_E_UNKNOWN_FORMAT;
    status = ReadDataSection(reader, &atSubHeader);
    if (Failed(status)) return status;
  } while (atSubHeader);
  return 0;
}

// Presets the records: the dictionary's own Name and Description, and no attributes.
VQRESULT Input_Initialize(Reader &reader) {
  TraceScope trace(reader.tracer, "Input_Initialize", __LINE__);
  reader.record = EDCT_ENTRY{kUnset, kUnset, kUnset, nullptr, nullptr, nullptr, nullptr, 0};
  const VQRESULT got = edct_DctGetInfo(reader.dictionary, &reader.header);
  reader.headerHeld = got == 0;
  return got;
}

// Releases the records' strings.
void Input_Finalize(Reader &reader) {
  TraceScope trace(reader.tracer, "Input_Finalize", __LINE__);
  if (reader.headerHeld) edct_DctFreeInfo(reader.dictionary, &reader.header);
  reader.headerHeld = false;
  FreeAttribute(reader, reader.record.Language);
  FreeAttribute(reader, reader.record.Model);
  FreeAttribute(reader, reader.record.Engine);
  heap_Free(reader.resource->heap, reader.key);
  reader.key = nullptr;
}

VQRESULT DctStream_Input(Reader &reader, const Dictionary &dictionary, EDCT_READSTREAM_FN callback,
                         uint32_t format, void *user, uint32_t *errorSlot) {
  TraceScope trace(reader.tracer, "DctStream_Input", __LINE__);
  VQRESULT result = InitRsrcFunction(dictionary.resourceHandle, &reader.resource);
  if (!result) {
    result = Input_Initialize(reader);
    if (!result)
      result = Input_Open(&reader.input, reader.resource, callback, format, user, errorSlot);
    if (!result) result = ReadSections(reader);
    // Name and Description change only once the whole stream has been read.
    if (!result) result = edct_DctSetInfo(reader.dictionary, &reader.header);
    Input_Release(&reader.input);
    Input_Finalize(reader);
  }
  if (result) reader.tracer.Failure("DctStream_Input", __LINE__, result);
  return result;
}

}  // namespace
}  // namespace sc::edct::stream

using namespace sc::edct;

extern "C" {

SC_API VQRESULT edct_DctReadStream(SafeHandle handle, EDCT_READSTREAM_FN callback, uint32_t format,
                                   void *user) {
  Locked<Dictionary> dictionary(handle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  if (dictionary->kind == kReadOnly) return EDCT_E_READ_ONLY;
  if (!callback) return EDCT_E_NULL_POINTER;
  if (!stream::KnownFormat(format)) return EDCT_E_UNKNOWN_FORMAT;
  if (dictionary->openIterators) return EDCT_E_ITERATOR_OPEN;
  stream::Reader reader{};
  reader.dictionary = handle;
  return stream::DctStream_Input(reader, *dictionary, callback, format, user,
                                 &dictionary->callbackError);
}

}  // extern "C"
