// speechcommon dict: compiles text streams into archive images and back, looks words up
// through a dictionary manager, and describes and lists dictionaries.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "tools/cli.h"

namespace cli {
namespace {

constexpr const char *kHelp =
    "usage: speechcommon dict compile IN.txt -o OUT.img [--swap] [--encoding ENC]\n"
    "       speechcommon dict decompile IN -o OUT.txt [--encoding ENC]\n"
    "       speechcommon dict lookup DICT... [--content KIND] [--language L] [--engine E]\n"
    "                                [-- WORD...]\n"
    "       speechcommon dict info DICT\n"
    "       speechcommon dict list DICT\n"
    "       speechcommon dict convert IMAGE OUT [--swap]\n"
    "\n"
    "  compile    read a text stream and write its archive image (--swap: for a host of\n"
    "             the other byte order)\n"
    "  decompile  write any dictionary, text or image, as a text stream ('-o -': stdout)\n"
    "  lookup     look words up through a manager over the dictionaries, the first given\n"
    "             first; without '--' the words are the lines of standard input. Exit\n"
    "             status 1 when a word is not found\n"
    "  info       name, description, counts and sections\n"
    "  list       every key with its entries\n"
    "  convert    compile an image again (loading reverses the order of a key's entries)\n"
    "\n"
    "A DICT is an archive image (opened read-only in place) or a text stream. ENC is utf8,\n"
    "ucs2le or ucs2be; a text stream's encoding is otherwise taken from its byte-order mark.\n"
    "KIND is orthographic, broad-narrows or userwords.\n";

constexpr uint32_t kImageFormat = 3;
constexpr uint32_t kSwappedImageFormat = 0x03000000u;
constexpr uint32_t kAny = 0xFFFFFFFFu;

enum class Encoding { kDetect, kUtf8, kUcs2le, kUcs2be };

int Usage(const std::string &message) {
  std::fprintf(stderr, "speechcommon dict: %s\nRun 'speechcommon dict --help' for usage.\n",
               message.c_str());
  return kUsage;
}

int Fail(const std::string &file, const std::string &what, VQRESULT code) {
  std::fprintf(stderr, "speechcommon dict: %s: %s: %s (%s)\n", file.c_str(), what.c_str(),
               edct_ErrorGetString(code), Hex(code).c_str());
  return kFailed;
}

int FailSystem(const std::string &file, const std::string &what) {
  std::fprintf(stderr, "speechcommon dict: %s: %s: %s\n", file.c_str(), what.c_str(),
               std::strerror(errno));
  return kFailed;
}

// ---- Text ------------------------------------------------------------------------------

std::u16string FromUtf8(const std::string &text) {
  std::u16string out;
  for (size_t i = 0; i < text.size();) {
    const auto b = static_cast<unsigned char>(text[i]);
    const size_t length = b < 0x80 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
    uint32_t code = length == 1 ? b : b & (0x7F >> length);
    for (size_t k = 1; k < length && i + k < text.size(); ++k)
      code = code << 6 | (static_cast<unsigned char>(text[i + k]) & 0x3F);
    i += length;
    if (code >= 0x10000) {
      out += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
      out += static_cast<char16_t>(0xDC00 + (code & 0x3FF));
    } else {
      out += static_cast<char16_t>(code);
    }
  }
  return out;
}

std::string ToUtf8(const char16_t *text, size_t length) {
  std::string out;
  for (size_t i = 0; i < length; ++i) {
    uint32_t code = text[i];
    if (code >= 0xD800 && code < 0xDC00 && i + 1 < length && text[i + 1] >= 0xDC00 &&
        text[i + 1] < 0xE000)
      code = 0x10000 + ((code - 0xD800) << 10) + (text[++i] - 0xDC00);
    if (code < 0x80) {
      out += static_cast<char>(code);
    } else if (code < 0x800) {
      out += {static_cast<char>(0xC0 | code >> 6), static_cast<char>(0x80 | (code & 0x3F))};
    } else if (code < 0x10000) {
      out += {static_cast<char>(0xE0 | code >> 12), static_cast<char>(0x80 | ((code >> 6) & 0x3F)),
              static_cast<char>(0x80 | (code & 0x3F))};
    } else {
      out +=
          {static_cast<char>(0xF0 | code >> 18), static_cast<char>(0x80 | ((code >> 12) & 0x3F)),
           static_cast<char>(0x80 | ((code >> 6) & 0x3F)), static_cast<char>(0x80 | (code & 0x3F))};
    }
  }
  return out;
}

std::string ToUtf8(const char16_t *text) {
  return text ? ToUtf8(text, std::char_traits<char16_t>::length(text)) : std::string();
}

// ---- Files -----------------------------------------------------------------------------

// A whole file mapped read-only (an empty file maps to nothing).
class MappedFile {
 public:
  MappedFile() = default;
  MappedFile(const MappedFile &) = delete;
  MappedFile &operator=(const MappedFile &) = delete;
  ~MappedFile() {
    if (size_) munmap(data_, size_);
  }
  bool Map(const std::string &path) {
    const int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) return false;
    struct stat info;
    bool ok = fstat(fd, &info) == 0;
    if (ok && S_ISDIR(info.st_mode)) {
      errno = EISDIR;
      ok = false;
    }
    if (ok && info.st_size > 0) {
      void *data = mmap(nullptr, info.st_size, PROT_READ, MAP_PRIVATE, fd, 0);
      ok = data != MAP_FAILED;
      if (ok) {
        data_ = data;
        size_ = static_cast<size_t>(info.st_size);
      }
    }
    const int saved = errno;
    close(fd);
    errno = saved;
    return ok;
  }
  const unsigned char *data() const { return static_cast<const unsigned char *>(data_); }
  size_t size() const { return size_; }
  uint32_t Word(size_t at) const {
    uint32_t word = 0;
    if (size_ >= at + 4) std::memcpy(&word, data() + at, 4);
    return word;
  }

