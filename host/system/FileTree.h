// Directories that are made and removed, on ground that nobody else can change.

#ifndef HOST_SYSTEM_FILETREE_H_
#define HOST_SYSTEM_FILETREE_H_

#include <unistd.h>

#include <string>

namespace plexion_host {

/// True when some file could have this path: absolute, and within the system's limits.
bool IsPossiblePath(const std::string& path);

// Below a directory in which everybody may make entries (/tmp), a directory of another user or a link
// would lead the work to where that user wants it. The next two refuse it, with a path and the reason
// in `refused`; directories of this user and of root are trusted. `user` is for tests.

/// Makes `path` a directory in which files can be made, which is found out by making one.
///
/// With `createMissing` it is made, and so are the missing ones above it. What is made in a shared
/// directory (sticky, as /tmp is) is shared in the same way; the last one, and everything elsewhere,
/// is the caller's own.
bool EnsureWritableDirectory(const std::string& path, bool createMissing, std::string& refused,
                             uid_t user = geteuid());

/// Removes a directory, with `recursive` and all that is in it. Symbolic links are removed and
/// never followed, `path` itself included. Returns  true when nothing of that path is left.
bool RemoveDirectoryTree(const std::string& path, bool recursive, std::string& refused,
                         uid_t user = geteuid());

/// Whether `path` is `prefix` or lies below it.
bool IsAtOrBelow(const std::string& path, const std::string& prefix);

}  // namespace plexion_host

#endif  // HOST_SYSTEM_FILETREE_H_
