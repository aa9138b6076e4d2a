// A clean trace facility per test: no VQ_ variable set, not initialised, switch on, and a
// temporary directory for log and data files.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "sc_dbg.h"
#include "test_util.h"

class DbgTest : public ::testing::Test {
 protected:
  void SetUp() override { Reset(); }
  void TearDown() override { Reset(); }
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
  // A file of the test's directory; "" gives the directory with its separator, as a prefix.
  std::string Path(const std::string &name) const { return dir_.Path() + "/" + name; }
  static std::string Read(const std::string &path) { return sctest::ReadFile(path); }
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

  sctest::TempDir dir_;
};
