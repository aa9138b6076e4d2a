// The input side of the text stream reader: bytes from the client's ReadStream callback
// through one 1024-byte buffer, and the tokenizer that cuts them into trimmed tokens.
#pragma once

#include <cstdint>
#include <string_view>

#include "sc_edct.h"
#include "sc_heap.h"
#include "sc_rsrc.h"

namespace sc::edct::stream {

inline constexpr uint32_t kReadBufferSize = 1024;

// Sets of characters that end a token.
enum Terminators : uint32_t {
  kEndsAtLineFeed = 1,  // line feed
  kEndsAtEquals = 2,    // "="
  kEndsAtBlank = 4,     // space or tab
};

// The place of a character in the stream: line and column from 1, a column counting
// characters (a UTF-8 sequence or a surrogate pair is one).
struct TextPlace {
  uint32_t line = 1;
  uint32_t column = 1;
};

// The state of one read. Every buffer comes from the Resource's heap, only grows, and is
// reused from token to token.
struct InputContext {
  Resource *resource;
  EDCT_READSTREAM_FN callback;
  uint32_t format;
  void *user;
  uint32_t *errorSlot;  // receives every callback result
  bool bigEndian;       // the order of a 16-bit stream, from its byte-order mark
  unsigned char *readBuffer;
  uint32_t position;  // next unread byte of the read buffer
  uint32_t end;       // bytes the last refill delivered
  char *narrow;       // 8-bit token
  uint32_t narrowCapacity;
  char16_t *wide;  // 16-bit token
  uint32_t wideCapacity;
  unsigned char *data;  // the data of the entry being built
  uint32_t dataCapacity;
  // Kept only for a read that reports where it stopped (tracking set after Input_Open):
  bool tracking;
  bool tokenStarted;     // the token being read has met a character other than a blank
  TextPlace here;        // the next character to be read
  TextPlace tokenStart;  // the first such character of the last token read
};

// Grows a buffer (in units of T) so that it holds at least `needed` units, keeping its
// contents. Capacities are multiples of 100 units and grow by half at least, so a long token
// costs a few copies rather than one per 100 characters. False when memory runs out; the
// buffer then stays as it was.
template <class T>
bool Reserve(Resource *resource, T *&buffer, uint32_t &capacity, size_t needed) {
  if (needed <= capacity) return true;
  constexpr size_t kStep = 100;
  constexpr size_t kMost = 0x7FFFFFFFu / sizeof(T);
  size_t grown = capacity + (capacity / 2 > kStep ? capacity / 2 : kStep);
  if (grown < needed) grown = needed;
  grown = (grown + kStep - 1) / kStep * kStep;
  if (grown > kMost) {
    if (needed > kMost) return false;
    grown = kMost;
  }
  void *block = heap_Realloc(resource->heap, buffer, grown * sizeof(T));
  if (!block) return false;
  buffer = static_cast<T *>(block);
  capacity = static_cast<uint32_t>(grown);
  return true;
}

// Starts a read: clears the context, allocates the read buffer and, for a 16-bit format,
// checks the byte-order mark. The format must be a known one.
VQRESULT Input_Open(InputContext *context, Resource *resource, EDCT_READSTREAM_FN callback,
                    uint32_t format, void *user, uint32_t *errorSlot);
// Frees every buffer of the context.
void Input_Release(InputContext *context);

// Copies up to `wanted` bytes, refilling the read buffer through the callback; fewer only at
// the end of the stream.
VQRESULT ReadBytes(InputContext *context, void *destination, uint32_t wanted, uint32_t *obtained);

// One raw token into the 8-bit (ReadItemFromUTF8) or 16-bit (ReadItemFromUC) token buffer,
// NUL-terminated; *length counts its characters without the NUL. Returns 0 when a terminator
// ended it, EDCT_S_END_OF_STREAM when the stream did, or a failure.
VQRESULT ReadItemFromUTF8(InputContext *context, uint32_t terminators, bool quoteMode,
                          uint32_t *length);
VQRESULT ReadItemFromUC(InputContext *context, uint32_t terminators, bool quoteMode,
                        uint32_t *length);

// One trimmed token, skipping empty ones until the stream ends, as a 16-bit (ReadwItem) or
// UTF-8 (ReadsItem) string whatever the stream's encoding. The view is NUL-terminated and
// lives in the context until the next read. Returns 0, EDCT_S_END_OF_STREAM or a failure.
VQRESULT ReadwItem(InputContext *context, uint32_t terminators, bool quoteMode,
                   std::u16string_view *token);
VQRESULT ReadsItem(InputContext *context, uint32_t terminators, bool quoteMode,
                   std::string_view *token);

}  // namespace sc::edct::stream
