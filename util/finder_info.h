// Storage of a file's 32-byte Finder info (FInfo then FXInfo, big-endian, as
// on HFS). It is kept in the extended attribute "user.corvex.finderinfo";
// where the file system has no user extended attributes, in the sidecar file
// "._<name>.finf". A file with neither has all-zero Finder info.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "util/file_path.h"

namespace cx {

constexpr std::size_t kFinderInfoSize = 32;
using FinderInfo = std::array<uint8_t, kFinderInfoSize>;

// Field offsets inside FInfo.
constexpr std::size_t kFinderTypeOffset = 0;
constexpr std::size_t kFinderCreatorOffset = 4;
constexpr std::size_t kFinderFlagsOffset = 8;

constexpr char kFinderInfoAttribute[] = "user.corvex.finderinfo";

// The file must exist as a regular file.
bool read_finder_info(const char* name, const sfilepath* path, FinderInfo& info);
bool write_finder_info(const char* name, const sfilepath* path, const FinderInfo& info);

// The sidecar form alone (the fallback); `sidecar` is the sidecar's path.
bool read_finder_info_sidecar(const std::string& sidecar, FinderInfo& info);
bool write_finder_info_sidecar(const std::string& sidecar, const FinderInfo& info);

}  // namespace cx
