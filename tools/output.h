// How the tool prints data: JSON through nlohmann-json, tables through fmt.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdio>
#include <string>
#include <vector>

namespace cli {

using Json = nlohmann::ordered_json;

// One JSON document on the standard output, indented, with a line end.
void PrintJson(const Json &document);

// Writes a JSON array element by element, for listings too long to hold as one document: the
// elements are whole JSON values, the brackets and commas come from here.
class JsonArrayWriter {
 public:
  explicit JsonArrayWriter(FILE *out) : out_(out) {}
  void Add(const Json &element);
  void Finish();

 private:
  FILE *out_;
  bool any_ = false;
};

// Rows of cells printed as left-aligned columns two blanks apart (padded by fmt, so a wide
// character counts two), under a heading unless it is empty.
class Table {
 public:
  explicit Table(std::vector<std::string> heading) : headed_(!heading.empty()) {
    if (headed_) rows_.push_back(std::move(heading));
  }
  void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
  bool empty() const { return rows_.size() == (headed_ ? 1 : 0); }
  void Print(const std::string &indent) const;

 private:
  bool headed_;
  std::vector<std::vector<std::string>> rows_;
};

// "text" in double quotes, as the tool shows names and values inside a sentence.
std::string Quoted(const std::string &text);

}  // namespace cli