 private:
  void *data_ = nullptr;
  size_t size_ = 0;
};

bool WriteFile(const std::string &path, const std::string &bytes) {
  if (path == "-") {
    std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(std::cout.flush());
  }
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  return static_cast<bool>(out);
}

// Stream bytes handed to the reader: an optional prefix, then the file.
struct ByteSource {
  std::string prefix;
  const unsigned char *data;
  size_t size;
  size_t at = 0;

  static uint32_t Read(void *user, void *buffer, uint32_t *count) {
    auto *self = static_cast<ByteSource *>(user);
    auto *out = static_cast<unsigned char *>(buffer);
    uint32_t given = 0;
    while (given < *count && self->at < self->prefix.size() + self->size) {
      const size_t at = self->at++;
      out[given++] =
          at < self->prefix.size() ? self->prefix[at] : self->data[at - self->prefix.size()];
    }
    *count = given;
    return 0;
  }
};

uint32_t HostOrderFormat() {
  return std::endian::native == std::endian::little ? EDCT_FORMAT_UCS2LE : EDCT_FORMAT_UCS2BE;
}

// A dictionary opened from a file: an archive image as a read-only view over the mapping (or
// a writable copy), a text stream read into a new writable dictionary.
class DictFile {
 public:
  DictFile() = default;
  DictFile(const DictFile &) = delete;
  DictFile &operator=(const DictFile &) = delete;
  ~DictFile() {
    if (handle_.pointer) edct_DctClose(handle_);
  }

  int Open(const std::string &path, Encoding encoding, bool writable) {
    path_ = path;
    if (!file_.Map(path)) return FailSystem(path, "cannot open");
    if (file_.Word(0) == kImageFormat) return OpenImage(writable);
    if (file_.Word(0) == kSwappedImageFormat)
      return Fail(path,
                  "archive image for a host of the other byte order (compile it without "
                  "--swap to use it here)",
                  EDCT_E_CORRUPT);
    return ReadText(encoding);
  }

  SafeHandle handle() const { return handle_; }
  const std::string &path() const { return path_; }
  std::string Kind() const { return kind_; }

 private:
  int OpenImage(bool writable) {
    // The view reads nothing beyond the size the image records, which must be in the file.
    const uint32_t recorded = file_.Word(4);
    if (recorded > file_.size() || file_.size() < 24)
      return Fail(path_, "truncated archive image", EDCT_E_CORRUPT);
    const VQRESULT opened = edct_DctOpen(g_vqNullHandle, file_.data(),
                                         writable ? EDCT_OPEN_WRITABLE : EDCT_OPEN_READONLY,
                                         nullptr, nullptr, &handle_);
    if (opened) return Fail(path_, "cannot open the archive image", opened);
    kind_ = "archive image, " + std::to_string(recorded) + " bytes" +
            (writable ? "" : ", read in place");
    return kOk;
  }

