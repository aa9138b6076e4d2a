// JSON documents and tables on the standard output.
#include "tools/output.h"

#include <fmt/format.h>

#include <algorithm>

namespace cli {

void PrintJson(const Json &document) {
  // Text that is not UTF-8 (a path, a header value) is written with U+FFFD instead of failing.
  const std::string text = document.dump(2, ' ', false, Json::error_handler_t::replace);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fputc('\n', stdout);
}

void JsonArrayWriter::Add(const Json &element) {
  const std::string text = element.dump(-1, ' ', false, Json::error_handler_t::replace);
  std::fputs(any_ ? ",\n  " : "[\n  ", out_);
  std::fwrite(text.data(), 1, text.size(), out_);
  any_ = true;
}

void JsonArrayWriter::Finish() {
  std::fputs(any_ ? "\n]" : "[]", out_);
}

// The width fmt gives a cell when it pads it (wide characters count two): padded to its own
// byte length, which no cell's width exceeds, the cell gains that length minus its width.
size_t DisplayWidth(const std::string &cell) {
  return 2 * cell.size() - fmt::formatted_size("{:<{}}", cell, cell.size());
}

void Table::Print(const std::string &indent) const {
  std::vector<size_t> widths;
  for (const auto &row : rows_) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i)
      widths[i] = std::max(widths[i], DisplayWidth(row[i]));
  }
  for (const auto &row : rows_) {
    std::string line = indent;
    for (size_t i = 0; i + 1 < row.size(); ++i)
      line += fmt::format("{:<{}}  ", row[i], widths[i]);
    if (!row.empty()) line += row.back();  // no blanks at the end of a line
    fmt::print("{}\n", line);
  }
}

std::string Quoted(const std::string &text) {
  return fmt::format("\"{}\"", text);
}

}  // namespace cli
