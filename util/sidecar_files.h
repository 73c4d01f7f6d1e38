// What a Mac file keeps beside its data fork lives here in hidden files next
// to it: the resource fork in "._<name>.rsrc", and the Finder info in
// "._<name>.finf" where the file system has no user extended attributes.
// Deleting, renaming and moving a file carry these along.
#pragma once

#include <string>

#include "util/file_path.h"

namespace cx {

enum class Sidecar { ResourceFork, FinderData };

// The sidecar's POSIX path; false when the name is invalid or too long.
bool sidecar_path(const char* name, const sfilepath* path, Sidecar kind, std::string& out);
// Removes both sidecars; a missing one is not an error.
bool remove_sidecars(const char* name, const sfilepath* path);
// Gives the sidecars of `name` in `from` to `new_name` in `to`. Stale
// sidecars at the destination are replaced or removed.
bool move_sidecars(const char* name, const sfilepath* from, const char* new_name,
                   const sfilepath* to);

}  // namespace cx
