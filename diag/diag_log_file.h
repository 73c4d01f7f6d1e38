// The log file itself: opened on the first line, closed at shutdown.
#pragma once

#include <cstddef>

namespace cx {

// Opens diaginfo.file_name (a Mac OS X path, mapped to this machine) unless
// already open. Only a regular file of this user reached without a symbolic
// link is used; on failure the log stays closed and the next line tries
// again. Refusing a planted file is said once on the standard error stream.
void open_diagwin_file();
// Writes nothing while the file is closed.
void write_diagwin_file(const char* data, size_t length);
void close_diagwin_file();

// Marks the log inactive and closes the file; a later line reopens it.
void close_diagnostic_window();

}  // namespace cx
