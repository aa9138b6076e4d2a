// Buffered input from the ReadStream callback and the tokenizer of the text stream reader.
#include "dictionary/stream/stream_input.h"

#include <cstring>

#include "dictionary/stream/stream_common.h"
#include "foundation/result.h"
#include "platform/text.h"
#include "sc_edct.h"

namespace sc::edct::stream {
namespace {

constexpr unsigned kByteOrderMark = 0xFEFF;

// Asks the callback for the next bytes. Every result is kept in the error slot. A delivery
// of 0 bytes leaves the buffer empty: the stream has ended, and the next read asks again.
VQRESULT Refill(InputContext *context) {
  uint32_t count = kReadBufferSize;
  const uint32_t result = context->callback(context->user, context->readBuffer, &count);
  *context->errorSlot = result;
  context->position = 0;
  context->end = 0;
  if (result) return EDCT_E_READSTREAM_FAILED;
  // A callback that claims more than the buffer holds has written only what fits.
  context->end = count < kReadBufferSize ? count : kReadBufferSize;
  return 0;
}

// One byte, exactly as ReadBytes would give it: the buffer is refilled as soon as its last
// byte is taken. *got is false at the end of the stream.
inline VQRESULT NextByte(InputContext *context, unsigned *character, bool *got) {
  *got = false;
  if (context->position == context->end) {
    const VQRESULT refilled = Refill(context);
    if (refilled || context->end == 0) return refilled;
  }
  *character = context->readBuffer[context->position++];
  *got = true;
  return context->position == context->end ? Refill(context) : 0;
}

// One 16-bit unit in the stream's byte order. A half unit at the end of a stream of odd
// length is dropped: the stream ends before it.
inline VQRESULT NextUnit(InputContext *context, unsigned *character, bool *got) {
  unsigned char bytes[2];
  uint32_t obtained = 0;
  *got = false;
  const VQRESULT read = ReadBytes(context, bytes, 2, &obtained);
  if (read || obtained < 2) return read;
  *character = context->bigEndian ? (bytes[0] << 8) | bytes[1] : bytes[0] | (bytes[1] << 8);
  *got = true;
  return 0;
}

template <bool kBytes>
inline VQRESULT Next(InputContext *context, unsigned *character, bool *got) {
  if constexpr (kBytes)
    return NextByte(context, character, got);
  else
    return NextUnit(context, character, got);
}

inline bool Ends(unsigned character, uint32_t terminators) {
  switch (character) {
    case '\n':
      return terminators & kEndsAtLineFeed;
    case '=':
      return terminators & kEndsAtEquals;
    case ' ':
    case '\t':
      return terminators & kEndsAtBlank;
    default:
      return false;
  }
}

// Whether a character needs more than being appended to the token. Every character with a
// role in the syntax lies at or below the backslash.
inline bool Special(unsigned character, uint32_t terminators, bool quoteMode, bool inside) {
  if (character > '\\') return false;
  if (character == '\r') return true;
  if (quoteMode && (character == '"' || character == '\\')) return true;
  return !inside && Ends(character, terminators);
}

inline bool Blank(unsigned character) {
  return character == ' ' || character == '\t';
}

// Moves the place past one character taken from the stream (kTrack reads only). The first
// character of a token that is not a blank or a line end marks where the token starts.
template <bool kBytes>
inline void Pass(InputContext *context, unsigned character) {
  if (!context->tokenStarted && !Blank(character) && character != '\n' && character != '\r') {
    context->tokenStarted = true;
    context->tokenStart = context->here;
  }
  if (character == '\n') {
    ++context->here.line;
    context->here.column = 1;
  } else if (kBytes ? (character & 0xC0) != 0x80 : (character & 0xFC00) != 0xDC00) {
    ++context->here.column;  // continuation bytes and low surrogates finish a character
  }
}

// The tokenizer over bytes (Unit char) or 16-bit units (Unit char16_t); kTrack keeps the
// place of every character.
template <class Unit, bool kTrack>
VQRESULT ReadItem(InputContext *context, Unit *&buffer, uint32_t &capacity, uint32_t terminators,
                  bool quoteMode, uint32_t *length) {
  constexpr bool kBytes = sizeof(Unit) == 1;
  if constexpr (kTrack) context->tokenStarted = false;
  const auto next = [context](unsigned *character, bool *got) {
    const VQRESULT read = Next<kBytes>(context, character, got);
    if constexpr (kTrack)
      if (!read && *got) Pass<kBytes>(context, *character);
    return read;
  };
  uint32_t used = 0;
  bool inside = false;
  VQRESULT status = EDCT_S_END_OF_STREAM;
  for (;;) {
    if constexpr (kBytes) {
      // Ordinary bytes straight from the read buffer, a run at a time; the same bytes one by
      // one below would only be appended.
      const unsigned char *from = context->readBuffer + context->position;
      const unsigned char *to = context->readBuffer + context->end;
      const unsigned char *at = from;
      while (at < to && !Special(*at, terminators, quoteMode, inside))
        ++at;
      if (at != from) {
        const auto run = static_cast<uint32_t>(at - from);
        if (!Reserve(context->resource, buffer, capacity, size_t{used} + run + 1))
          return EDCT_E_OUT_OF_MEMORY;
        if constexpr (kTrack)
          for (const unsigned char *byte = from; byte < at; ++byte)
            Pass<true>(context, *byte);
        std::memcpy(buffer + used, from, run);
        used += run;
        context->position += run;
        if (context->position == context->end) {
          const VQRESULT refilled = Refill(context);
          if (refilled) return refilled;
        }
        continue;
      }
    }
    unsigned character = 0;
    bool got = false;
    VQRESULT read = next(&character, &got);
    if (read) return read;
    if (!got) break;
    if (quoteMode) {
      // The character after a quote switch is never a switch itself; a backslash takes the
      // next character as it comes.
      if (character == '"') {
        inside = !inside;
        read = next(&character, &got);
        if (read) return read;
        if (!got) break;
      }
      if (character == '\\') {
        read = next(&character, &got);
        if (read) return read;
        if (!got) break;
      }
    }
    if (!inside && Ends(character, terminators)) {
      status = 0;
      break;
    }
    if (character == '\r') continue;
    if (!Reserve(context->resource, buffer, capacity, size_t{used} + 2))
      return EDCT_E_OUT_OF_MEMORY;
    buffer[used++] = static_cast<Unit>(character);
  }
  if (!Reserve(context->resource, buffer, capacity, size_t{used} + 1)) return EDCT_E_OUT_OF_MEMORY;
  buffer[used] = 0;
  *length = used;
  if constexpr (kTrack)
    if (!context->tokenStarted) context->tokenStart = context->here;
  return status;
}

// Cuts a token at its first NUL (a NUL in the stream ends the string it stands in), then
// removes blanks and line feeds at its start and blanks at its end, and terminates it.
template <class Unit>
std::basic_string_view<Unit> Trim(Unit *text, uint32_t length) {
  uint32_t end = 0;
  while (end < length && text[end])
    ++end;
  uint32_t start = 0;
  while (start < end && (Blank(text[start]) || text[start] == '\n'))
    ++start;
  while (end > start && Blank(text[end - 1]))
    --end;
  text[end] = 0;
  return {text + start, end - start};
}

}  // namespace

VQRESULT Input_Open(InputContext *context, Resource *resource, EDCT_READSTREAM_FN callback,
                    uint32_t format, void *user, uint32_t *errorSlot) {
  *context = InputContext{};
  context->resource = resource;
  context->callback = callback;
  context->format = format;
  context->user = user;
  context->errorSlot = errorSlot;
  context->readBuffer = static_cast<unsigned char *>(heap_Alloc(resource->heap, kReadBufferSize));
  if (!context->readBuffer) return EDCT_E_OUT_OF_MEMORY;
  if (format == EDCT_FORMAT_UTF8) return 0;
  unsigned char mark[2];
  uint32_t obtained = 0;
  const VQRESULT read = ReadBytes(context, mark, 2, &obtained);
  if (read) return read;
  if (obtained < 2) return EDCT_E_UNKNOWN_FORMAT;
  context->bigEndian = format == EDCT_FORMAT_UCS2BE;
  const unsigned unit = context->bigEndian ? (mark[0] << 8) | mark[1] : mark[0] | (mark[1] << 8);
  return unit == kByteOrderMark ? 0 : EDCT_E_UNKNOWN_FORMAT;
}

void Input_Release(InputContext *context) {
  if (!context->resource) return;
  const HeapInstance heap = context->resource->heap;
  heap_Free(heap, context->readBuffer);
  heap_Free(heap, context->narrow);
  heap_Free(heap, context->wide);
  heap_Free(heap, context->data);
  context->readBuffer = nullptr;
  context->narrow = nullptr;
  context->wide = nullptr;
  context->data = nullptr;
  context->narrowCapacity = context->wideCapacity = context->dataCapacity = 0;
}

VQRESULT ReadBytes(InputContext *context, void *destination, uint32_t wanted, uint32_t *obtained) {
  auto *out = static_cast<unsigned char *>(destination);
  uint32_t copied = 0;
  *obtained = 0;
  if (context->position == context->end) {
    const VQRESULT refilled = Refill(context);
    if (refilled || context->end == 0) return refilled;
  }
  // Taking the last byte of the buffer refills it at once, even when that ends the request.
  while (context->end - context->position <= wanted - copied) {
    const uint32_t available = context->end - context->position;
    std::memcpy(out + copied, context->readBuffer + context->position, available);
    copied += available;
    context->position = context->end;
    const VQRESULT refilled = Refill(context);
    if (refilled) return refilled;
    if (context->end == 0) {
      *obtained = copied;
      return 0;
    }
  }
  const uint32_t rest = wanted - copied;
  std::memcpy(out + copied, context->readBuffer + context->position, rest);
  context->position += rest;
  *obtained = wanted;
  return 0;
}

VQRESULT ReadItemFromUTF8(InputContext *context, uint32_t terminators, bool quoteMode,
                          uint32_t *length) {
  return context->tracking
             ? ReadItem<char, true>(context, context->narrow, context->narrowCapacity, terminators,
                                    quoteMode, length)
             : ReadItem<char, false>(context, context->narrow, context->narrowCapacity, terminators,
                                     quoteMode, length);
}

VQRESULT ReadItemFromUC(InputContext *context, uint32_t terminators, bool quoteMode,
                        uint32_t *length) {
  return context->tracking
             ? ReadItem<char16_t, true>(context, context->wide, context->wideCapacity, terminators,
                                        quoteMode, length)
             : ReadItem<char16_t, false>(context, context->wide, context->wideCapacity, terminators,
                                         quoteMode, length);
}

namespace {

// One trimmed, non-empty token (or what the end of the stream left) as 16-bit units
// (Unit char16_t) or UTF-8 (Unit char), converted from the stream's encoding when it differs.
template <class Unit>
VQRESULT ReadTrimmed(InputContext *context, uint32_t terminators, bool quoteMode,
                     std::basic_string_view<Unit> *token) {
  const bool utf8 = context->format == EDCT_FORMAT_UTF8;
  for (;;) {
    uint32_t length = 0;
    const VQRESULT status = utf8 ? ReadItemFromUTF8(context, terminators, quoteMode, &length)
                                 : ReadItemFromUC(context, terminators, quoteMode, &length);
    if (Failed(status)) return status;
    Unit *text;
    if constexpr (sizeof(Unit) == sizeof(char16_t)) {
      // UTF-8 never gives more units than it has bytes, so the size need not be measured.
      if (utf8 &&
          !Reserve(context->resource, context->wide, context->wideCapacity, size_t{length} + 1))
        return EDCT_E_OUT_OF_MEMORY;
      if (utf8) length = plat::UTF8ToWcs(context->narrow, context->wide) - 1;
      text = context->wide;
    } else {
      if (!utf8) {
        // Trimming first changes nothing (blanks are single bytes) and sizes the buffer closer.
        const std::u16string_view wide = Trim(context->wide, length);
        if (!Reserve(context->resource, context->narrow, context->narrowCapacity,
                     size_t{3} * wide.size() + 1))
          return EDCT_E_OUT_OF_MEMORY;
        length = plat::WcsToUTF8(wide.data(), context->narrow) - 1;
      }
      text = context->narrow;
    }
    *token = Trim(text, length);
    if (!token->empty() || status == EDCT_S_END_OF_STREAM) return status;
  }
}

}  // namespace

VQRESULT ReadwItem(InputContext *context, uint32_t terminators, bool quoteMode,
                   std::u16string_view *token) {
  return ReadTrimmed(context, terminators, quoteMode, token);
}

VQRESULT ReadsItem(InputContext *context, uint32_t terminators, bool quoteMode,
                   std::string_view *token) {
  return ReadTrimmed(context, terminators, quoteMode, token);
}

}  // namespace sc::edct::stream
