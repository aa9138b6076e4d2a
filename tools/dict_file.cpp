// Opening, reading and writing dictionaries for the dict commands.
#include "tools/dict_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

#include "tools/cli.h"
#include "tools/dict_entries.h"
#include "tools/result_codes.h"

namespace cli {
namespace {

constexpr uint32_t kImageFormat = 3;  // the first word of an archive image, in host order
constexpr uint32_t kSwappedImageFormat = 0x03000000u;
constexpr uint32_t kImageHeader = 24;  // its last word counts the sections

// Stream bytes handed to the reader: an optional prefix, then the rest.
struct ByteSource {
  std::string_view prefix;
  std::string_view bytes;
  size_t at = 0;
  CallbackGuard guard;

  static uint32_t Read(void *user, void *buffer, uint32_t *count) {
    auto *self = static_cast<ByteSource *>(user);
    return self->guard.Run(1, [&] {
      auto *out = static_cast<char *>(buffer);
      uint32_t given = 0;
      while (given < *count && self->at < self->prefix.size())
        out[given++] = self->prefix[self->at++];
      if (self->at < self->prefix.size()) {
        *count = given;
        return 0u;
      }
      const size_t from = self->at - self->prefix.size();
      const size_t more = std::min<size_t>(*count - given, self->bytes.size() - from);
      std::memcpy(out + given, self->bytes.data() + from, more);
      self->at += more;
      *count = given + static_cast<uint32_t>(more);
      return 0u;
    });
  }
};

// The bytes the writer hands over; memory running out here ends the write with a failure.
struct Collected {
  std::string bytes;
  CallbackGuard guard;
  static uint32_t Write(void *user, const void *buffer, uint32_t count) {
    auto *self = static_cast<Collected *>(user);
    return self->guard.Run(1, [&] {
      self->bytes.append(static_cast<const char *>(buffer), count);
      return 0u;
    });
  }
};

uint32_t HostOrderFormat() {
  return std::endian::native == std::endian::little ? EDCT_FORMAT_UCS2LE : EDCT_FORMAT_UCS2BE;
}

bool EqualFolded(std::string_view a, std::string_view b) {
  const auto fold = [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  };
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                            [&](char x, char y) { return fold(x) == fold(y); });
}

// What the reader says of a key or value it refuses, with what it would have taken.
std::string Hint(const EDCT_STREAM_DIAGNOSTIC &diagnostic) {
  static const char *const kKeys[] = {"Name",    "Description",    "Language", "Engine",   "Model",
                                      "Content", "Representation", "POS",      "NbrSubDct"};
  switch (diagnostic.Reason) {
    case EDCT_STREAM_UNKNOWN_KEY:
      for (const char *key : kKeys)
        if (EqualFolded(key, diagnostic.Found)) return fmt::format("; did you mean {}?", key);
      return "; the keys are Name, Description, Language, Engine, Model, Content, "
             "Representation, POS and NbrSubDct";
    case EDCT_STREAM_UNKNOWN_SECTION:
      return "; the sections are [Header], [SubHeader] and [Data]";
    case EDCT_STREAM_UNKNOWN_CONTENT:
      return "; expected EDCT_CONTENT_BROAD_NARROWS, EDCT_CONTENT_USERWORDS or "
             "EDCT_CONTENT_ORTHOGRAPHIC";
    case EDCT_STREAM_UNKNOWN_REPRESENTATION:
      return "; expected EDCT_REPR_SZZ_STRING, EDCT_REPR_BINARY, EDCT_REPR_SZ_STRING or "
             "EDCT_REPR_WSZ_STRING";
    default:
      return "";
  }
}

}  // namespace

StreamFormat DetectFormat(std::string_view bytes, Encoding encoding) {
  StreamFormat stream{EDCT_FORMAT_UTF8, bytes, {}};
  const bool le = bytes.starts_with("\xFF\xFE"), be = bytes.starts_with("\xFE\xFF");
  if (encoding == Encoding::kUcs2le || (encoding == Encoding::kDetect && le)) {
    stream.format = EDCT_FORMAT_UCS2LE;
    if (!le) stream.prefix = "\xFF\xFE";
  } else if (encoding == Encoding::kUcs2be || (encoding == Encoding::kDetect && be)) {
    stream.format = EDCT_FORMAT_UCS2BE;
    if (!be) stream.prefix = "\xFE\xFF";
  } else if (bytes.starts_with("\xEF\xBB\xBF")) {
    stream.bytes.remove_prefix(3);
    stream.utf8Mark = true;
  }
  return stream;
}

VQRESULT ReadStream(SafeHandle dictionary, const StreamFormat &stream,
                    EDCT_STREAM_DIAGNOSTIC *diagnostic) {
  ByteSource source{stream.prefix, stream.bytes, 0, {}};
  const VQRESULT read =
      edct_DctReadStreamEx(dictionary, ByteSource::Read, stream.format, &source, diagnostic);
  source.guard.Rethrow();
  return read;
}

std::string Explained(const EDCT_STREAM_DIAGNOSTIC &diagnostic) {
  return fmt::format("{}{}{}{}", diagnostic.Text, diagnostic.Found[0] ? " " : "", diagnostic.Found,
                     Hint(diagnostic));
}

std::string Located(const std::string &path, const EDCT_STREAM_DIAGNOSTIC &diagnostic) {
  if (!diagnostic.Line) return fmt::format("{}: {}", path, Explained(diagnostic));
  return fmt::format("{}:{}:{}: {}", path, diagnostic.Line, diagnostic.Column,
                     Explained(diagnostic));
}

std::unique_ptr<DictHandle> DictHandle::Writable() {
  auto handle = std::make_unique<DictHandle>();
  const VQRESULT opened =
      edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, handle->out());
  if (opened) throw Failure("cannot open a dictionary: " + Describe(opened));
  return handle;
}

