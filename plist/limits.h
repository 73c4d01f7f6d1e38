// Bounds on what the readers accept, so that no input can exhaust the stack
// or memory (libplist 2.2's parsers and writers recurse per nesting level).
#pragma once

#include <cstddef>

namespace cx::plist {

// Dictionaries and arrays nested deeper than this are refused.
constexpr int kMaxDepth = 512;

// A binary property list may share an object between several references;
// once expanded into a tree it may hold at most this many values per byte
// of input (a legitimate file holds fewer values than bytes).
constexpr size_t kMaxValuesPerByte = 16;

// Larger files are refused without reading them.
constexpr size_t kMaxFileSize = size_t{16} << 20;

}  // namespace cx::plist
