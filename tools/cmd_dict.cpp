// speechcommon dict: looks into dictionary archive images.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tools/cli.h"

namespace cli {
namespace {

constexpr const char *kDictUsage =
    "usage: speechcommon dict info IMAGE\n"
    "       speechcommon dict list IMAGE\n"
    "       speechcommon dict lookup IMAGE KEY...\n"
    "       speechcommon dict convert IMAGE OUT [--swap]\n"
    "\n"
    "IMAGE is a dictionary archive image (as edct_DctArchive writes it).\n"
    "  info     name, description, key and entry counts\n"
    "  list     every key with its entries, SubDictionary by SubDictionary\n"
    "  lookup   the entries of each KEY (UTF-8 on the command line)\n"
    "  convert  loads IMAGE and writes it again to OUT (loading reverses the order of a key's\n"
    "           entries within a SubDictionary); --swap writes it for a host of the other\n"
    "           byte order\n";

std::string Utf8(const char16_t *text) {
  std::string out;
  for (; text && *text; ++text) {
    const unsigned u = *text;
    if (u < 0x80) {
      out += static_cast<char>(u);
    } else if (u < 0x800) {
      out += static_cast<char>(0xC0 | (u >> 6));
      out += static_cast<char>(0x80 | (u & 0x3F));
    } else {
      out += static_cast<char>(0xE0 | (u >> 12));
      out += static_cast<char>(0x80 | ((u >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (u & 0x3F));
    }
  }
  return out;
}

std::u16string Utf16(const std::string &text) {
  std::u16string out;
  for (size_t i = 0; i < text.size();) {
    const auto b0 = static_cast<unsigned char>(text[i]);
    const size_t length = b0 < 0x80 ? 1 : b0 < 0xE0 ? 2 : 3;
    unsigned unit = length == 1 ? b0 : length == 2 ? b0 & 0x1F : b0 & 0x0F;
    for (size_t j = 1; j < length && i + j < text.size(); ++j)
      unit = (unit << 6) | (static_cast<unsigned char>(text[i + j]) & 0x3F);
    out += static_cast<char16_t>(unit);
    i += length;
  }
  return out;
}

// The data of an entry as text: strings as they are, wide strings in UTF-8, string lists
// joined with '|', anything else in hex.
std::string Render(const EDCT_ENTRY &entry) {
  const auto *bytes = static_cast<const unsigned char *>(entry.Data);
  const size_t size = entry.DataSize;
  std::string out;
  switch (entry.Representation) {
    case EDCT_REPR_SZ_STRING:
      return std::string(reinterpret_cast<const char *>(bytes), strnlen((const char *)bytes, size));
    case EDCT_REPR_WSZ_STRING: {
      std::u16string wide(size / 2, u'\0');
      std::memcpy(wide.data(), bytes, wide.size() * 2);
      return Utf8(wide.c_str());
    }
    case EDCT_REPR_SZZ_STRING:
      for (size_t i = 0; i < size && bytes[i];) {
        const size_t length = strnlen(reinterpret_cast<const char *>(bytes + i), size - i);
        if (!out.empty()) out += '|';
        out.append(reinterpret_cast<const char *>(bytes + i), length);
        i += length + 1;
      }
      return out;
    default:
      for (size_t i = 0; i < size; ++i) {
        char hex[4];
        std::snprintf(hex, sizeof hex, "%02x", bytes[i]);
        out += hex;
      }
      return out;
  }
}

void PrintEntry(const EDCT_ENTRY &entry) {
  std::printf("  content %u, representation %u, pos ", entry.Content, entry.Representation);
  if (entry.POS == 0xFFFFFFFFu)
    std::printf("any");
  else
    std::printf("%u", entry.POS);
  if (entry.Language) std::printf(", language %s", entry.Language);
  if (entry.Model)
    std::printf(", model %.*s", static_cast<int>(strnlen(entry.Model, 128)), entry.Model);
  if (entry.Engine) std::printf(", engine %s", entry.Engine);
  std::printf(": %s\n", Render(entry).c_str());
}

bool Failed(const char *path, const char *what, VQRESULT code) {
  std::fprintf(stderr, "speechcommon dict: %s: %s: %s (%s)\n", path, what,
               edct_ErrorGetString(code), Hex(code).c_str());
  return true;
}

// A file read whole into 4-aligned memory.
bool ReadImage(const char *path, std::vector<uint32_t> *image) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "speechcommon dict: %s: cannot open the file\n", path);
    return false;
  }
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
  uint32_t recorded = 0;
  if (bytes.size() >= 8) std::memcpy(&recorded, bytes.data() + 4, 4);
  uint32_t format = 0;
  if (bytes.size() >= 4) std::memcpy(&format, bytes.data(), 4);
  if (format == 0x03000000u) {
    std::fprintf(stderr, "speechcommon dict: %s: an image for a host of the other byte order\n",
                 path);
    return false;
  }
  // The library reads an image up to the size its header records, so that much must be here.
  if (bytes.size() < 24 || recorded > bytes.size()) {
    std::fprintf(stderr, "speechcommon dict: %s: not an archive image (%zu bytes)\n", path,
                 bytes.size());
    return false;
  }
  image->assign(bytes.size() / 4 + 1, 0);
  std::memcpy(image->data(), bytes.data(), bytes.size());
  return true;
}

int Info(SafeHandle dictionary) {
  EDCT_INFO info{};
  const VQRESULT got = edct_DctGetInfo(dictionary, &info);
  if (got) return Failed("dictionary", "reading its info", got), kFailed;
  std::printf("name         %s\n", info.Name ? Utf8(info.Name).c_str() : "(none)");
  std::printf("description  %s\n", info.Description ? Utf8(info.Description).c_str() : "(none)");
  std::printf("keys         %u\n", info.NbrKeys);
  std::printf("entries      %u\n", info.NbrEntries);
  edct_DctFreeInfo(dictionary, &info);
  return kOk;
}

int List(SafeHandle dictionary) {
  SafeHandle iterator;
  VQRESULT result = edct_DctItOpen(g_vqNullHandle, dictionary, &iterator);
  if (result) return Failed("dictionary", "opening an iterator", result), kFailed;
  uint32_t ended = 0, section = 0;
  while (!result && !(result = edct_DctItHasEnded(iterator, &ended)) && !ended) {
    const char16_t *key = nullptr;
    const EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0, fresh = 0;
    result = edct_DctItCurrent(iterator, &key, &entries, &count, &fresh);
    if (result) break;
    if (fresh) std::printf("[SubDictionary %u]\n", ++section);
    std::printf("%s\n", Utf8(key).c_str());
    for (uint32_t i = 0; i < count; ++i)
      PrintEntry(entries[i]);
    result = edct_DctItIncrement(iterator);
  }
  edct_DctItClose(iterator);
  if (result) return Failed("dictionary", "walking it", result), kFailed;
  return kOk;
}

int Lookup(SafeHandle dictionary, int count, char **keys) {
  int status = kOk;
  for (int i = 0; i < count; ++i) {
    const std::u16string key = Utf16(keys[i]);
    EDCT_ENTRY *entries = nullptr;
    uint32_t found = 0;
    const VQRESULT result =
        edct_DctGetEntryData(dictionary, key.c_str(), nullptr, &entries, &found);
    if (result) {
      Failed(keys[i], "lookup", result);
      status = kFailed;
      continue;
    }
    std::printf("%s\n", keys[i]);
    for (uint32_t j = 0; j < found; ++j)
      PrintEntry(entries[j]);
    edct_DctFreeEntryData(dictionary, entries, found);
  }
  return status;
}

int Convert(const char *path, const std::vector<uint32_t> &image, const char *out, bool swap) {
  SafeHandle dictionary;
  VQRESULT result =
      edct_DctOpen(g_vqNullHandle, image.data(), EDCT_OPEN_WRITABLE, nullptr, nullptr, &dictionary);
  if (result) return Failed(path, "loading", result), kFailed;
  uint32_t size = 0;
  std::vector<uint32_t> written;
  result = edct_DctArchive(dictionary, nullptr, &size, swap);
  if (!result) {
    written.assign(size / 4 + 1, 0);
    result = edct_DctArchive(dictionary, written.data(), &size, swap);
  }
  edct_DctClose(dictionary);
  if (result) return Failed(path, "archiving", result), kFailed;
  std::ofstream file(out, std::ios::binary);
  if (!file.write(reinterpret_cast<const char *>(written.data()), size)) {
    std::fprintf(stderr, "speechcommon dict: %s: cannot write the file\n", out);
    return kFailed;
  }
  std::printf("%s: %u bytes%s\n", out, size, swap ? ", byte-reversed" : "");
  return kOk;
}

}  // namespace

