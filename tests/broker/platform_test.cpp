// The platform pieces under the broker: name patterns, directory listings, module loading.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "fixtures.h"
#include "platform/directory.h"
#include "platform/module.h"

namespace {

using brktest::Root;

TEST(PlatformDirectory, NamePatterns) {
  using sc::plat::NameMatches;
  EXPECT_TRUE(NameMatches("*.hdr", "engine.hdr"));
  EXPECT_TRUE(NameMatches("*.hdr", "ENGINE.HDR"));
  EXPECT_TRUE(NameMatches("*.hdr", ".hdr"));
  EXPECT_TRUE(NameMatches("*.hdr", "a.b.hdr"));
  EXPECT_FALSE(NameMatches("*.hdr", "engine.hdrx"));
  EXPECT_FALSE(NameMatches("*.hdr", "engine.dat"));
  EXPECT_FALSE(NameMatches("*.hdr", "hdr"));
  EXPECT_TRUE(NameMatches("?x*y", "axzzy"));
  EXPECT_FALSE(NameMatches("?x*y", "xy"));
  EXPECT_TRUE(NameMatches("*", ""));
  EXPECT_TRUE(NameMatches("a*b*c", "abxbxc"));
  EXPECT_FALSE(NameMatches("a*b*c", "abxbx"));
}

TEST(PlatformDirectory, ListingsFilesAndSubdirectories) {
  Root root;
  root.Write("d/one.hdr", "");
  root.Write("d/two.HDR", "");
  root.Write("d/three.dat", "");
  root.Write("d/sub/inner.hdr", "");
  root.Write("d/dir.hdr/x", "");  // a directory whose name matches: listed all the same
  std::filesystem::create_directory_symlink(root.Path("d/sub"), root.Path("d/link"));
  std::filesystem::create_symlink(root.Path("d/one.hdr"), root.Path("d/filelink"));
  std::filesystem::create_directory_symlink(root.Path("d/absent"), root.Path("d/dangling"));
  const std::string path = root.Path("d");
  const auto collect = [&](bool subdirectories) {
    sc::plat::DirectoryListing listing(path.c_str());
    std::vector<std::string> names;
    while (const char *name =
               subdirectories ? listing.NextSubdirectory() : listing.NextMatch("*.hdr"))
      names.emplace_back(name);
    std::sort(names.begin(), names.end());
    return names;
  };
  EXPECT_EQ(collect(false), (std::vector<std::string>{"dir.hdr", "one.hdr", "two.HDR"}));
  EXPECT_EQ(collect(true), (std::vector<std::string>{"dir.hdr", "link", "sub"}));
  sc::plat::DirectoryListing absent(root.Path("absent").c_str());
  EXPECT_EQ(absent.NextMatch("*"), nullptr);
  EXPECT_EQ(absent.NextSubdirectory(), nullptr);
}

TEST(PlatformModule, LoadFailuresCarryTheSystemsMessage) {
  Root root;
  root.Write("notalib.so", "text");
  char error[256] = "stale";
  EXPECT_EQ(sc::plat::LibraryLoad(root.Path("notalib.so").c_str(), error, sizeof error), nullptr);
  EXPECT_NE(std::string(error).find("notalib.so"), std::string::npos) << error;
  char tiny[8];
  EXPECT_EQ(sc::plat::LibraryLoad(root.Path("absent.so").c_str(), tiny, sizeof tiny), nullptr);
  EXPECT_EQ(std::string(tiny).size(), 7u);

  sc::plat::Library *library = sc::plat::LibraryLoad(
      brktest::ModuleFile(brktest::Module::kAddon).c_str(), error, sizeof error);
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(error[0], 0);
  EXPECT_NE(sc::plat::LibrarySymbol(library, "AddonGetInterface"), nullptr);
  EXPECT_EQ(sc::plat::LibrarySymbol(library, "Absent"), nullptr);
  sc::plat::LibraryFree(library);
  brktest::TakeEvents();
}

}  // namespace
