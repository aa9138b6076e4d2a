// Dictionaries opened from files: archive images read in place, text streams read into a new
// writable dictionary with the reader's diagnostics turned into messages with a place.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "speechcommon.h"
#include "tools/files.h"

namespace cli {

enum class Encoding { kDetect, kUtf8, kUcs2le, kUcs2be };

// The text stream format of a file's bytes: the encoding asked for, else the one its
// byte-order mark shows. A UTF-8 mark is skipped (the reader would take it as text).
struct StreamFormat {
  uint32_t format;
  std::string_view bytes;  // what the reader gets after `prefix`
  std::string prefix;      // a byte-order mark the file lacks but its encoding needs
  bool utf8Mark = false;   // a UTF-8 byte-order mark was skipped
};
StreamFormat DetectFormat(std::string_view bytes, Encoding encoding);

// Reads stream bytes into a writable dictionary; returns the reader's code and diagnostic.
VQRESULT ReadStream(SafeHandle dictionary, const StreamFormat &stream,
                    EDCT_STREAM_DIAGNOSTIC *diagnostic);

// "unknown Content value EDCT_CONTENT_BOGUS; expected ...": what the reader says, with a
// hint at what it would have taken.
std::string Explained(const EDCT_STREAM_DIAGNOSTIC &diagnostic);
// The same after "file:line:col: ", or "file: " when there is no place.
std::string Located(const std::string &path, const EDCT_STREAM_DIAGNOSTIC &diagnostic);

// A dictionary handle closed at scope end.
class DictHandle {
 public:
  DictHandle() = default;
  ~DictHandle() { Close(); }
  DictHandle(const DictHandle &) = delete;
  DictHandle &operator=(const DictHandle &) = delete;
  SafeHandle get() const { return handle_; }
  SafeHandle *out() { return &handle_; }
  void Close() {
    if (handle_.pointer) edct_DctClose(handle_);
    handle_ = SafeHandle{};
  }
  // A new empty writable dictionary; throws Failure.
  static std::unique_ptr<DictHandle> Writable();

 private:
  SafeHandle handle_{};
};

// A dictionary opened from a file (or the standard input for "-"). An archive image is a
// read-only view over the mapping, or a writable copy; a text stream is read into a new
// writable dictionary. Throws Failure with the file and, for a text stream, the place.
class DictFile {
 public:
  DictFile(const std::string &path, Encoding encoding, bool writable);
  SafeHandle handle() const { return handle_.get(); }
  const std::string &path() const { return file_.path(); }
  // "archive image, 249 bytes, read in place" or "UTF-8 text stream".
  const std::string &kind() const { return kind_; }
  bool image() const { return image_; }

 private:
  InputFile file_;
  DictHandle handle_;
  std::string kind_;
  bool image_ = false;
};

// The archive image of a dictionary (for a host of the other byte order with swap).
std::string ArchiveImage(SafeHandle dictionary, bool swap, const std::string &path);
// The dictionary as a text stream in UTF-8 or UCS-2 (either byte order).
std::string TextStream(SafeHandle dictionary, Encoding encoding, const std::string &path);

// "3 keys, 3 entries".
std::string Counts(SafeHandle dictionary);

}  // namespace cli
