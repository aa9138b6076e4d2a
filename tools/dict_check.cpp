// speechcommon dict check. Errors are what the library's reader refuses, with the place it
// reports. Warnings come from reading the lines again here, the way the reader takes them, to
// find what it accepts but will not give back as written.
#include "tools/dict_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>

#include "tools/cli.h"
#include "tools/dict_entries.h"
#include "tools/output.h"
#include "tools/result_codes.h"
#include "tools/text.h"

namespace cli {
namespace {

constexpr uint32_t kImageFormat = 3, kSwappedImageFormat = 0x03000000u;

struct Finding {
  uint32_t line = 0, column = 0;  // 0: the file as a whole
  bool error = false;
  std::string message;
};

struct Line {
  std::string_view text;  // without its line end
  bool crlf = false;      // ended by CR LF
  bool lf = false;        // ended by a line feed (the last line may not be)
};

std::vector<Line> SplitLines(std::string_view text) {
  std::vector<Line> lines;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    Line line{text.substr(0, end)};
    line.lf = end != std::string_view::npos;
    line.crlf = line.lf && line.text.ends_with('\r');
    if (line.crlf) line.text.remove_suffix(1);
    lines.push_back(line);
    text.remove_prefix(line.lf ? end + 1 : text.size());
  }
  return lines;
}

bool Blank(char c) {
  return c == ' ' || c == '\t';
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && (Blank(text.front()) || text.front() == '\r'))
    text.remove_prefix(1);
  while (!text.empty() && (Blank(text.back()) || text.back() == '\r'))
    text.remove_suffix(1);
  return text;
}

