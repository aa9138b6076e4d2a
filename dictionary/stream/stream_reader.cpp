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
#include "sc_osspi.h"

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
  TextPlace keyPlace;                  // where the key of the line being read starts
  EDCT_STREAM_DIAGNOSTIC *diagnostic;  // null unless the caller asked where reading stops
};

// ---- Diagnostics -----------------------------------------------------------------------

// Copies the offending text, cut before a character that would not fit.
void SetFound(EDCT_STREAM_DIAGNOSTIC &diagnostic, std::string_view text) {
  size_t size = text.size() < sizeof diagnostic.Found ? text.size() : sizeof diagnostic.Found - 1;
  if (size < text.size())
    while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80)
      --size;
  if (size) std::memcpy(diagnostic.Found, text.data(), size);  // an empty view may be null
  diagnostic.Found[size] = 0;
}

// The bytes of the dictionaries' 8-bit form of a value: 1 to 3 for each 16-bit unit.
size_t NarrowSize(std::u16string_view text) {
  size_t size = 0;
  for (const char16_t unit : text)
    size += unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
  return size;
}

// The found text in UTF-8: a surrogate pair as one character, a lone surrogate as U+FFFD.
void SetFound(EDCT_STREAM_DIAGNOSTIC &diagnostic, std::u16string_view text) {
  char narrow[4 * sizeof diagnostic.Found];
  size_t size = 0;
  // More units than the record has bytes cannot all fit anyway.
  text = text.substr(0, sizeof diagnostic.Found);
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t point = text[i];
    const bool high = point >= 0xD800 && point < 0xDC00;
    if (high && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000)
      point = 0x10000 + ((point - 0xD800) << 10) + (text[++i] - 0xDC00);
    else if (point >= 0xD800 && point < 0xE000)
      point = 0xFFFD;
    const int bytes = point < 0x80 ? 1 : point < 0x800 ? 2 : point < 0x10000 ? 3 : 4;
    constexpr unsigned char kLead[] = {0, 0, 0xC0, 0xE0, 0xF0};
    for (int k = bytes - 1; k > 0; --k)
      narrow[size + k] = static_cast<char>(0x80 | ((point >> (6 * (bytes - 1 - k))) & 0x3F));
    narrow[size] =
        static_cast<char>(bytes == 1 ? point : kLead[bytes] | point >> (6 * (bytes - 1)));
    size += bytes;
  }
  SetFound(diagnostic, std::string_view(narrow, size));
}

// Notes why and where the read stopped, for a caller that asked; returns `code`. The first
// note of a failure stands.
template <class Text>
VQRESULT Stop(Reader &reader, VQRESULT code, uint32_t reason, const char *text, TextPlace place,
              Text found) {
  EDCT_STREAM_DIAGNOSTIC *diagnostic = reader.diagnostic;
  if (!diagnostic || diagnostic->Reason != EDCT_STREAM_OK) return code;
  diagnostic->Reason = reason;
  diagnostic->Line = place.line;
  diagnostic->Column = place.column;
  diagnostic->Text = text;
  SetFound(*diagnostic, found);
  return code;
}

