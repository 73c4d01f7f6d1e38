// Open files, known by 16-bit reference numbers as under the File Manager.
#pragma once

#include <cstdint>

#include "util/file_path.h"

namespace cx {

// Access permissions of open_file, with the File Manager's values.
constexpr int8_t kCurrentPermission = 0;  // read-write if allowed, else read-only
constexpr int8_t kReadPermission = 1;
constexpr int8_t kWritePermission = 2;
constexpr int8_t kReadWritePermission = 3;

// Position modes of seek_file, with the File Manager's values.
constexpr int16_t kFromStart = 1;
constexpr int16_t kFromEnd = 2;
constexpr int16_t kFromMark = 3;

// How many files (and resource forks) may be open at once.
constexpr int kMaxOpenFiles = 128;

// A reference number (1 .. kMaxOpenFiles, the lowest free one), or -1. A
// system-folder location is first resolved with search_file_in_system_folder.
// A locked file cannot be opened for writing. The position starts at 0.
int16_t open_file(const char* name, const sfilepath* path, int8_t permission);
bool close_file(int16_t ref);

// Bytes moved, short only at end of file; -1 on error.
int32_t read_file(int16_t ref, void* buffer, int32_t count);
int32_t write_file(int16_t ref, const void* buffer, int32_t count);

// Positions outside 0 .. file size are refused and leave the position as it was.
bool seek_file(int16_t ref, int32_t offset, int16_t mode);
int32_t get_file_position(int16_t ref);
int32_t get_file_size(int16_t ref);
// A position beyond the new end moves to the end.
bool set_file_size(int16_t ref, int32_t size);

}  // namespace cx
