// The platform pieces under the broker that the scans do not show: name patterns, and the
// system's message of a refused module load.
#include <gtest/gtest.h>

#include "fixtures.h"
#include "platform/directory.h"
#include "platform/module.h"

namespace {

TEST(PlatformDirectory, NamePatterns) {
  using sc::plat::NameMatches;
  for (const char *name : {"engine.hdr", "ENGINE.HDR", ".hdr", "a.b.hdr"})
    EXPECT_TRUE(NameMatches("*.hdr", name)) << name;
  for (const char *name : {"engine.hdrx", "engine.dat", "hdr"})
    EXPECT_FALSE(NameMatches("*.hdr", name)) << name;
  EXPECT_TRUE(NameMatches("?x*y", "axzzy"));
  EXPECT_FALSE(NameMatches("?x*y", "xy"));
  EXPECT_TRUE(NameMatches("a*b*c", "abxbxc"));
  EXPECT_FALSE(NameMatches("a*b*c", "abxbx"));
}

TEST(PlatformModule, RefusedLoadsCarryTheSystemsMessage) {
  brktest::Root root;
  root.Write("notalib.so", "text");
  char error[256] = "stale";
  EXPECT_EQ(sc::plat::LibraryLoad(root.Path("notalib.so").c_str(), error, sizeof error), nullptr);
  EXPECT_NE(std::string(error).find("notalib.so"), std::string::npos) << error;
  char tiny[8];
  EXPECT_EQ(sc::plat::LibraryLoad(root.Path("absent.so").c_str(), tiny, sizeof tiny), nullptr);
  EXPECT_EQ(std::string(tiny).size(), 7u);
}

}  // namespace
