// One message as a null-terminated list of items, and its assembly into text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace cx {

enum : int16_t {
  kDiagItemText = 1,
  kDiagItemSigned = 2,
  kDiagItemUnsigned = 3,
  kDiagItemStamp = 4,  // local date and time; any other kind adds nothing
};

struct cc_diag_item {
  int16_t kind;
  const char* text;
  int32_t svalue;
  uint32_t uvalue;
  int32_t base;
};

inline cc_diag_item diag_text_item(const char* text) {
  return {kDiagItemText, text, 0, 0, 0};
}
inline cc_diag_item diag_signed_item(int32_t v, int32_t base) {
  return {kDiagItemSigned, nullptr, v, 0, base};
}
inline cc_diag_item diag_unsigned_item(uint32_t v, int32_t base) {
  return {kDiagItemUnsigned, nullptr, 0, v, base};
}

// Length of the item's text as copy_diag_info_string would write it.
size_t get_diag_info_len(const cc_diag_item& item);
// Writes the item's text at dst, at most room characters; returns its end.
char* copy_diag_info_string(const cc_diag_item& item, char* dst, size_t room);

// Null when the allocation fails.
std::unique_ptr<char[]> diag_alloc(size_t size);
// The items of a null-terminated list one after the other, NUL-terminated;
// null for a null list or when memory runs out.
std::unique_ptr<char[]> assemble_diagnostic(const cc_diag_item* const* items);
// Assembles the message and writes it line by line.
void diag_post_diagnostic(const cc_diag_item* const* items);

}  // namespace cx
