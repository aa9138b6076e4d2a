// Listing the entries of one directory with `*` and `?` name patterns. Entries come in the
// order the file system gives them. Every call goes through the system call table of
// syscalls.h.
#pragma once

#include <cstddef>

#include "platform/syscalls.h"

namespace sc::plat {

// `*` stands for any run of characters (none included), `?` for exactly one; every other
// character stands for itself, ASCII letters in either case.
bool NameMatches(const char *pattern, const char *name);

// True when the path names a directory (links followed).
bool IsDirectory(const char *path);

class DirectoryListing {
 public:
  // A directory that does not exist or cannot be read lists nothing. `path` must outlive the
  // listing.
  explicit DirectoryListing(const char *path);
  ~DirectoryListing();
  DirectoryListing(const DirectoryListing &) = delete;
  DirectoryListing &operator=(const DirectoryListing &) = delete;

  // The next entry whose name matches `pattern`, whatever kind of entry it is; null at the
  // end. The name stays valid until the next call.
  const char *NextMatch(const char *pattern);
  // The next entry that is a directory (a link to one included), never "." or "..".
  const char *NextSubdirectory();
  // The identity of the directory being listed; false when it cannot be read or told.
  bool Identity(DirectoryIdentity &identity) const;

 private:
  bool EntryIsDirectory(const char *name, EntryKind kind) const;

  const char *path_;
  Directory *directory_;
};

}  // namespace sc::plat
