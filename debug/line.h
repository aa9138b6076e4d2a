// One output line, composed in storage of its own call and handed on in one piece.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace sc::dbg {

// Where a finished line (or, when memory runs out, a piece of one) goes.
using LineSink = void (*)(void *context, const char *bytes, size_t length);

// Lines up to the size of the stack buffer need no heap; longer ones move to a block from
// the process allocator. When that allocation fails, what is composed so far goes to the sink
// at once and composition goes on in the emptied buffer, so plain text is never lost; only a
// formatted piece longer than the whole buffer is then cut to it.
class LineBuffer {
 public:
  static constexpr size_t kStackBytes = 4096;

  LineBuffer(LineSink sink, void *context) : sink_(sink), context_(context) {}
  ~LineBuffer();
  LineBuffer(const LineBuffer &) = delete;
  LineBuffer &operator=(const LineBuffer &) = delete;

  void Append(const char *bytes, size_t length);
  // A null text is written as "(null)".
  void AppendText(const char *text);
  void Format(const char *format, ...) __attribute__((format(printf, 2, 3)));
  void FormatV(const char *format, va_list args) __attribute__((format(printf, 2, 0)));
  // Adds a line end unless the last byte composed is one.
  void EndLine();
  // Hands what is composed to the sink and starts empty again.
  void Emit();

 private:
  bool Reserve(size_t extra);

  LineSink sink_;
  void *context_;
  char *data_ = stack_;
  size_t size_ = 0;
  size_t capacity_ = kStackBytes;
  char last_ = 0;  // the last byte composed, also after a piece went out early
  char stack_[kStackBytes];
};

// A null text as printing shows it, so that no formatting ever reads through null.
inline const char *Printable(const char *text) {
  return text ? text : "(null)";
}

}  // namespace sc::dbg
