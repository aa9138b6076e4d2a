// A clean trace facility per test: no VQ_ variable set, not initialised, switch on, and a
// temporary directory for log and data files.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "sc_dbg.h"

class DbgTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Reset();
    std::string pattern = (std::filesystem::temp_directory_path() / "dbgtestXXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    Reset();
    std::filesystem::remove_all(dir_);
  }
  static void Reset() {
    dbg_Terminate();
    dbg_TraceEnable();
    for (const char *name : {"VQ_TRACELEVEL", "VQ_TRACEINFO", "VQ_LOGFILE", "VQ_MODULES",
                             "VQ_SUBMODULES", "VQ_OUTPATH", "VQ_INPATH"})
      unsetenv(name);
  }

  // Null unsets the variable.
  static void Set(const char *name, const char *value) {
    value ? setenv(name, value, 1) : unsetenv(name);
  }
  static void Set(const char *name, const std::string &value) { Set(name, value.c_str()); }
  std::string Path(const std::string &name) const { return dir_ + "/" + name; }
  static std::string Read(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
  }
  static void Write(const std::string &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << text;
  }
  static bool Exists(const std::string &path) { return std::filesystem::exists(path); }

  // Starts afresh with a log file and the given level and field variables.
  void StartLogging(const char *level, const char *info) {
    dbg_Terminate();
    Set("VQ_TRACELEVEL", level);
    Set("VQ_TRACEINFO", info);
    Set("VQ_LOGFILE", Log());
    ASSERT_EQ(dbg_Init(0, nullptr, 0, nullptr), DBG_INIT_OK);
  }
  std::string Log() const { return Path("trace.log"); }

  std::string dir_;
};