std::string Folded(std::string text) {
  for (char &c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

// One token read in the reader's quote mode from `at`: a double quote switches in and out of
// quotes (the character after a switch is taken as it comes), a backslash takes the next
// character as it comes; outside quotes a blank or tab ends the token when `toBlank`.
struct QuotedToken {
  std::string text;     // quotes and escapes resolved, not trimmed
  bool quoted = false;  // a quote switched
  bool open = false;    // the line ended inside quotes
  size_t end = 0;       // where reading stopped
};

QuotedToken ReadQuoted(std::string_view line, size_t at, bool toBlank) {
  QuotedToken token;
  bool inside = false;
  while (at < line.size()) {
    char c = line[at++];
    if (c == '"') {
      inside = !inside;
      token.quoted = true;
      if (at == line.size()) break;
      c = line[at++];
    }
    if (c == '\\') {
      if (at == line.size()) break;
      c = line[at++];
    }
    if (!inside && toBlank && Blank(c)) break;
    if (c != '\r') token.text += c;
  }
  token.open = inside;
  token.end = at;
  return token;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The lines of one text stream read again for what the reader takes otherwise than written.
class LineCheck {
 public:
  LineCheck(std::string_view text, std::vector<Finding> &findings)
      : lines_(SplitLines(text)), findings_(findings) {}

  void Run() {
    LineEnds();
    for (number_ = 1; number_ <= lines_.size(); ++number_) {
      const std::string_view text = lines_[number_ - 1].text;
      InsideLine(text);
      const std::string_view trimmed = Trim(text);
      if (trimmed.empty()) continue;
      if (pendingValue_) {
        Warn(pendingValue_, 1,
             fmt::format("no value after {}: line {} is taken as its value", pendingKey_, number_));
        Apply(pendingKey_, std::string(trimmed), pendingValue_);
        pendingValue_ = 0;
      } else if (pendingData_) {
        Warn(pendingData_, 1,
             fmt::format("no data after key {}: line {} is read as its data", Quoted(pendingKey_),
                         number_));
        Data(pendingKey_, pendingData_, text, 0);
        pendingData_ = 0;
      } else if (continued_) {
        continued_ = HexLine(text, 0);
      } else if (!inData_ && (trimmed == "[Header]" || trimmed == "[SubHeader]")) {
        sectionLine_ = number_;  // in a data section, only the entry key [SubHeader] ends it
      } else if (!inData_ && trimmed == "[Data]") {
        inData_ = true;
        SectionStarts();
      } else if (inData_) {
        Entry(text);
      } else {
        KeyLine(text);
      }
    }
  }

 private:
  void Warn(size_t line, size_t column, std::string message) {
    findings_.push_back(Finding{static_cast<uint32_t>(line), static_cast<uint32_t>(column), false,
                                std::move(message)});
  }
  // The column of a byte offset in the current line.
  size_t Column(std::string_view text, size_t offset) const {
    return cli::Characters(text.substr(0, offset)) + 1;
  }

  // Carriage returns and byte-order marks inside a line: the reader drops the one and takes
  // the other as text.
  void InsideLine(std::string_view text) {
    const size_t cr = text.find('\r');
    if (cr != std::string_view::npos)
      Warn(number_, Column(text, cr), "a carriage return inside the line is dropped");
    const size_t mark = text.find("\xEF\xBB\xBF");
    if (mark != std::string_view::npos)
      Warn(number_, Column(text, mark),
           "a byte-order mark (U+FEFF) inside the text is read as part of a token");
  }

  void LineEnds() {
    const Line *first = nullptr;
    for (size_t i = 0; i < lines_.size(); ++i) {
      if (!lines_[i].lf) continue;
      if (!first) {
        first = &lines_[i];
      } else if (lines_[i].crlf != first->crlf) {
        Warn(i + 1, cli::Characters(lines_[i].text) + 1,
             fmt::format("mixed line ends: this line ends in {}, line {} in {}",
                         lines_[i].crlf ? "CR LF" : "LF", first - lines_.data() + 1,
                         first->crlf ? "CR LF" : "LF"));
        return;
      }
    }
  }

  // "Key = value", or a key whose value is the next non-empty line.
  void KeyLine(std::string_view text) {
    const size_t equals = text.find('=');
    const std::string key(Trim(text.substr(0, equals)));
    const std::string value(equals == std::string_view::npos ? "" : Trim(text.substr(equals + 1)));
    if (value.empty()) {
      pendingKey_ = key;
      pendingValue_ = number_;
      return;
    }
    Apply(key, value, number_);
  }

  void Apply(const std::string &key, const std::string &value, size_t line) {
    if (key == "Name" || key == "Description") {
      const auto [first, added] = headerKeys_.emplace(key, line);
      if (!added)
        Warn(line, 1,
             fmt::format("{} given again (first on line {}): the first value is kept", key,
                         first->second));
    } else if (key == "POS") {
      Warn(line, 1, "POS is ignored: entries read from a text stream have no part of speech");
    } else if (attributes_.count(key)) {
      attributes_[key] = value;
    }
  }

  // A [Data] line: the section's attributes are complete. Sections whose attributes differ
  // only in case are two sections, and lookups compare with case.
  void SectionStarts() {
    std::string exact;
    for (const auto &[key, value] : attributes_)
      exact += key + "=" + value + "\n";
    section_ = exact;
    const auto [earlier, added] = sections_.emplace(Folded(exact), std::pair{exact, sectionLine_});
    if (!added && earlier->second.first != exact) {
      std::string differences;
      const auto lines = [](const std::string &text) { return SplitLines(text); };
      const std::vector<Line> now = lines(exact), then = lines(earlier->second.first);
      for (size_t i = 0; i < now.size() && i < then.size(); ++i)
        if (now[i].text != then[i].text)
          differences += fmt::format("{}{} vs {}", differences.empty() ? "" : ", ",
                                     std::string(now[i].text), std::string(then[i].text));
      Warn(sectionLine_ ? sectionLine_ : number_, 1,
           fmt::format("this section differs from the one at line {} only in case ({}): its "
                       "entries form a section of their own, and lookups compare with case",
                       earlier->second.second, differences));
    }
  }

  // An entry line: its key, then its data.
  void Entry(std::string_view text) {
    const size_t start = text.find_first_not_of(" \t");
    const QuotedToken key = ReadQuoted(text, start, true);
    const std::string name(Trim(key.text));
    const size_t column = Column(text, start);
    if (key.open) {
      Warn(number_, column, "a quote is not closed: the key runs on into the next line");
      return;
    }
    if (name == "[SubHeader]" && !key.quoted) {
      inData_ = false;
      sectionLine_ = number_;
      return;
    }
    if (name.empty()) {
      Warn(number_, column, "empty key: the next token is read as the key");
      return;
    }
    if (!key.quoted && name.starts_with('[') && name.ends_with(']'))
      Warn(number_, column, fmt::format("{} is no section here: it is read as an entry key", name));
    if (key.quoted && name != key.text)
      Warn(number_, column,
           fmt::format("the key {} loses the blanks at its ends", Quoted(key.text)));
    if (name.find('\t') != std::string::npos && name.find(' ') == std::string::npos)
      Warn(number_, column,
           fmt::format("the key {} holds a tab and no blank: written back unquoted, it does "
                       "not read back",
                       Quoted(name)));
    if (name == "[SubHeader]")
      Warn(number_, column,
           "the key [SubHeader] is written back without quotes and then ends the section");
    if (Trim(text.substr(key.end)).empty()) {
      pendingKey_ = name;
      pendingData_ = number_;
      return;
    }
    Data(name, number_, text, key.end);
  }

  // The data of an entry, by the section's Content, from byte `at` of `text`.
  void Data(const std::string &key, size_t keyLine, std::string_view text, size_t at) {
    const std::string &content = attributes_["Content"];
    const size_t start = std::min(text.size(), text.find_first_not_of(" \t", at));
    const size_t column = Column(text, start);
    std::string value(Trim(text.substr(at)));
    if (content == "EDCT_CONTENT_ORTHOGRAPHIC") {
      const QuotedToken data = ReadQuoted(text, start, false);
      if (data.open)
        Warn(number_, column, "a quote is not closed: the data runs on into the next line");
      value = std::string(Trim(data.text));
      if (data.quoted && value != data.text)
        Warn(number_, column,
             fmt::format("the data {} loses the blanks at its ends", Quoted(data.text)));
    } else if (content == "EDCT_CONTENT_BROAD_NARROWS" && value.starts_with("//")) {
      if (value == "//" || value.ends_with("//") || value.find("////") != std::string::npos)
        Warn(number_, column,
             "an empty piece in the list: the text form ends a list at its first empty piece, "
             "so it cannot carry the rest back");
    } else if (content == "EDCT_CONTENT_USERWORDS") {
      continued_ = HexLine(text, at);
      if (continued_) return;  // a duplicate is judged on whole entries only
    }
    const std::string entry = section_ + "\n" + key + "\n" + value;
    const auto [first, added] = entries_.emplace(entry, keyLine);
    if (!added)
      Warn(keyLine, 1,
           fmt::format("duplicate entry: the key {} has this entry already (line {})", Quoted(key),
                       first->second));
  }

  // One line of user-words data; returns whether it continues on the next line.
  bool HexLine(std::string_view text, size_t at) {
    std::string_view data = Trim(text.substr(at));
    const bool continues = data.ends_with('\\');
    if (continues) data.remove_suffix(1);
    size_t i = data.find_first_not_of(' ');
    while (i != std::string_view::npos && i + 1 < data.size() && HexDigit(data[i]) >= 0 &&
           HexDigit(data[i + 1]) >= 0)
      i = data.find_first_not_of(' ', i + 2);
    if (i != std::string_view::npos && i + 1 == data.size())
      Warn(number_, Column(text, text.find(data) + i),
           "a single hex digit at the end of the line is ignored");
    return continues;
  }

  std::vector<Line> lines_;
  std::vector<Finding> &findings_;
  size_t number_ = 0;       // the line being read, from 1
  bool inData_ = false;     // in a [Data] section
  size_t sectionLine_ = 0;  // the [SubHeader] line of the section
  std::string section_;     // the attributes of the current section
  std::map<std::string, std::string> attributes_{
      {"Content", ""}, {"Representation", ""}, {"Language", ""}, {"Model", ""}, {"Engine", ""}};
  std::map<std::string, size_t> headerKeys_;  // Name and Description, where first given
  std::map<std::string, std::pair<std::string, size_t>> sections_;  // folded -> exact, line
  std::map<std::string, size_t> entries_;                           // section, key and data -> line
  std::string pendingKey_;                     // a key whose value or data is to come
  size_t pendingValue_ = 0, pendingData_ = 0;  // the line of that key
  bool continued_ = false;                     // user-words data goes on
};

// The text of a stream in UTF-8, whatever its encoding; a warning when bytes are dropped or
// replaced.
std::string Text(const StreamFormat &stream, std::vector<Finding> &findings) {
  if (stream.format == EDCT_FORMAT_UTF8) {
    if (!IsUtf8(stream.bytes)) findings.push_back({0, 0, false, "the text is not valid UTF-8"});
    return Utf8(Utf16(stream.bytes));
  }
  std::string_view bytes = stream.bytes.substr(stream.prefix.empty() ? 2 : 0);
  if (bytes.size() % 2)
    findings.push_back({0, 0, false, "the stream ends in half a 16-bit unit, which is dropped"});
  std::u16string units(bytes.size() / 2, u'\0');
  const bool big = stream.format == EDCT_FORMAT_UCS2BE;
  for (size_t i = 0; i < units.size(); ++i) {
    const auto high = static_cast<unsigned char>(bytes[2 * i + (big ? 0 : 1)]);
    const auto low = static_cast<unsigned char>(bytes[2 * i + (big ? 1 : 0)]);
    units[i] = static_cast<char16_t>(high << 8 | low);
  }
  return Utf8(units);
}

void CheckText(const InputFile &file, Encoding encoding, std::vector<Finding> &findings) {
  const StreamFormat stream = DetectFormat(file.bytes(), encoding);
  if (stream.utf8Mark)
    findings.push_back({1, 1, false,
                        "a UTF-8 byte-order mark: this tool skips it, but the library's reader "
                        "takes it as part of the first line"});
  const auto dictionary = DictHandle::Writable();
  EDCT_STREAM_DIAGNOSTIC diagnostic;
  const VQRESULT read = ReadStream(dictionary->get(), stream, &diagnostic);
  if (read) {
    const char *name = CodeName(read);
    findings.push_back({diagnostic.Line, diagnostic.Column, true,
                        fmt::format("{} [{}]", Explained(diagnostic), name ? name : Hex(read))});
  } else if (diagnostic.Line) {
    findings.push_back({diagnostic.Line, diagnostic.Column, false,
                        "reading ends at this [SubHeader] line, since the [Data] section "
                        "followed [Header] directly: the lines after it are not read"});
  }
  LineCheck(Text(stream, findings), findings).Run();
}

// Text in a message, in quotes, with its line ends, tabs and stray bytes escaped.
std::string Shown(std::string_view text) {
  return fmt::format("{:?}", text);
}

// How the reader takes a value back. Every value loses a carriage return and the blanks at its
// ends, and an empty one takes the next line's text in its place. A line feed ends a value,
// except in quotes, where only a leading one is trimmed; the writer puts quotes around a key or
// an orthographic text that holds a blank.
const char *Unwritable(std::string_view text, bool quoteMode = false) {
  if (text.empty()) return "is empty: the text that follows is read in its place";
  if (text.find('\r') != std::string_view::npos) return "holds a carriage return, which is dropped";
  const bool quoted = quoteMode && text.find(' ') != std::string_view::npos;
  if (!quoted && text.find('\n') != std::string_view::npos)
    return "holds a line feed, which ends it";
  if (Blank(text.front()) || Blank(text.back())) return "has blanks at its ends, which are trimmed";
  if (text.front() == '\n') return "begins with a line feed, which is trimmed";
  return nullptr;
}

// Whether 8-bit text comes back as it was from the library's trip through 16-bit units: each
// unit is one to three bytes, so a four-byte form, an overlong form, a stray continuation byte
// or a sequence cut short comes back as other bytes.
bool SurvivesUnits(std::string_view text) {
  const auto byte = [&](size_t at) {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0u;
  };
  const auto follows = [&](size_t at) { return (byte(at) & 0xC0) == 0x80; };
  for (size_t at = 0; at < text.size();) {
    const unsigned lead = byte(at);
    if (lead < 0x80)
      at += 1;
    else if (lead >= 0xC2 && lead <= 0xDF && follows(at + 1))
      at += 2;
    else if (lead >= 0xE0 && lead <= 0xEF && follows(at + 1) && follows(at + 2) &&
             (lead != 0xE0 || byte(at + 1) >= 0xA0))
      at += 3;
    else
      return false;
  }
  return true;
}

constexpr const char *kNotUnits =
    "is not UTF-8 of one to three bytes a character, and comes back from 16-bit units as other "
    "bytes";

bool Paired(const EDCT_ENTRY &entry) {
  switch (entry.Content) {
    case EDCT_CONTENT_BROAD_NARROWS:
      return entry.Representation == EDCT_REPR_SZZ_STRING;
    case EDCT_CONTENT_USERWORDS:
      return entry.Representation == EDCT_REPR_BINARY;
    case EDCT_CONTENT_ORTHOGRAPHIC:
      return entry.Representation == EDCT_REPR_SZ_STRING ||
             entry.Representation == EDCT_REPR_WSZ_STRING;
    default:
      return false;
  }
}

// The bytes of an orthographic entry as the reader gives them back: its text and terminator.
uint32_t ReadBackSize(const EDCT_ENTRY &entry) {
  if (entry.Representation == EDCT_REPR_SZ_STRING)
    return static_cast<uint32_t>(strnlen(static_cast<const char *>(entry.Data), entry.DataSize)) +
           1;
  const auto *bytes = static_cast<const unsigned char *>(entry.Data);
  uint32_t units = 0;
  while (2 * units + 1 < entry.DataSize && (bytes[2 * units] || bytes[2 * units + 1]))
    ++units;
  return 2 * (units + 1);
}

// The losses of a dictionary walked key by key in iterator order.
class TextFormCheck {
 public:
  TextFormCheck(bool sixteen, const std::function<void(std::string)> &lost)
      : sixteen_(sixteen), lost_(lost) {}

  void Header(const EDCT_INFO &info) {
    for (const auto &[name, value] :
         {std::pair{"Name", info.Name}, {"Description", info.Description}})
      if (value)
        if (const char *why = Unwritable(Utf8(value)))
          lost_(fmt::format("the {} {} {}", name, Shown(Utf8(value)), why));
  }

  // A key and the first of its records; the section's attributes where it begins.
  void Key(const std::string &key, const EDCT_ENTRY &first, bool sectionStarts) {
    const auto lose = [&](const std::string &what) {
      lost_(fmt::format("key {}: {}", Shown(key), what));
    };
    if (sectionStarts) {
      Section(first, lose);
      last_.reset();
    }
    if (const char *why = Unwritable(key, true))
      lose(fmt::format("the key {}", why));
    else if (key.find('\t') != std::string::npos && key.find(' ') == std::string::npos)
      lose("a key with a tab and no blank is written without quotes, and the tab ends it");
    else if (key == "[SubHeader]")
      lose("the key [SubHeader] is written without quotes, and then ends its section");
    else if (last_ == key)
      lose("the key comes twice in its section: read back, its entries join under one key");
    last_ = key;
  }

  void Entry(const std::string &key, const EDCT_ENTRY &entry) {
    const auto lose = [&](const std::string &what) {
      lost_(fmt::format("key {}: {}", Shown(key), what));
    };
    if (!Paired(entry)) return;  // said where the section begins
    if (entry.Content == EDCT_CONTENT_BROAD_NARROWS) {
      List(entry, lose);
    } else if (entry.Content == EDCT_CONTENT_ORTHOGRAPHIC) {
      const std::string text = OrthographicText(entry);
      if (const char *why = Unwritable(text, true))
        lose(fmt::format("the data {} {}", Shown(text), why));
      else if (entry.DataSize != ReadBackSize(entry))
        lose(
            "the data is not one string with its terminator: the text form carries it up to "
            "its first NUL");
      else if (Narrow(entry) && !SurvivesUnits(text))
        lose(
            fmt::format("the data {} {} (write the text stream as UTF-8)", Shown(text), kNotUnits));
    } else if (entry.DataSize == 0) {
      lose(fmt::format("the data {}", Unwritable("")));
    }
  }

 private:
  bool Narrow(const EDCT_ENTRY &entry) const {
    return sixteen_ && entry.Representation != EDCT_REPR_WSZ_STRING;
  }

  // What the entries of a section share, written once in its [SubHeader].
  template <class Lose>
  void Section(const EDCT_ENTRY &entry, Lose lose) {
    if (!Paired(entry))
      lose(fmt::format("a section of {} entries in representation {} has no text form",
                       ContentName(entry.Content), RepresentationName(entry.Representation)));
    if (entry.POS != 0xFFFFFFFFu)
      lose(
          fmt::format("POS {} is not written: the section's entries read back without one, in "
                      "another section",
                      entry.POS));
    const auto text = [](const char *value) {
      return value ? std::optional<std::string>(value) : std::nullopt;
    };
    Attribute("Language", text(entry.Language), language_, lose);
    Attribute("Engine", text(entry.Engine), engine_, lose);
    std::optional<std::string> model;
    if (entry.Model) {
      model = ModelText(entry.Model);
      // The reader makes the block of the text, a NUL and blanks.
      const std::string_view block(entry.Model, 128);
      if (model->size() < block.size() &&
          block.find_first_not_of(' ', model->size() + 1) != std::string_view::npos)
        lose(
            "the Model block holds more than its text: the text form gives back the text, a "
            "NUL and blanks");
    }
    Attribute("Model", model, model_, lose);
    // Sections are told apart by their attributes alone: two alike (an image can hold them)
    // read back as one.
    const std::string same =
        fmt::format("{} {} {} {}{} {}{} {}{}", entry.Content, entry.Representation, entry.POS,
                    bool(entry.Language), text(entry.Language).value_or(""), bool(entry.Engine),
                    text(entry.Engine).value_or(""), bool(entry.Model),
                    entry.Model ? std::string(entry.Model, 128) : std::string());
    if (!sections_.insert(same).second)
      lose("an earlier section has the same attributes: read back, the two are one");
  }

  // An attribute is written when present, as 8-bit text read back through 16-bit units; a
  // section that lacks it keeps the value of an earlier one.
  template <class Lose>
  static void Attribute(const char *name, const std::optional<std::string> &value, bool &earlier,
                        Lose lose) {
    if (value) {
      if (const char *why = Unwritable(*value))
        lose(fmt::format("the {} {} {}", name, Shown(*value), why));
      else if (!SurvivesUnits(*value))
        lose(fmt::format("the {} {} {}", name, Shown(*value), kNotUnits));
    } else if (earlier) {
      lose(fmt::format(
          "the section has no {}, but an earlier one has: it reads back with that one's", name));
    }
    earlier = earlier || value;
  }

  // A list goes out as //piece//piece up to its first empty piece; the reader trims the line and
  // cuts it at every "//".
  template <class Lose>
  void List(const EDCT_ENTRY &entry, Lose lose) const {
    const std::vector<std::string> pieces = BroadNarrows(entry);
    if (pieces.empty())
      return lose(fmt::format("the list is empty or begins with an empty piece: its data {}",
                              Unwritable("")));
    size_t size = 1;
    std::string line;
    for (const std::string &piece : pieces) {
      size += piece.size() + 1;
      line += "//" + piece;
    }
    if (size < entry.DataSize)
      lose(fmt::format("an empty piece in the list: the text form ends it there, at {}",
                       Shown(line)));
    else if (size > entry.DataSize)
      lose("the list lacks its closing NUL");
    if (line.find_first_of("\r\n") != std::string::npos)
      return lose("a piece of the list holds a line end");
    if (Narrow(entry) && !SurvivesUnits(line))
      lose(fmt::format("the list {} {} (write the text stream as UTF-8)", Shown(line), kNotUnits));
    std::string_view read(line);
    while (Blank(read.back()))
      read.remove_suffix(1);
    std::vector<std::string> back;
    for (size_t at = 2;;) {
      const size_t next = read.find("//", at);
      back.emplace_back(read.substr(at, next - at));
      if (next == std::string_view::npos) break;
      at = next + 2;
    }
    if (back != pieces) lose(fmt::format("the list {} reads back as other pieces", Shown(line)));
  }

  const bool sixteen_;  // 8-bit data goes out as 16-bit units
  const std::function<void(std::string)> &lost_;
  bool language_ = false, model_ = false, engine_ = false;  // set by an earlier section
  std::set<std::string> sections_;
  std::optional<std::string> last_;  // the key before, in this section
};

}  // namespace

VQRESULT TextFormLosses(SafeHandle dictionary, Encoding encoding,
                        const std::function<void(std::string)> &lost) {
  TextFormCheck check(encoding == Encoding::kUcs2le || encoding == Encoding::kUcs2be, lost);
  struct Info {  // given back however the check ends
    SafeHandle dictionary;
    EDCT_INFO info{};
    bool held = false;
    ~Info() {
      if (held) edct_DctFreeInfo(dictionary, &info);
    }
  } info{dictionary};
  const VQRESULT got = edct_DctGetInfo(dictionary, &info.info);
  if (got) return got;
  info.held = true;
  check.Header(info.info);
  return Walk(dictionary, [&](const std::string &key, const EDCT_ENTRY *entries, uint32_t count,
                              bool sectionStarts) {
    if (!count) return;  // nothing of it is written
    check.Key(key, entries[0], sectionStarts);
    for (uint32_t i = 0; i < count; ++i)
      check.Entry(key, entries[i]);
  });
}

namespace {

void CheckImage(const InputFile &file, Encoding encoding, std::vector<Finding> &findings) {
  if (file.Word(0) == kSwappedImageFormat) {
    findings.push_back({0, 0, true, "an archive image for a host of the other byte order"});
    return;
  }
  if (file.Word(4) > file.size() || file.size() < 24) {
    findings.push_back({0, 0, true, "a truncated archive image"});
    return;
  }
  if (const VQRESULT checked = edct_DctCheckImage(file.data(), file.size())) {
    findings.push_back({0, 0, true, "the archive image is refused: " + Describe(checked)});
    return;
  }
  DictHandle dictionary;
  const VQRESULT opened = edct_DctOpen(g_vqNullHandle, file.data(), EDCT_OPEN_READONLY, nullptr,
                                       nullptr, dictionary.out());
  if (opened) {
    findings.push_back({0, 0, true, "the archive image is refused: " + Describe(opened)});
    return;
  }
  const VQRESULT walked = TextFormLosses(dictionary.get(), encoding, [&](std::string loss) {
    findings.push_back({0, 0, false, std::move(loss)});
  });
  if (walked) findings.push_back({0, 0, true, "cannot walk the image: " + Describe(walked)});
}

}  // namespace

int CheckLexicons(const std::vector<std::string> &files, Encoding encoding, bool werror,
                  bool json) {
  int status = kOk;
  Json reports = Json::array();
  for (const std::string &path : files) {
    std::vector<Finding> findings;
    try {
      const InputFile file(path);
      if (file.Word(0) == kImageFormat || file.Word(0) == kSwappedImageFormat)
        CheckImage(file, encoding, findings);
      else
        CheckText(file, encoding, findings);
    } catch (const Failure &failure) {
      findings.push_back({0, 0, true, failure.what()});
    }
    std::stable_sort(findings.begin(), findings.end(), [](const Finding &a, const Finding &b) {
      return std::pair(a.line, a.column) < std::pair(b.line, b.column);
    });
    size_t errors = 0, warnings = 0;
    Json list = Json::array();
    for (const Finding &finding : findings) {
      const bool error = finding.error || werror;
      (error ? errors : warnings) += 1;
      const char *severity = error ? "error" : "warning";
      const std::string suffix = !finding.error && werror ? " [--werror]" : "";
      if (json) {
        list.push_back({{"line", finding.line ? Json(finding.line) : Json()},
                        {"column", finding.column ? Json(finding.column) : Json()},
                        {"severity", severity},
                        {"message", finding.message}});
      } else if (finding.line) {
        fmt::print("{}:{}:{}: {}: {}{}\n", path, finding.line, finding.column, severity,
                   finding.message, suffix);
      } else {
        fmt::print("{}: {}: {}{}\n", path, severity, finding.message, suffix);
      }
    }
    if (errors) status = kFailed;
    if (json)
      reports.push_back(
          {{"file", path}, {"errors", errors}, {"warnings", warnings}, {"findings", list}});
    else if (errors || warnings)
      fmt::print("{}: {} error{}, {} warning{}\n", path, errors, errors == 1 ? "" : "s", warnings,
                 warnings == 1 ? "" : "s");
  }
  if (json) PrintJson({{"files", reports}});
  return status;
}

}  // namespace cli