VQRESULT Stop(Reader &reader, VQRESULT code, uint32_t reason, const char *text, TextPlace place) {
  return Stop(reader, code, reason, text, place, std::string_view());
}

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
    const TextPlace keyPlace = reader.input.tokenStart;
    if (!handler && key == kHeader)
      return Stop(reader, EDCT_E_UNKNOWN_FORMAT, EDCT_STREAM_SECTION_ORDER,
                  "a second [Header] section", keyPlace, key);
    if (!handler && key.starts_with(u"[") && key.ends_with(u"]"))
      return Stop(reader, EDCT_E_UNKNOWN_FORMAT, EDCT_STREAM_UNKNOWN_SECTION, "unknown section",
                  keyPlace, key);
    if (!handler)
      return Stop(reader, EDCT_E_UNKNOWN_FORMAT, EDCT_STREAM_UNKNOWN_KEY, "unknown key", keyPlace,
                  key);
    std::u16string_view value;
    status = ReadwItem(&reader.input, kEndsAtLineFeed, false, &value);
    if (status == EDCT_S_END_OF_STREAM)
      return Stop(reader, EDCT_E_UNKNOWN_FORMAT, EDCT_STREAM_MISSING_VALUE,
                  "no value before the end of the stream for key", keyPlace, handler->key);
    if (status) return status;
    status = handler->handle(reader, value);
    if (status == EDCT_E_UNKNOWN_FORMAT && handler->handle == HandleContent)
      return Stop(reader, status, EDCT_STREAM_UNKNOWN_CONTENT, "unknown Content value",
                  reader.input.tokenStart, value);
    if (status == EDCT_E_UNKNOWN_FORMAT)
      return Stop(reader, status, EDCT_STREAM_UNKNOWN_REPRESENTATION,
                  "unknown Representation value", reader.input.tokenStart, value);
    if (status == EDCT_E_OUT_OF_MEMORY && handler->handle == HandleModel &&
        NarrowSize(value) >= kModelBlock)
      return Stop(reader, status, EDCT_STREAM_MODEL_TOO_LONG,
                  "Model value longer than 128 UTF-8 bytes", reader.input.tokenStart, value);
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
  if (!line.starts_with("//"))
    return Stop(reader, EDCT_E_UNKNOWN_FORMAT, EDCT_STREAM_BAD_BROAD_NARROWS,
                "broad-narrows data must start with //, found", reader.input.tokenStart, line);
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
      if (high < 0 || low < 0) {
        TextPlace place = input.tokenStart;  // the place of the pair within the line
        for (size_t byte = 0; byte < at; ++byte)
          place.column += (static_cast<unsigned char>(line[byte]) & 0xC0) != 0x80;
        return Stop(reader, EDCT_E_UNKNOWN_FORMAT, EDCT_STREAM_BAD_HEX,
                    "not a hexadecimal byte pair", place, line.substr(at, 2));
      }
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

// What an entry line of each Content needs: the diagnostic of an entry whose Content and
// Representation do not pair (data that does not fit them was noted by its handler).
constexpr const char *kKindMismatch[] = {
    "Content EDCT_CONTENT_BROAD_NARROWS needs Representation EDCT_REPR_SZZ_STRING; entry",
    "Content EDCT_CONTENT_USERWORDS needs Representation EDCT_REPR_BINARY; entry",
    ("Content EDCT_CONTENT_ORTHOGRAPHIC needs Representation EDCT_REPR_SZ_STRING or "
     "EDCT_REPR_WSZ_STRING; entry"),
};

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
    reader.keyPlace = reader.input.tokenStart;
    bool present = true;
    status = ReadEntryData(reader, &present);
    if (status == EDCT_E_UNKNOWN_FORMAT) {
      const uint32_t content = reader.record.Content;
      return Stop(reader, status, EDCT_STREAM_KIND_MISMATCH,
                  content < 3 ? kKindMismatch[content] : "no Content given before entry",
                  reader.keyPlace, std::u16string_view(reader.key));
    }
    if (Failed(status) || !present) return status;
    const VQRESULT added = edct_DctAddEntry(reader.dictionary, reader.key, &reader.record, 1);
    if (added)
      return Stop(reader, added, EDCT_STREAM_ENTRY_REFUSED, "the dictionary refused entry",
                  reader.keyPlace, std::u16string_view(reader.key));
  }
}