int CmdDict(int argc, char **argv) {
  if (argc >= 1 && (!std::strcmp(argv[0], "--help") || !std::strcmp(argv[0], "-h"))) {
    std::fputs(kDictUsage, stdout);
    return kOk;
  }
  const std::string command = argc >= 1 ? argv[0] : "";
  const bool known = (command == "info" || command == "list") ? argc == 2
                     : command == "lookup"                    ? argc >= 3
                     : command == "convert"
                         ? argc == 3 || (argc == 4 && !std::strcmp(argv[3], "--swap"))
                         : false;
  if (!known) {
    std::fputs(kDictUsage, stderr);
    return kUsage;
  }
  const char *path = argv[1];
  std::vector<uint32_t> image;
  if (!ReadImage(path, &image)) return kFailed;
  if (command == "convert") return Convert(path, image, argv[2], argc == 4);
  SafeHandle dictionary;
  const VQRESULT opened =
      edct_DctOpen(g_vqNullHandle, image.data(), EDCT_OPEN_READONLY, nullptr, nullptr, &dictionary);
  if (opened) return Failed(path, "opening", opened), kFailed;
  int status = kOk;
  if (command == "info")
    status = Info(dictionary);
  else if (command == "list")
    status = List(dictionary);
  else
    status = Lookup(dictionary, argc - 2, argv + 2);
  edct_DctClose(dictionary);
  return status;
}

}  // namespace cli
