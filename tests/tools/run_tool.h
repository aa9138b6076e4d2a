// Runs the built speechcommon tool and captures what it prints.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "test_util.h"

namespace tooltest {

struct ToolRun {
  int status = -1;  // exit status, or -1 when the tool did not exit normally
  std::string out;  // standard output
  std::string err;  // standard error
};

inline std::string ShellQuote(const std::string &word) {
  std::string quoted = "'";
  for (char c : word)
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

using sctest::ReadFile;

// Runs SC_TOOL_PATH with the arguments; `input` goes to its standard input, `environment`
// ("NAME=value ...") before it.
inline ToolRun RunTool(const std::vector<std::string> &args, const std::string &input = "",
                       const std::string &environment = "") {
  char errPath[] = "/tmp/sc_tool_err_XXXXXX";
  close(mkstemp(errPath));
  char inPath[] = "/tmp/sc_tool_in_XXXXXX";
  const int inFd = mkstemp(inPath);
  EXPECT_EQ(write(inFd, input.data(), input.size()), static_cast<ssize_t>(input.size()));
  close(inFd);
  std::string command = environment + " " + ShellQuote(SC_TOOL_PATH);
  for (const std::string &arg : args)
    command.append(" ").append(ShellQuote(arg));
  command.append(" <").append(ShellQuote(inPath)).append(" 2>").append(ShellQuote(errPath));
  ToolRun run;
  FILE *pipe = popen(command.c_str(), "r");
  std::array<char, 4096> buffer;
  size_t got;
  while ((got = fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
    run.out.append(buffer.data(), got);
  const int raw = pclose(pipe);
  run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  run.err = ReadFile(errPath);
  unlink(errPath);
  unlink(inPath);
  return run;
}

// The words of a line as arguments.
inline std::vector<std::string> Words(const std::string &line) {
  std::vector<std::string> words;
  std::istringstream in(line);
  for (std::string word; in >> word;)
    words.push_back(word);
  return words;
}

// The standard output as one JSON document; a test failure (and null) when it is not one.
inline nlohmann::json Json(const ToolRun &run) {
  try {
    return nlohmann::json::parse(run.out);
  } catch (const nlohmann::json::exception &error) {
    ADD_FAILURE() << "not JSON: " << error.what() << "\n" << run.out;
    return nullptr;
  }
}

inline bool Has(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

using sctest::TempDir;

}  // namespace tooltest
