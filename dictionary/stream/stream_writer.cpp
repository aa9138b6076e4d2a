// The text stream writer: a whole dictionary, walked with an iterator of its own, as the
// text the reader reads, handed to the client's WriteStream callback in 1024-byte blocks.
#include <cstring>
#include <iterator>
#include <type_traits>

#include "dictionary/dictionary.h"
#include "dictionary/stream/stream_common.h"
#include "dictionary/stream/stream_input.h"
#include "platform/text.h"
#include "sc_edct.h"
#include "sc_heap.h"

namespace sc::edct::stream {
namespace {

constexpr uint32_t kWriteBufferSize = 1024;
// A user-words line is broken before a byte once this many characters follow the tab.
constexpr uint32_t kUserWordsColumns = 50;

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kEquals = " = ";

// The state of one write. The conversion and quoting buffers only grow and are reused for
// every item.
struct OutputContext {
  EDCT_WRITESTREAM_FN callback;
  uint32_t format;
  void *user;
  uint32_t *errorSlot;
  Resource *resource;
  unsigned char *writeBuffer;
  uint32_t position;  // bytes waiting in the write buffer
  char *utf8;         // 16-bit strings on their way to a UTF-8 stream
  uint32_t utf8Capacity;
  char16_t *wide;  // 8-bit strings on their way to a 16-bit stream
  uint32_t wideCapacity;
  unsigned char *quoted;  // keys and strings with quotes and escapes added
  uint32_t quotedCapacity;
  char16_t *text;  // 16-bit entry data, aligned and terminated
  uint32_t textCapacity;
};

struct Writer {
  SafeHandle dictionary;
  OutputContext out;
  Tracer tracer;
};

// The length of a string that ends at its NUL or at `most` bytes, whichever comes first.
size_t BoundedLength(const char *text, size_t most) {
  if (!most) return 0;
  const void *nul = std::memchr(text, 0, most);
  return nul ? static_cast<size_t>(static_cast<const char *>(nul) - text) : most;
}

// ---- Buffered output -------------------------------------------------------------------

VQRESULT Deliver(OutputContext &out, uint32_t count) {
  const uint32_t result = out.callback(out.user, out.writeBuffer, count);
  *out.errorSlot = result;
  return result ? EDCT_E_WRITESTREAM_FAILED : 0;
}

VQRESULT WriteBytes(OutputContext &out, const void *bytes, size_t count) {
  const auto *from = static_cast<const unsigned char *>(bytes);
  const size_t room = kWriteBufferSize - out.position;
  if (count > room) {
    std::memcpy(out.writeBuffer + out.position, from, room);
    from += room;
    count -= room;
    VQRESULT delivered = Deliver(out, kWriteBufferSize);
    if (delivered) return delivered;
    out.position = 0;
    while (count > kWriteBufferSize) {
      std::memcpy(out.writeBuffer, from, kWriteBufferSize);
      from += kWriteBufferSize;
      count -= kWriteBufferSize;
      delivered = Deliver(out, kWriteBufferSize);
      if (delivered) return delivered;
    }
  }
  // A buffer filled exactly waits for the next write or the close.
  std::memcpy(out.writeBuffer + out.position, from, count);
  out.position += static_cast<uint32_t>(count);
  return 0;
}

VQRESULT Output_Open(Writer &writer, Resource *resource, EDCT_WRITESTREAM_FN callback,
                     uint32_t format, void *user, uint32_t *errorSlot) {
  OutputContext &out = writer.out;
  out = OutputContext{};
  out.callback = callback;
  out.format = format;
  out.user = user;
  out.errorSlot = errorSlot;
  out.resource = resource;
  out.writeBuffer = static_cast<unsigned char *>(heap_Alloc(resource->heap, kWriteBufferSize));
  if (!out.writeBuffer) return EDCT_E_OUT_OF_MEMORY;
  if (format == EDCT_FORMAT_UTF8) return 0;
  // 16-bit units go out in host order, so only the host's own order can be written.
  if ((format == EDCT_FORMAT_UCS2LE) != kHostLittleEndian) return EDCT_E_NOT_IMPLEMENTED;
  const char16_t mark = 0xFEFF;
  return WriteBytes(out, &mark, sizeof mark);
}

// Hands over what waits in the buffer (after a failure nothing more goes to the callback) and
// frees every buffer.
VQRESULT Output_Close(OutputContext &out, bool deliver) {
  VQRESULT result = 0;
  if (deliver && out.position) result = Deliver(out, out.position);
  if (!out.resource) return result;
  const HeapInstance heap = out.resource->heap;
  heap_Free(heap, out.writeBuffer);
  heap_Free(heap, out.utf8);
  heap_Free(heap, out.wide);
  heap_Free(heap, out.quoted);
  heap_Free(heap, out.text);
  out = OutputContext{};
  return result;
}

// ---- Items -----------------------------------------------------------------------------

VQRESULT WriteItemToUTF8(Writer &writer, std::string_view text) {
  TraceScope trace(writer.tracer, "WriteItemToUTF8", __LINE__);
  return WriteBytes(writer.out, text.data(), text.size());
}

VQRESULT WriteItemToUC(Writer &writer, std::u16string_view text) {
  TraceScope trace(writer.tracer, "WriteItemToUC", __LINE__);
  return WriteBytes(writer.out, text.data(), text.size() * sizeof(char16_t));
}

// An 8-bit string, taken as UTF-8.
VQRESULT WritesItem(Writer &writer, std::string_view text) {
  TraceScope trace(writer.tracer, "WritesItem", __LINE__);
  OutputContext &out = writer.out;
  if (out.format == EDCT_FORMAT_UTF8) return WriteItemToUTF8(writer, text);
  if (!Reserve(out.resource, out.wide, out.wideCapacity, text.size() + 1))
    return EDCT_E_OUT_OF_MEMORY;
  // The units UTF8ToWcs gives, decoded within the view, which need not be terminated.
  const auto *cursor = reinterpret_cast<const unsigned char *>(text.data());
  const auto *end = cursor + text.size();
  uint32_t units = 0;
  char16_t unit;
  while (plat::DecodeUTF8Unit(cursor, end, &unit))
    out.wide[units++] = unit;
  return WriteItemToUC(writer, {out.wide, units});
}

// A 16-bit string; the view must be followed by a terminator.
VQRESULT WritewItem(Writer &writer, std::u16string_view text) {
  TraceScope trace(writer.tracer, "WritewItem", __LINE__);
  OutputContext &out = writer.out;
  if (out.format != EDCT_FORMAT_UTF8) return WriteItemToUC(writer, text);
  if (!Reserve(out.resource, out.utf8, out.utf8Capacity, 3 * text.size() + 1))
    return EDCT_E_OUT_OF_MEMORY;
  const uint32_t bytes = plat::WcsToUTF8(text.data(), out.utf8) - 1;
  return WriteItemToUTF8(writer, {out.utf8, bytes});
}

// Quotes around a string with a blank, and a backslash before every double quote and
// backslash. A string that needs neither comes back as it is, without a copy; a changed one
// is built in the quoting buffer and terminated. Null when memory runs out.
template <class Unit>
const Unit *Quote(OutputContext &out, std::basic_string_view<Unit> text, size_t *length) {
  bool blank = false;
  size_t extra = 0;
  for (const Unit character : text) {
    if (character == ' ')
      blank = true;
    else if (character == '"' || character == '\\')
      ++extra;
  }
  if (blank) extra += 2;
  *length = text.size() + extra;
  if (!extra) return text.data();
  if (!Reserve(out.resource, out.quoted, out.quotedCapacity, (*length + 1) * sizeof(Unit)))
    return nullptr;
  Unit *at = reinterpret_cast<Unit *>(out.quoted);
  if (blank) *at++ = '"';
  for (const Unit character : text) {
    if (character == '"' || character == '\\') *at++ = '\\';
    *at++ = character;
  }
  if (blank) *at++ = '"';
  *at = 0;
  return reinterpret_cast<const Unit *>(out.quoted);
}

template <class Unit>
VQRESULT QuoteTraced(Writer &writer, const char *function, std::basic_string_view<Unit> text,
                     std::basic_string_view<Unit> *quoted) {
  TraceScope trace(writer.tracer, function, __LINE__);
  size_t length = 0;
  const Unit *result = Quote(writer.out, text, &length);
  if (!result) return EDCT_E_OUT_OF_MEMORY;
  *quoted = {result, length};
  return 0;
}

VQRESULT HandleOutputwQuotedString(Writer &writer, std::u16string_view text,
                                   std::u16string_view *quoted) {
  return QuoteTraced(writer, "HandleOutputwQuotedString", text, quoted);
}

VQRESULT HandleOutputsQuotedString(Writer &writer, std::string_view text,
                                   std::string_view *quoted) {
  return QuoteTraced(writer, "HandleOutputsQuotedString", text, quoted);
}

// Items in order; the first failure ends the line.
template <class... Items>
VQRESULT WriteLine(Writer &writer, Items... items) {
  VQRESULT result = 0;
  [[maybe_unused]] const auto write = [&](auto item) {
    if (result) return;
    if constexpr (std::is_convertible_v<decltype(item), std::u16string_view>)
      result = WritewItem(writer, std::u16string_view(item));
    else
      result = WritesItem(writer, std::string_view(item));
  };
  (write(items), ...);
  if (!result) result = WritesItem(writer, kLineEnd);
  return result;
}

// "Key = value" for an attribute that is present.
VQRESULT WriteAttribute(Writer &writer, std::u16string_view key, const char *value,
                        size_t most = std::string_view::npos) {
  if (!value) return 0;
  const size_t length =
      most == std::string_view::npos ? std::strlen(value) : BoundedLength(value, most);
  return WriteLine(writer, key, kEquals, std::string_view(value, length));
}

// An empty line, "[SubHeader]" and the attributes of a SubDictionary's first entry, an empty
// line and "[Data]". POS is not written.
VQRESULT WriteSubHeader(Writer &writer, const EDCT_ENTRY &record) {
  TraceScope trace(writer.tracer, "WriteSubHeader", __LINE__);
  if (record.Content >= std::size(kContentNames)) return EDCT_E_NOT_IMPLEMENTED;
  if (record.Representation >= std::size(kRepresentationNames)) return EDCT_E_UNKNOWN_FORMAT;
  VQRESULT result = WriteLine(writer);
  if (!result) result = WriteLine(writer, kSubHeader);
  if (!result) result = WriteAttribute(writer, u"Language", record.Language);
  // The Model text ends at its NUL, or after the 128 bytes of the block.
  if (!result) result = WriteAttribute(writer, u"Model", record.Model, kModelBlock - 1);
  if (!result) result = WriteAttribute(writer, u"Engine", record.Engine);
  if (!result) result = WriteLine(writer, u"Content", kEquals, kContentNames[record.Content]);
  if (!result)
    result =
        WriteLine(writer, u"Representation", kEquals, kRepresentationNames[record.Representation]);
  if (!result) result = WriteLine(writer);
  if (!result) result = WriteLine(writer, kData);
  return result;
}

// "//" before each string of the list, up to its empty string or the end of the data.
VQRESULT HandleBroadNarrowsOutput(Writer &writer, const EDCT_ENTRY &record) {
  TraceScope trace(writer.tracer, "HandleBroadNarrowsOutput", __LINE__);
  if (record.Representation != EDCT_REPR_SZZ_STRING) return EDCT_E_UNKNOWN_FORMAT;
  const auto *data = static_cast<const char *>(record.Data);
  VQRESULT result = 0;
  for (uint32_t at = 0; !result && at < record.DataSize && data[at];) {
    const size_t length = BoundedLength(data + at, record.DataSize - at);
    result = WritesItem(writer, "//");
    if (!result) result = WritesItem(writer, std::string_view(data + at, length));
    at += static_cast<uint32_t>(length) + 1;
  }
  return result ? result : WritesItem(writer, kLineEnd);
}

// Two upper-case hexadecimal digits and a blank per byte, 17 bytes to a line; a line that
// continues ends with a backslash.
VQRESULT HandleUserWordsOutput(Writer &writer, const EDCT_ENTRY &record) {
  TraceScope trace(writer.tracer, "HandleUserWordsOutput", __LINE__);
  if (record.Representation != EDCT_REPR_BINARY) return EDCT_E_UNKNOWN_FORMAT;
  constexpr char kDigits[] = "0123456789ABCDEF";
  const auto *data = static_cast<const unsigned char *>(record.Data);
  uint32_t column = 0;
  for (uint32_t i = 0; i < record.DataSize; ++i) {
    if (column > kUserWordsColumns) {
      const VQRESULT broken = WriteLine(writer, std::string_view("\\"));
      if (broken) return broken;
      column = 0;
    }
    const char pair[3] = {kDigits[data[i] >> 4], kDigits[data[i] & 15], ' '};
    const VQRESULT written = WritesItem(writer, std::string_view(pair, 3));
    if (written) return written;
    column += 3;
  }
  return WritesItem(writer, kLineEnd);
}

VQRESULT HandleOrthographicOutput(Writer &writer, const EDCT_ENTRY &record) {
  TraceScope trace(writer.tracer, "HandleOrthographicOutput", __LINE__);
  OutputContext &out = writer.out;
  VQRESULT result;
  if (record.Representation == EDCT_REPR_SZ_STRING) {
    const auto *data = static_cast<const char *>(record.Data);
    std::string_view quoted;
    result =
        HandleOutputsQuotedString(writer, {data, BoundedLength(data, record.DataSize)}, &quoted);
    if (!result) result = WritesItem(writer, quoted);
  } else if (record.Representation == EDCT_REPR_WSZ_STRING) {
    // A copy, so that the units are aligned and end at a terminator within the data.
    const uint32_t most = record.DataSize / sizeof(char16_t);
    if (!Reserve(out.resource, out.text, out.textCapacity, size_t{most} + 1))
      return EDCT_E_OUT_OF_MEMORY;
    if (most) std::memcpy(out.text, record.Data, size_t{most} * sizeof(char16_t));
    out.text[most] = 0;
    std::u16string_view quoted;
    result = HandleOutputwQuotedString(writer, out.text, &quoted);
    if (!result) result = WritewItem(writer, quoted);
  } else {
    return EDCT_E_UNKNOWN_FORMAT;
  }
  return result ? result : WritesItem(writer, kLineEnd);
}

VQRESULT WriteEntryData(Writer &writer, const EDCT_ENTRY &record) {
  switch (record.Content) {
    case EDCT_CONTENT_BROAD_NARROWS:
      return HandleBroadNarrowsOutput(writer, record);
    case EDCT_CONTENT_USERWORDS:
      return HandleUserWordsOutput(writer, record);
    case EDCT_CONTENT_ORTHOGRAPHIC:
      return HandleOrthographicOutput(writer, record);
    default:
      return EDCT_E_NOT_IMPLEMENTED;
  }
}

// "[Header]" with the Name and Description, written unquoted.
VQRESULT WriteHeader(Writer &writer) {
  VQRESULT result = WriteLine(writer, kHeader);
  if (result) return result;
  EDCT_INFO info;
  result = edct_DctGetInfo(writer.dictionary, &info);
  if (result) return result;
  if (info.Name) result = WriteLine(writer, u"Name", kEquals, info.Name);
  if (!result && info.Description)
    result = WriteLine(writer, u"Description", kEquals, info.Description);
  const VQRESULT freed = edct_DctFreeInfo(writer.dictionary, &info);
  return result ? result : freed;
}

// Every key with its entries, a "[SubHeader]" section where a SubDictionary begins.
VQRESULT WriteEntries(Writer &writer, SafeHandle iterator) {
  for (;;) {
    uint32_t ended = 0;
    VQRESULT result = edct_DctItHasEnded(iterator, &ended);
    if (result || ended) return result;
    const char16_t *key = nullptr;
    const EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0;
    uint32_t newSection = 0;
    result = edct_DctItCurrent(iterator, &key, &entries, &count, &newSection);
    if (result) return result;
    if (newSection && count) result = WriteSubHeader(writer, entries[0]);
    for (uint32_t i = 0; !result && i < count; ++i) {
      std::u16string_view quoted;
      result = HandleOutputwQuotedString(writer, key, &quoted);
      if (!result) result = WritewItem(writer, quoted);
      if (!result) result = WritesItem(writer, "\t");
      if (!result) result = WriteEntryData(writer, entries[i]);
    }
    if (!result) result = edct_DctItIncrement(iterator);
    if (result) return result;
  }
}

VQRESULT DctStream_Output(Writer &writer, const Dictionary &dictionary,
                          EDCT_WRITESTREAM_FN callback, uint32_t format, void *user,
                          uint32_t *errorSlot) {
  TraceScope trace(writer.tracer, "DctStream_Output", __LINE__);
  Resource *resource = nullptr;
  VQRESULT result = InitRsrcFunction(dictionary.resourceHandle, &resource);
  if (result) return result;
  result = Output_Open(writer, resource, callback, format, user, errorSlot);
  if (!result) result = WriteHeader(writer);
  if (!result) {
    SafeHandle iterator;
    result = edct_DctItOpen(dictionary.resourceHandle, writer.dictionary, &iterator);
    if (!result) {
      result = WriteEntries(writer, iterator);
      const VQRESULT closed = edct_DctItClose(iterator);
      if (!result) result = closed;
    }
  }
  const VQRESULT closed = Output_Close(writer.out, result == 0);
  return result ? result : closed;
}

}  // namespace
}  // namespace sc::edct::stream

using namespace sc::edct;

extern "C" {

SC_API VQRESULT edct_DctWriteStream(SafeHandle handle, EDCT_WRITESTREAM_FN callback,
                                    uint32_t format, void *user) {
  Locked<Dictionary> dictionary(handle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  if (!callback) return EDCT_E_NULL_POINTER;
  if (!stream::KnownFormat(format)) return EDCT_E_UNKNOWN_FORMAT;
  stream::Writer writer{};
  writer.dictionary = handle;
  return stream::DctStream_Output(writer, *dictionary, callback, format, user,
                                  &dictionary->callbackError);
}

}  // extern "C"