  int ReadText(Encoding encoding) {
    ByteSource source{{}, file_.data(), file_.size()};
    const auto starts = [&](const char *mark, size_t length) {
      return file_.size() >= length && !std::memcmp(file_.data(), mark, length);
    };
    uint32_t format = EDCT_FORMAT_UTF8;
    if (encoding == Encoding::kUcs2le || (encoding == Encoding::kDetect && starts("\xFF\xFE", 2))) {
      format = EDCT_FORMAT_UCS2LE;
      if (!starts("\xFF\xFE", 2)) source.prefix = "\xFF\xFE";
    } else if (encoding == Encoding::kUcs2be ||
               (encoding == Encoding::kDetect && starts("\xFE\xFF", 2))) {
      format = EDCT_FORMAT_UCS2BE;
      if (!starts("\xFE\xFF", 2)) source.prefix = "\xFE\xFF";
    } else if (starts("\xEF\xBB\xBF", 3)) {
      source.data += 3;  // the UTF-8 byte-order mark is not part of the text
      source.size -= 3;
    }
    const char *names[] = {"UTF-8", "UCS-2 little-endian", "UCS-2 big-endian"};
    kind_ = std::string(names[format]) + " text stream";
    VQRESULT result =
        edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, &handle_);
    if (!result) result = edct_DctReadStream(handle_, ByteSource::Read, format, &source);
    if (result) return Fail(path_, std::string("cannot read the ") + kind_, result);
    return kOk;
  }

  MappedFile file_;
  SafeHandle handle_{};
  std::string path_;
  std::string kind_;
};

// ---- Entries ---------------------------------------------------------------------------

const char *ContentName(uint32_t content) {
  static const char *const kNames[] = {"broad-narrows", "userwords", "orthographic"};
  return content < 3 ? kNames[content] : "unknown-content";
}

std::string HexBytes(const unsigned char *data, uint32_t size) {
  std::string out;
  char pair[4];
  for (uint32_t i = 0; i < size; ++i) {
    std::snprintf(pair, sizeof pair, i ? " %02X" : "%02X", data[i]);
    out += pair;
  }
  return out;
}

std::string Quoted(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 2);
  out += '"';
  out += text;
  out += '"';
  return out;
}

// The data in the form its kind calls for: the list of a broad-narrows entry as //a//b, the
// bytes of a user-words entry in hex, the text of an orthographic entry in quotes.
std::string DecodeData(const EDCT_ENTRY &entry) {
  const auto *data = static_cast<const unsigned char *>(entry.Data);
  const auto *text = reinterpret_cast<const char *>(data);
  const uint32_t size = entry.DataSize;
  if (entry.Content == EDCT_CONTENT_BROAD_NARROWS && entry.Representation == EDCT_REPR_SZZ_STRING) {
    std::string out;
    for (uint32_t at = 0; at < size && text[at];) {
      const std::string piece(text + at, strnlen(text + at, size - at));
      out += "//" + piece;
      at += static_cast<uint32_t>(piece.size()) + 1;
    }
    return out.empty() ? "(empty list)" : out;
  }
  if (entry.Content == EDCT_CONTENT_ORTHOGRAPHIC && entry.Representation == EDCT_REPR_SZ_STRING)
    return Quoted(std::string_view(text, strnlen(text, size)));
  if (entry.Content == EDCT_CONTENT_ORTHOGRAPHIC && entry.Representation == EDCT_REPR_WSZ_STRING) {
    std::u16string wide(size / 2, u'\0');
    std::memcpy(wide.data(), data, wide.size() * 2);
    return Quoted(ToUtf8(wide.c_str()));
  }
  return "bytes " + HexBytes(data, size);
}

std::string Attributes(const EDCT_ENTRY &entry) {
  std::string out;
  if (entry.Language) out += " language=" + std::string(entry.Language);
  if (entry.Engine) out += " engine=" + std::string(entry.Engine);
  if (entry.Model) out += " model=" + std::string(entry.Model, strnlen(entry.Model, 128));
  return out;
}

