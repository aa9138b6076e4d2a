#include "debug/line.h"

#include <cstdio>
#include <cstring>

#include "foundation/alloc.h"

namespace sc::dbg {

LineBuffer::~LineBuffer() {
  if (data_ != stack_) RawFree(data_);
}

bool LineBuffer::Reserve(size_t extra) {
  if (extra <= capacity_ - size_) return true;
  size_t wanted = capacity_ * 2;
  if (wanted < size_ + extra) wanted = size_ + extra;
  char *grown;
  if (data_ == stack_) {
    grown = static_cast<char *>(RawAlloc(wanted));
    if (grown) std::memcpy(grown, data_, size_);
  } else {
    grown = static_cast<char *>(RawRealloc(data_, wanted));
  }
  if (!grown) return false;
  data_ = grown;
  capacity_ = wanted;
  return true;
}

void LineBuffer::Emit() {
  if (size_ > 0) sink_(context_, data_, size_);
  size_ = 0;
}

void LineBuffer::Append(const char *bytes, size_t length) {
  if (length == 0) return;
  last_ = bytes[length - 1];
  if (!Reserve(length)) {
    Emit();
    if (length > capacity_) {
      sink_(context_, bytes, length);
      return;
    }
  }
  std::memcpy(data_ + size_, bytes, length);
  size_ += length;
}

void LineBuffer::AppendText(const char *text) {
  text = Printable(text);
  Append(text, std::strlen(text));
}

void LineBuffer::Format(const char *format, ...) {
  va_list args;
  va_start(args, format);
  FormatV(format, args);
  va_end(args);
}

void LineBuffer::FormatV(const char *format, va_list args) {
  va_list again;
  va_copy(again, args);
  const int needed = std::vsnprintf(data_ + size_, capacity_ - size_, format, args);
  if (needed > 0) {
    const auto length = static_cast<size_t>(needed);
    if (length < capacity_ - size_) {
      size_ += length;
    } else if (Reserve(length + 1)) {
      std::vsnprintf(data_ + size_, capacity_ - size_, format, again);
      size_ += length;
    } else {
      // No room to grow: send what is composed and keep as much of this piece as fits.
      Emit();
      std::vsnprintf(data_, capacity_, format, again);
      size_ = length < capacity_ ? length : capacity_ - 1;
    }
    last_ = data_[size_ - 1];
  }
  va_end(again);
}

void LineBuffer::EndLine() {
  if (last_ != '\n') Append("\n", 1);
}

}  // namespace sc::dbg
