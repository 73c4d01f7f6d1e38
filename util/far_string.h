// The portable C-string layer. Each function behaves as its C library
// namesake, except that a null argument is treated as an empty string (or
// makes a copy a no-op) instead of crashing; the stricmp variants compare
// ASCII letters without regard to case.
#pragma once

#include <cstddef>

namespace cx {

std::size_t far_strlen(const char* s);
char* far_strcpy(char* dest, const char* src);
char* far_strcat(char* dest, const char* src);
int far_strcmp(const char* a, const char* b);
int far_stricmp(const char* a, const char* b);
// Copies at most n bytes and pads with NULs; dest is not terminated when src
// has n or more bytes (as strncpy).
char* far_strncpy(char* dest, const char* src, std::size_t n);
// Appends at most n bytes and always a NUL: up to n + 1 bytes are written.
char* far_strncat(char* dest, const char* src, std::size_t n);
int far_strncmp(const char* a, const char* b, std::size_t n);
int far_strnicmp(const char* a, const char* b, std::size_t n);
// Null when c does not occur; c == 0 finds the terminator.
const char* far_strchr(const char* s, int c);
char* far_strchr(char* s, int c);
// Null when needle does not occur; an empty needle finds s itself.
const char* far_strstr(const char* s, const char* needle);
char* far_strstr(char* s, const char* needle);

}  // namespace cx