// What the entries of a SubDictionary share: content, representation and attributes.
std::string SectionName(const EDCT_ENTRY &entry) {
  static const char *const kRepresentations[] = {"szz", "binary", "sz", "wsz"};
  const uint32_t r = entry.Representation;
  std::string out = ContentName(entry.Content);
  out.append(" (").append(r < 4 ? kRepresentations[r] : "?").append(")");
  out += Attributes(entry);
  return out;
}

void PrintEntry(const EDCT_ENTRY &entry) {
  std::printf("  %-13s %s%s\n", ContentName(entry.Content), DecodeData(entry).c_str(),
              Attributes(entry).c_str());
}

// Walks every key; `visit` gets the key, its entries and whether a section begins there.
template <class Visit>
VQRESULT Walk(SafeHandle dictionary, Visit visit) {
  SafeHandle iterator;
  VQRESULT result = edct_DctItOpen(g_vqNullHandle, dictionary, &iterator);
  if (result) return result;
  uint32_t ended = 0;
  while (!(result = edct_DctItHasEnded(iterator, &ended)) && !ended) {
    const char16_t *key = nullptr;
    const EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0, newSection = 0;
    result = edct_DctItCurrent(iterator, &key, &entries, &count, &newSection);
    if (result) break;
    visit(ToUtf8(key), entries, count, newSection != 0);
    result = edct_DctItIncrement(iterator);
    if (result) break;
  }
  const VQRESULT closed = edct_DctItClose(iterator);
  return result ? result : closed;
}

// ---- Subcommands -----------------------------------------------------------------------

struct Arguments {
  std::vector<std::string> positional;
  std::vector<std::string> words;
  bool wordsGiven = false;
  std::string output, content, language, engine;
  bool swap = false;
  Encoding encoding = Encoding::kDetect;
};

// Options take their value from the next argument; everything after "--" is a word.
int Parse(int argc, char **argv, Arguments *args) {
  for (int i = 0; i < argc; ++i) {
    const std::string arg = argv[i];
    const auto value = [&](std::string *into) {
      if (i + 1 >= argc) return false;
      *into = argv[++i];
      return true;
    };
    std::string encoding;
    if (arg == "--") {
      args->wordsGiven = true;
      args->words.assign(argv + i + 1, argv + argc);
      break;
    } else if (arg == "-o") {
      if (!value(&args->output)) return Usage("-o needs a file name");
    } else if (arg == "--swap") {
      args->swap = true;
    } else if (arg == "--encoding") {
      if (!value(&encoding)) return Usage("--encoding needs utf8, ucs2le or ucs2be");
      if (encoding == "utf8")
        args->encoding = Encoding::kUtf8;
      else if (encoding == "ucs2le")
        args->encoding = Encoding::kUcs2le;
      else if (encoding == "ucs2be")
        args->encoding = Encoding::kUcs2be;
      else
        return Usage("unknown encoding '" + encoding + "' (utf8, ucs2le or ucs2be)");
    } else if (arg == "--content") {
      if (!value(&args->content)) return Usage("--content needs a kind");
    } else if (arg == "--language") {
      if (!value(&args->language)) return Usage("--language needs a value");
    } else if (arg == "--engine") {
      if (!value(&args->engine)) return Usage("--engine needs a value");
    } else if (arg.size() > 1 && arg[0] == '-') {
      return Usage("unknown option '" + arg + "'");
    } else {
      args->positional.push_back(arg);
    }
  }
  return kOk;
}

std::string Counts(SafeHandle dictionary) {
  EDCT_INFO info{};
  if (edct_DctGetInfo(dictionary, &info)) return "";
  const std::string text =
      std::to_string(info.NbrKeys) + " keys, " + std::to_string(info.NbrEntries) + " entries";
  edct_DctFreeInfo(dictionary, &info);
  return text;
}