DictFile::DictFile(const std::string &path, Encoding encoding, bool writable) : file_(path) {
  Doing("reading", path);
  if (file_.Word(0) == kImageFormat) {
    // The view and the loader trust an image: it is checked against the file's bytes first.
    const uint32_t recorded = file_.Word(4);
    if (const VQRESULT checked = edct_DctCheckImage(file_.data(), file_.size()))
      throw Failure(
          path + ": " +
          (recorded > file_.size() ? "truncated archive image" : "cannot open the archive image") +
          ": " + Describe(checked));
    // An image without sections (a lexicon without [SubHeader]) holds nothing to read in
    // place; it opens as an empty dictionary.
    if (file_.Word(20) == 0) writable = true;
    const VQRESULT opened = edct_DctOpen(g_vqNullHandle, file_.data(),
                                         writable ? EDCT_OPEN_WRITABLE : EDCT_OPEN_READONLY,
                                         nullptr, nullptr, handle_.out());
    if (opened) throw Failure(path + ": cannot open the archive image: " + Describe(opened));
    kind_ = fmt::format("archive image, {} bytes{}", recorded, writable ? "" : ", read in place");
    image_ = true;
    return;
  }
  if (file_.Word(0) == kSwappedImageFormat)
    throw Failure(path +
                  ": archive image for a host of the other byte order (compile it without "
                  "--swap to use it here): " +
                  Describe(EDCT_E_CORRUPT));
  const StreamFormat stream = DetectFormat(file_.bytes(), encoding);
  static const char *const kNames[] = {"UTF-8", "UCS-2 little-endian", "UCS-2 big-endian"};
  kind_ = fmt::format("{} text stream", kNames[stream.format]);
  const VQRESULT opened =
      edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, handle_.out());
  if (opened) throw Failure("cannot open a dictionary: " + Describe(opened));
  EDCT_STREAM_DIAGNOSTIC diagnostic;
  const VQRESULT read = ReadStream(handle_.get(), stream, &diagnostic);
  if (read) throw Failure(Located(path, diagnostic) + " (" + Describe(read) + ")");
}

std::string ArchiveImage(SafeHandle dictionary, bool swap, const std::string &path) {
  Doing("writing the archive image of", path);
  uint32_t size = 0;
  VQRESULT result = edct_DctArchive(dictionary, nullptr, &size, swap);
  std::vector<uint32_t> image(size / 4 + 1);
  if (!result) result = edct_DctArchive(dictionary, image.data(), &size, swap);
  if (result) throw Failure(path + ": cannot write the archive image: " + Describe(result));
  // The count of sections is the header's last word; 0 reads the same in either byte order.
  // Such an image holds nothing to read in place, so a lexicon without entries is refused.
  if (size < kImageHeader || image[kImageHeader / 4 - 1] == 0)
    throw Failure(path +
                  ": no entries: a lexicon needs a [SubHeader] section with [Data] lines, or its "
                  "archive image has no section to read in place (" +
                  Describe(EDCT_E_CORRUPT) + ")");
  return std::string(reinterpret_cast<const char *>(image.data()), size);
}

namespace {

// A writable copy whose keys hold their records in the opposite order. Each record read from
// text goes in front of those read before it, so text written from the copy reads back with
// the records in the original's order.
std::unique_ptr<DictHandle> ReversedCopy(SafeHandle dictionary, const std::string &path) {
  Doing("copying", path);
  std::unique_ptr<DictHandle> copy = DictHandle::Writable();
  EDCT_INFO info{};
  VQRESULT result = edct_DctGetInfo(dictionary, &info);
  if (!result) {
    result = edct_DctSetInfo(copy->get(), &info);
    edct_DctFreeInfo(dictionary, &info);
  }
  VQRESULT added = 0;
  if (!result)
    result =
        Walk(dictionary, [&](const char16_t *key, const EDCT_ENTRY *entries, uint32_t count, bool) {
          if (!added) added = edct_DctAddEntry(copy->get(), key, entries, count);
        });
  if (result || added)
    throw Failure(path + ": cannot copy it for writing: " + Describe(result ? result : added));
  return copy;
}

}  // namespace

std::string TextStream(SafeHandle dictionary, Encoding encoding, const std::string &path) {
  const std::unique_ptr<DictHandle> copy = ReversedCopy(dictionary, path);
  // The library writes 16-bit streams in the host's order; the other order is swapped here.
  const bool sixteen = encoding == Encoding::kUcs2le || encoding == Encoding::kUcs2be;
  const uint32_t wanted = encoding == Encoding::kUcs2le   ? EDCT_FORMAT_UCS2LE
                          : encoding == Encoding::kUcs2be ? EDCT_FORMAT_UCS2BE
                                                          : EDCT_FORMAT_UTF8;
  Doing("writing the text stream of", path);
  Collected out;
  const VQRESULT result = edct_DctWriteStream(copy->get(), Collected::Write,
                                              sixteen ? HostOrderFormat() : wanted, &out);
  out.guard.Rethrow();
  if (result) throw Failure(path + ": cannot write the text stream: " + Describe(result));
  if (sixteen && wanted != HostOrderFormat())
    for (size_t i = 0; i + 1 < out.bytes.size(); i += 2)
      std::swap(out.bytes[i], out.bytes[i + 1]);
  return std::move(out.bytes);
}

std::string Counts(SafeHandle dictionary) {
  EDCT_INFO info{};
  if (edct_DctGetInfo(dictionary, &info)) return "";
  const std::string text = fmt::format("{} keys, {} entries", info.NbrKeys, info.NbrEntries);
  edct_DctFreeInfo(dictionary, &info);
  return text;
}

}  // namespace cli
