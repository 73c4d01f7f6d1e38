// Copying files with their Finder info, resource fork and locked state.
#pragma once

#include <cstdint>

#include "util/file_path.h"

namespace cx {

// Bytes per transfer of copy_and_close.
constexpr int32_t kCopyChunkSize = 30000;

// Replaces any file at the destination by a copy of the source: type and
// creator, Finder flags without the inited bit, data fork, resource fork,
// then the locked state. A failed copy leaves no destination behind.
bool copy_file(const char* source_name, const sfilepath* source_path, const char* dest_name,
               const sfilepath* dest_path);

// Lets the kernel copy the rest of source to dest (copy_file_range). False
// when the volume cannot; the positions then stand after whatever was copied,
// so the caller can go on with copy_and_close.
bool quick_copy_file(int16_t source, int16_t dest);

// Copies the rest of source to dest in kCopyChunkSize pieces through one
// buffer; a short write is a failure. Closes both files in every case.
bool copy_and_close(int16_t source, int16_t dest);

}  // namespace cx