int Compile(const Arguments &args) {
  if (args.positional.size() != 1 || args.output.empty())
    return Usage("compile takes one input and -o OUT.img");
  const std::string &in = args.positional[0];
  DictFile dictionary;
  if (const int opened = dictionary.Open(in, args.encoding, true)) return opened;
  uint32_t size = 0;
  VQRESULT result = edct_DctArchive(dictionary.handle(), nullptr, &size, args.swap);
  std::vector<uint32_t> image(size / 4 + 1);
  if (!result) result = edct_DctArchive(dictionary.handle(), image.data(), &size, args.swap);
  if (result) return Fail(in, "cannot write the archive image", result);
  if (!WriteFile(args.output, std::string(reinterpret_cast<const char *>(image.data()), size)))
    return FailSystem(args.output, "cannot write");
  std::printf("%s: %s -> %s (%u bytes%s)\n", in.c_str(), Counts(dictionary.handle()).c_str(),
              args.output.c_str(), size, args.swap ? ", for a host of the other byte order" : "");
  return kOk;
}

struct Collected {
  std::string bytes;
  static uint32_t Write(void *user, const void *buffer, uint32_t count) {
    static_cast<Collected *>(user)->bytes.append(static_cast<const char *>(buffer), count);
    return 0;
  }
};

int Decompile(const Arguments &args) {
  if (args.positional.size() != 1 || args.output.empty())
    return Usage("decompile takes one input and -o OUT.txt");
  DictFile dictionary;
  if (const int opened = dictionary.Open(args.positional[0], Encoding::kDetect, false))
    return opened;
  // The library writes 16-bit streams in the host's order; the other order is swapped here.
  const bool sixteen = args.encoding == Encoding::kUcs2le || args.encoding == Encoding::kUcs2be;
  const uint32_t wanted = args.encoding == Encoding::kUcs2le   ? EDCT_FORMAT_UCS2LE
                          : args.encoding == Encoding::kUcs2be ? EDCT_FORMAT_UCS2BE
                                                               : EDCT_FORMAT_UTF8;
  Collected out;
  const VQRESULT result = edct_DctWriteStream(dictionary.handle(), Collected::Write,
                                              sixteen ? HostOrderFormat() : wanted, &out);
  if (result) return Fail(args.positional[0], "cannot write the text stream", result);
  if (sixteen && wanted != HostOrderFormat())
    for (size_t i = 0; i + 1 < out.bytes.size(); i += 2)
      std::swap(out.bytes[i], out.bytes[i + 1]);
  if (!WriteFile(args.output, out.bytes)) return FailSystem(args.output, "cannot write");
  if (args.output != "-")
    std::printf("%s: %s -> %s (%zu bytes)\n", args.positional[0].c_str(),
                Counts(dictionary.handle()).c_str(), args.output.c_str(), out.bytes.size());
  return kOk;
}

int Lookup(const Arguments &args) {
  if (args.positional.empty()) return Usage("lookup needs at least one dictionary");
  EDCT_FILTER filter{kAny, kAny, nullptr, nullptr, nullptr};
  if (!args.content.empty()) {
    for (uint32_t kind = 0; kind < 3; ++kind)
      if (args.content == ContentName(kind)) filter.Content = kind;
    if (filter.Content == kAny)
      return Usage("unknown content kind '" + args.content +
                   "' (orthographic, broad-narrows or userwords)");
  }
  if (!args.language.empty()) filter.Language = args.language.c_str();
  if (!args.engine.empty()) filter.Engine = args.engine.c_str();
  const bool filtered = !args.content.empty() || filter.Language || filter.Engine;

  std::vector<DictFile> dictionaries(args.positional.size());
  for (size_t i = 0; i < dictionaries.size(); ++i)
    if (const int opened = dictionaries[i].Open(args.positional[i], Encoding::kDetect, false))
      return opened;
  SafeHandle manager;
  VQRESULT result = edct_DctMgrOpen(g_vqNullHandle, &manager);
  if (result) return Fail(args.positional[0], "cannot open a dictionary manager", result);
  // Registered at the end one after the other: the first given is searched first.
  for (size_t i = 0; !result && i < dictionaries.size(); ++i) {
    result = edct_DctMgrRegisterDct(manager, dictionaries[i].handle(), 0);
    if (result) Fail(dictionaries[i].path(), "cannot register the dictionary", result);
  }
  std::vector<std::string> words = args.words;
  if (!args.wordsGiven)
    for (std::string line; std::getline(std::cin, line);)
      if (!line.empty()) words.push_back(line);
  int status = result ? kFailed : kOk;
  for (size_t w = 0; !result && w < words.size(); ++w) {
    const std::u16string key = FromUtf8(words[w]);
    EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0;
    SafeHandle from;
    result = edct_DctMgrGetEntryData(manager, key.c_str(), filtered ? &filter : nullptr, &entries,
                                     &count, &from);
    if (result == EDCT_E_NOT_FOUND) {
      std::printf("%s: not found\n", words[w].c_str());
      status = kFailed;
      result = 0;
      continue;
    }
    if (result) {
      status = Fail(words[w], "lookup failed", result);
      break;
    }
    std::string source = "?";
    for (const DictFile &dictionary : dictionaries)
      if (dictionary.handle().pointer == from.pointer) source = dictionary.path();
    std::printf("%s: %u %s from %s\n", words[w].c_str(), count, count == 1 ? "entry" : "entries",
                source.c_str());
    for (uint32_t i = 0; i < count; ++i)
      PrintEntry(entries[i]);
    edct_DctFreeEntryData(from, entries, count);
  }
  edct_DctMgrClose(manager);
  return status;
}

