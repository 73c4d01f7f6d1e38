// Files named by a folder location and a name: existence, creation, deletion,
// renaming, moving and the locked state. Only regular files count as files;
// a symbolic link in a file's place is never followed.
#pragma once

#include <cstdint>

#include "util/file_path.h"

namespace cx {

bool file_exists(const char* name, const sfilepath* path);
bool folder_exists(const char* name, const sfilepath* path);

// Deletes an existing file of that name first (failing if it cannot), then
// creates an empty file with the given type and creator.
bool create_file(const char* name, const sfilepath* path, uint32_t type, uint32_t creator);
// Deletes the file with its resource fork and Finder info; a locked file
// cannot be deleted.
bool delete_file(const char* name, const sfilepath* path);
// Both fail when the new name is taken.
bool rename_file(const char* name, const sfilepath* path, const char* new_name);
bool move_file(const char* name, const sfilepath* from, const sfilepath* to);

// The locked state is the absence of every write permission bit.
bool is_readonly(const char* name, const sfilepath* path);
bool make_file_readonly(const char* name, const sfilepath* path);
// Gives the owner write permission back.
bool make_file_readwrite(const char* name, const sfilepath* path);

}  // namespace cx
