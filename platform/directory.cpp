#include "platform/directory.h"

#include <cstdlib>
#include <cstring>

namespace sc::plat {
namespace {

char FoldAscii(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

bool NameMatches(const char *pattern, const char *name) {
  // Greedy matching with one backtrack point: the last `*` seen.
  const char *starPattern = nullptr;
  const char *starName = nullptr;
  while (*name) {
    if (*pattern == '*') {
      starPattern = ++pattern;
      starName = name;
    } else if (*pattern == '?' || (*pattern && FoldAscii(*pattern) == FoldAscii(*name))) {
      ++pattern;
      ++name;
    } else if (starPattern) {
      pattern = starPattern;
      name = ++starName;
    } else {
      return false;
    }
  }
  while (*pattern == '*')
    ++pattern;
  return *pattern == 0;
}

bool IsDirectory(const char *path) {
  EntryKind kind = EntryKind::kUnknown;
  return CurrentSyscalls().stat(path, &kind) == 0 && kind == EntryKind::kDirectory;
}

DirectoryListing::DirectoryListing(const char *path)
    : path_(path), directory_(path ? CurrentSyscalls().opendir(path) : nullptr) {}

DirectoryListing::~DirectoryListing() {
  if (directory_) CurrentSyscalls().closedir(directory_);
}

const char *DirectoryListing::NextMatch(const char *pattern) {
  if (!directory_) return nullptr;
  EntryKind kind;
  while (const char *name = CurrentSyscalls().readdir(directory_, &kind))
    if (NameMatches(pattern, name)) return name;
  return nullptr;
}

const char *DirectoryListing::NextSubdirectory() {
  if (!directory_) return nullptr;
  EntryKind kind;
  while (const char *name = CurrentSyscalls().readdir(directory_, &kind)) {
    if (!std::strcmp(name, ".") || !std::strcmp(name, "..")) continue;
    if (EntryIsDirectory(name, kind)) return name;
  }
  return nullptr;
}

bool DirectoryListing::Identity(DirectoryIdentity &identity) const {
  return directory_ && CurrentSyscalls().identify(directory_, &identity) == 0;
}

bool DirectoryListing::EntryIsDirectory(const char *name, EntryKind kind) const {
  if (kind != EntryKind::kUnknown) return kind == EntryKind::kDirectory;
  // The listing could not tell (a link, or a file system without entry types): ask stat.
  const size_t directoryLength = std::strlen(path_);
  const size_t nameLength = std::strlen(name);
  auto *full = static_cast<char *>(std::malloc(directoryLength + nameLength + 2));
  if (!full) return false;
  std::memcpy(full, path_, directoryLength);
  full[directoryLength] = '/';
  std::memcpy(full + directoryLength + 1, name, nameLength + 1);
  const bool directory = IsDirectory(full);
  std::free(full);
  return directory;
}

}  // namespace sc::plat
