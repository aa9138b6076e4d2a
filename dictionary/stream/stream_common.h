// What the text stream reader and writer share: the names of the section keys and kinds, and
// the function-level tracing both do.
#pragma once

#include <bit>
#include <cstdint>
#include <string_view>

#include "sc_dbg.h"
#include "sc_edct.h"

namespace sc::edct::stream {

inline constexpr uint32_t kUnset = 0xFFFFFFFFu;  // Content, Representation or POS not given
inline constexpr uint32_t kModelBlock = 129;     // the 128 bytes of a Model and a NUL

inline bool KnownFormat(uint32_t format) {
  return format == EDCT_FORMAT_UTF8 || format == EDCT_FORMAT_UCS2LE || format == EDCT_FORMAT_UCS2BE;
}

inline constexpr bool kHostLittleEndian = std::endian::native == std::endian::little;

// Section lines and keys.
inline constexpr std::u16string_view kHeader = u"[Header]";
inline constexpr std::u16string_view kSubHeader = u"[SubHeader]";
inline constexpr std::u16string_view kData = u"[Data]";

// Names of the content kinds and representations, indexed by their values.
inline constexpr std::u16string_view kContentNames[] = {
    u"EDCT_CONTENT_BROAD_NARROWS", u"EDCT_CONTENT_USERWORDS", u"EDCT_CONTENT_ORTHOGRAPHIC"};
inline constexpr std::u16string_view kRepresentationNames[] = {
    u"EDCT_REPR_SZZ_STRING", u"EDCT_REPR_BINARY", u"EDCT_REPR_SZ_STRING", u"EDCT_REPR_WSZ_STRING"};

// Function entry and exit lines under the stream's module and submodule. Whether they are
// wanted is asked once per stream operation, so an untraced run pays one test per call.
class Tracer {
 public:
  static constexpr const char *kModule = "EDCTSPI";
  static constexpr const char *kSubmodule = "DctStrm";
  // The unit's name in trace lines is the stream module's established source-file string,
  // independent of where this folder sits.
  static constexpr const char *kFile = "core/edctspi/dctstrm/src/stream";

  Tracer() : active_(dbg_SubModActive(kModule, kSubmodule) == 1) {}
  bool active() const { return active_; }
  void In(const char *function, int line) const {
    if (active_) dbg_TraceIn(DBG_LEVEL_FUNC, kModule, kSubmodule, 0, function, kFile, line);
  }
  void Out(const char *function, int line) const {
    if (active_) dbg_TraceOut(DBG_LEVEL_FUNC, kModule, kSubmodule, 0, function, kFile, line);
  }
  void Failure(const char *function, int line, VQRESULT result) const {
    if (active_)
      dbg_TraceArg(DBG_LEVEL_ERR, kModule, kSubmodule, 0, function, kFile, line, "%d",
                   static_cast<int>(result));
  }

 private:
  bool active_;
};

// Traces the entry of the enclosing function now and its exit at the end of the scope.
class TraceScope {
 public:
  TraceScope(const Tracer &tracer, const char *function, int line)
      : tracer_(tracer), function_(function), line_(line) {
    tracer_.In(function_, line_);
  }
  ~TraceScope() { tracer_.Out(function_, line_); }
  TraceScope(const TraceScope &) = delete;
  TraceScope &operator=(const TraceScope &) = delete;

 private:
  const Tracer &tracer_;
  const char *function_;
  int line_;
};

}  // namespace sc::edct::stream
