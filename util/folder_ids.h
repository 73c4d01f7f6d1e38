// How folder locations map onto POSIX directories: there is one volume, and
// directory IDs are handed out by a process-wide registry as folders are
// looked up, the same path always getting the same ID. The agent is
// single-threaded, so the registry has no lock.
#pragma once

#include <cstdint>
#include <string>

#include "util/file_path.h"

namespace cx {

// The one volume's reference number (the boot volume's on Mac OS X).
constexpr int16_t kRootVolume = -100;
// The root directory's ID, as on HFS.
constexpr int32_t kRootDirID = 2;

// Fills `path` with the folder at `dir` (an absolute path) without checking
// that it exists. False when `dir` is not absolute.
bool set_filepath(sfilepath* path, const std::string& dir, uint16_t sys_folder);
// The directory a location names; false for an unknown volume or ID.
bool filepath_dir(const sfilepath* path, std::string& dir);

// A name the File Manager calls could take: 1 to 255 bytes, no "/", not "."
// or "..". Anything else is refused rather than cut.
bool valid_file_name(const char* name);
// The POSIX path of `name` in the folder `path`.
bool entry_path(const char* name, const sfilepath* path, std::string& out);

}  // namespace cx
