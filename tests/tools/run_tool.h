// Runs the built speechcommon tool and captures what it prints.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

namespace sctest {

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

// Runs SC_TOOL_PATH with the given arguments; `input` (if any) goes to its standard input.
inline ToolRun RunTool(const std::vector<std::string> &args, const std::string &input = "") {
  char errPath[] = "/tmp/sc_tool_err_XXXXXX";
  const int errFd = mkstemp(errPath);
  close(errFd);
  char inPath[] = "/tmp/sc_tool_in_XXXXXX";
  const int inFd = mkstemp(inPath);
  if (write(inFd, input.data(), input.size()) < 0) {
  }
  close(inFd);
  std::string command = ShellQuote(SC_TOOL_PATH);
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
  if (FILE *err = fopen(errPath, "rb")) {
    while ((got = fread(buffer.data(), 1, buffer.size(), err)) > 0)
      run.err.append(buffer.data(), got);
    fclose(err);
  }
  unlink(errPath);
  unlink(inPath);
  return run;
}

}  // namespace sctest
