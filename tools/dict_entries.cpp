// Text and JSON forms of dictionary entries.
#include "tools/dict_entries.h"

#include <fmt/format.h>

#include <cstring>

namespace cli {
namespace {

std::string Bytes(const EDCT_ENTRY &entry) {
  const auto *data = static_cast<const unsigned char *>(entry.Data);
  std::string out;
  for (uint32_t i = 0; i < entry.DataSize; ++i)
    out += fmt::format("{}{:02X}", i ? " " : "", data[i]);
  return out;
}

bool IsBroadNarrows(const EDCT_ENTRY &entry) {
  return entry.Content == EDCT_CONTENT_BROAD_NARROWS &&
         entry.Representation == EDCT_REPR_SZZ_STRING;
}

bool IsOrthographic(const EDCT_ENTRY &entry) {
  return entry.Content == EDCT_CONTENT_ORTHOGRAPHIC &&
         (entry.Representation == EDCT_REPR_SZ_STRING ||
          entry.Representation == EDCT_REPR_WSZ_STRING);
}

Json Optional(const char *text) {
  return text ? Json(std::string(text)) : Json();
}

}  // namespace

std::string OrthographicText(const EDCT_ENTRY &entry) {
  const auto *text = static_cast<const char *>(entry.Data);
  if (entry.Representation == EDCT_REPR_SZ_STRING)
    return std::string(text, strnlen(text, entry.DataSize));
  std::u16string wide(entry.DataSize / 2, u'\0');
  std::memcpy(wide.data(), entry.Data, wide.size() * 2);
  return Utf8(wide.c_str());
}

std::string ContentName(uint32_t content) {
  static const char *const kNames[] = {"broad-narrows", "userwords", "orthographic"};
  return content < 3 ? kNames[content] : fmt::format("content {}", content);
}

std::string RepresentationName(uint32_t representation) {
  static const char *const kNames[] = {"szz", "binary", "sz", "wsz"};
  return representation < 4 ? kNames[representation]
                            : fmt::format("representation {}", representation);
}

std::string ModelText(const char *model) {
  return model ? std::string(model, strnlen(model, 128)) : std::string();
}

std::vector<std::string> BroadNarrows(const EDCT_ENTRY &entry) {
  std::vector<std::string> pieces;
  const auto *text = static_cast<const char *>(entry.Data);
  for (uint32_t at = 0; at < entry.DataSize && text[at];) {
    pieces.emplace_back(text + at, strnlen(text + at, entry.DataSize - at));
    at += static_cast<uint32_t>(pieces.back().size()) + 1;
  }
  return pieces;
}

std::string DataText(const EDCT_ENTRY &entry) {
  if (IsBroadNarrows(entry)) {
    std::string out;
    for (const std::string &piece : BroadNarrows(entry))
      out += "//" + piece;
    return out.empty() ? "(empty list)" : out;
  }
  if (IsOrthographic(entry)) return Quoted(OrthographicText(entry));
  return "bytes " + Bytes(entry);
}

std::string AttributesText(const EDCT_ENTRY &entry) {
  std::string out;
  if (entry.Language) out += fmt::format(" language={}", entry.Language);
  if (entry.Engine) out += fmt::format(" engine={}", entry.Engine);
  if (entry.Model) out += fmt::format(" model={}", ModelText(entry.Model));
  return out;
}

std::string SectionText(const EDCT_ENTRY &entry) {
  return fmt::format("{} ({}){}", ContentName(entry.Content),
                     RepresentationName(entry.Representation), AttributesText(entry));
}

Json SectionJson(const EDCT_ENTRY &entry) {
  return {{"content", ContentName(entry.Content)},
          {"representation", RepresentationName(entry.Representation)},
          {"language", Optional(entry.Language)},
          {"model", entry.Model ? Json(ModelText(entry.Model)) : Json()},
          {"engine", Optional(entry.Engine)}};
}

Json EntryJson(const EDCT_ENTRY &entry) {
  Json json = SectionJson(entry);
  if (IsBroadNarrows(entry))
    json["data"] = BroadNarrows(entry);
  else if (IsOrthographic(entry))
    json["data"] = OrthographicText(entry);
  else
    json["data"] = Bytes(entry);
  return json;
}

}  // namespace cli