int Info(const Arguments &args) {
  if (args.positional.size() != 1) return Usage("info takes one dictionary");
  DictFile dictionary;
  if (const int opened = dictionary.Open(args.positional[0], Encoding::kDetect, false))
    return opened;
  EDCT_INFO info{};
  VQRESULT result = edct_DctGetInfo(dictionary.handle(), &info);
  if (result) return Fail(dictionary.path(), "cannot read the dictionary's info", result);
  std::printf("file         %s (%s)\n", dictionary.path().c_str(), dictionary.Kind().c_str());
  std::printf("name         %s\n", info.Name ? ToUtf8(info.Name).c_str() : "(none)");
  std::printf("description  %s\n", info.Description ? ToUtf8(info.Description).c_str() : "(none)");
  std::printf("keys         %u\nentries      %u\n", info.NbrKeys, info.NbrEntries);
  edct_DctFreeInfo(dictionary.handle(), &info);
  struct Section {
    std::string description;
    uint32_t keys = 0, entries = 0;
  };
  std::vector<Section> sections;
  result = Walk(dictionary.handle(), [&](const std::string &, const EDCT_ENTRY *entries,
                                         uint32_t count, bool newSection) {
    if (newSection && count) sections.push_back({SectionName(entries[0])});
    if (sections.empty()) return;
    sections.back().keys += 1;
    sections.back().entries += count;
  });
  if (result) return Fail(dictionary.path(), "cannot walk the dictionary", result);
  for (size_t i = 0; i < sections.size(); ++i)
    std::printf("section %zu    %s: %u keys, %u entries\n", i + 1, sections[i].description.c_str(),
                sections[i].keys, sections[i].entries);
  return kOk;
}

int List(const Arguments &args) {
  if (args.positional.size() != 1) return Usage("list takes one dictionary");
  DictFile dictionary;
  if (const int opened = dictionary.Open(args.positional[0], Encoding::kDetect, false))
    return opened;
  const VQRESULT result =
      Walk(dictionary.handle(),
           [](const std::string &key, const EDCT_ENTRY *entries, uint32_t count, bool newSection) {
             if (newSection && count) std::printf("[%s]\n", SectionName(entries[0]).c_str());
             std::printf("%s\n", key.c_str());
             for (uint32_t i = 0; i < count; ++i)
               PrintEntry(entries[i]);
           });
  if (result) return Fail(dictionary.path(), "cannot walk the dictionary", result);
  return kOk;
}

}  // namespace

int CmdDict(int argc, char **argv) {
  if (argc < 1) return Usage("missing subcommand (compile, decompile, lookup, info or list)");
  const std::string command = argv[0];
  if (command == "--help" || command == "-h" || command == "help") {
    std::fputs(kHelp, stdout);
    return kOk;
  }
  Arguments args;
  if (const int parsed = Parse(argc - 1, argv + 1, &args)) return parsed;
  if (command == "compile") return Compile(args);
  if (command == "convert") {
    if (args.positional.size() != 2 || !args.output.empty())
      return Usage("convert takes an image and the file to write");
    args.output = args.positional[1];
    args.positional.pop_back();
    return Compile(args);
  }
  if (command == "decompile") return Decompile(args);
  if (command == "lookup") return Lookup(args);
  if (command == "info") return Info(args);
  if (command == "list") return List(args);
  return Usage("unknown subcommand '" + command + "'");
}

}  // namespace cli