// The grammar: "[Header]" and its keys; then nothing, one "[Data]" section (which a
// "[SubHeader]" line ends, and with it the read), or groups of "[SubHeader]", keys, "[Data]"
// and entry lines.
VQRESULT ReadSections(Reader &reader) {
  std::u16string_view first;
  VQRESULT status = ReadwItem(&reader.input, kEndsAtLineFeed, false, &first);
  if (Failed(status)) return status;
  if (first.empty())
    return Stop(reader, EDCT_E_UNKNOWN_FORMAT, EDCT_STREAM_NO_HEADER,
                "expected [Header], found the end of the stream", reader.input.tokenStart);
  if (first != kHeader)
    return Stop(reader, EDCT_E_UNKNOWN_FORMAT, EDCT_STREAM_NO_HEADER, "expected [Header], found",
                reader.input.tokenStart, first);
  if (status == EDCT_S_END_OF_STREAM)
    return Stop(reader, EDCT_E_UNKNOWN_FORMAT, EDCT_STREAM_NO_HEADER,
                "the stream ends before the line end of", reader.input.tokenStart, first);
  SectionEnd ending = SectionEnd::kData;
  status = ReadSection(reader, &ending);
  if (status == EDCT_S_END_OF_STREAM) return 0;
  if (status) return status;
  bool atSubHeader = false;
  if (ending == SectionEnd::kData) {
    status = ReadDataSection(reader, &atSubHeader);
    if (atSubHeader && reader.diagnostic) {
      // Reading ends here with success; a caller may want to know that the rest is unread.
      Stop(reader, 0, EDCT_STREAM_OK,
           "reading ends at this line, after a [Data] section "
           "that followed [Header] directly:",
           reader.input.tokenStart, kSubHeader);
    }
    return Failed(status) ? status : 0;
  }
  do {
    status = ReadSection(reader, &ending);
    if (status == EDCT_S_END_OF_STREAM)
      return Stop(reader, EDCT_E_UNKNOWN_FORMAT, EDCT_STREAM_SECTION_ORDER,
                  "expected [Data], found the end of the stream", reader.input.here);
    if (status) return status;
    if (ending != SectionEnd::kData)
      return Stop(reader, EDCT_E_UNKNOWN_FORMAT, EDCT_STREAM_SECTION_ORDER,
                  "expected [Data] before the next", reader.input.tokenStart, kSubHeader);
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
    if (!result) {
      result = Input_Open(&reader.input, reader.resource, callback, format, user, errorSlot);
      if (result == EDCT_E_UNKNOWN_FORMAT)
        Stop(reader, result, EDCT_STREAM_NO_BYTE_ORDER_MARK,
             "no byte-order mark U+FEFF in the stream's byte order", TextPlace{});
    }
    reader.input.tracking = reader.diagnostic != nullptr;
    if (!result) result = ReadSections(reader);
    // Name and Description change only once the whole stream has been read.
    if (!result) result = edct_DctSetInfo(reader.dictionary, &reader.header);
    if (Failed(result))  // no fault of the text, unless a fault was noted already
      Stop(reader, result, EDCT_STREAM_STOPPED, "reading stopped here", reader.input.here);
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

SC_API VQRESULT edct_DctReadStreamEx(SafeHandle handle, EDCT_READSTREAM_FN callback,
                                     uint32_t format, void *user,
                                     EDCT_STREAM_DIAGNOSTIC *diagnostic) {
  if (diagnostic) {
    if (const VQRESULT bad = osspi_IsGoodWritePtr(diagnostic, sizeof *diagnostic)) return bad;
    *diagnostic = EDCT_STREAM_DIAGNOSTIC{EDCT_STREAM_STOPPED, 0, 0, "nothing was read", {}};
  }
  Locked<Dictionary> dictionary(handle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  if (dictionary->kind == kReadOnly) return EDCT_E_READ_ONLY;
  if (!callback) return EDCT_E_NULL_POINTER;
  if (!stream::KnownFormat(format)) return EDCT_E_UNKNOWN_FORMAT;
  if (dictionary->openIterators) return EDCT_E_ITERATOR_OPEN;
  if (diagnostic) *diagnostic = EDCT_STREAM_DIAGNOSTIC{EDCT_STREAM_OK, 0, 0, "", {}};
  stream::Reader reader{};
  reader.dictionary = handle;
  reader.diagnostic = diagnostic;
  return stream::DctStream_Input(reader, *dictionary, callback, format, user,
                                 &dictionary->callbackError);
}

SC_API VQRESULT edct_DctReadStream(SafeHandle handle, EDCT_READSTREAM_FN callback, uint32_t format,
                                   void *user) {
  return edct_DctReadStreamEx(handle, callback, format, user, nullptr);
}

}  // extern "C"
