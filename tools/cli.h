// What the command groups of the speechcommon tool share: exit statuses, the failure that ends
// a command, and the table through which main finds the handler of the command given.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace CLI {
class App;
}

namespace cli {

// Exit statuses of the tool.
inline constexpr int kOk = 0;
inline constexpr int kFailed = 1;  // the operation was refused or an input was bad
inline constexpr int kUsage = 2;   // the command line itself was wrong

// Ends the command: main prints "speechcommon: <message>" and exits with the status.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string &message, int status = kFailed)
      : std::runtime_error(message), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

// The step a command is in, named where it begins ("reading", "big.txt"), so that main can say
// "out of memory while reading big.txt" when an exception ends the command. The text is kept in
// a fixed buffer: naming a step takes no memory.
void Doing(std::string_view what, std::string_view object = {}) noexcept;
const char *WhatIsBeingDone() noexcept;

// The body of a callback the library calls. No exception may pass through the library's frames
// (they hold its locks and free nothing on the way), so one is kept here, the callback answers
// `failed`, and Rethrow throws it again once the library has returned.
class CallbackGuard {
 public:
  template <class Body>
  uint32_t Run(uint32_t failed, Body &&body) noexcept {
    try {
      return body();
    } catch (...) {
      kept_ = std::current_exception();
      return failed;
    }
  }
  void Rethrow() {
    if (kept_) std::rethrow_exception(std::exchange(kept_, nullptr));
  }

 private:
  std::exception_ptr kept_;
};

// The handler of each leaf command, run by main once the whole command line has been parsed
// (and the trace facility started). A handler returns the exit status.
class Commands {
 public:
  void Add(const CLI::App *command, std::function<int()> run) { run_[command] = std::move(run); }
  const std::function<int()> *Find(const CLI::App *command) const {
    const auto found = run_.find(command);
    return found == run_.end() ? nullptr : &found->second;
  }

 private:
  std::map<const CLI::App *, std::function<int()>> run_;
};

// The words after "--" on a command line, which only `dict lookup` takes.
struct Words {
  bool given = false;
  std::vector<std::string> list;
};

void AddErrorCommand(CLI::App &app, Commands &commands);
void AddHdrCommands(CLI::App &app, Commands &commands);
void AddDictCommands(CLI::App &app, Commands &commands, const Words &words);
void AddBrokerCommands(CLI::App &app, Commands &commands);
void AddCompletionCommand(CLI::App &app, Commands &commands);

}  // namespace cli
