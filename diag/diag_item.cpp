#include "diag/diag_item.h"

#include <cstring>
#include <new>
#include <string_view>

#include "diag/diag_format.h"
#include "diag/diag_lines.h"
#include "diag/diag_timestamp.h"

namespace cx {
namespace {

// Numbers and stamps are formatted here before their length is known.
using Scratch = char[kDiagStampSize];
static_assert(kDiagStampSize >= kDiagNumberSize);

// The item's text, which may live in scratch.
std::string_view format_item(const cc_diag_item& item, Scratch& scratch) {
  switch (item.kind) {
    case kDiagItemText:
      return item.text ? std::string_view(item.text, diag_strlen(item.text)) : std::string_view();
    case kDiagItemSigned:
      return {scratch, diag_ltoa(item.svalue, scratch, item.base)};
    case kDiagItemUnsigned:
      return {scratch, diag_utoa(item.uvalue, scratch, item.base)};
    case kDiagItemStamp:
      return {scratch, diag_build_timestamp(scratch, sizeof scratch)};
    default:
      return {};
  }
}

}  // namespace

size_t get_diag_info_len(const cc_diag_item& item) {
  Scratch scratch;
  return format_item(item, scratch).size();
}

char* copy_diag_info_string(const cc_diag_item& item, char* dst, size_t room) {
  Scratch scratch;
  // A stamp may format differently from when it was measured.
  const std::string_view text = format_item(item, scratch).substr(0, room);
  if (!text.empty()) std::memcpy(dst, text.data(), text.size());
  return dst + text.size();
}

std::unique_ptr<char[]> diag_alloc(size_t size) {
  return std::unique_ptr<char[]>(new (std::nothrow) char[size]);
}

std::unique_ptr<char[]> assemble_diagnostic(const cc_diag_item* const* items) {
  if (items == nullptr) return nullptr;
  size_t total = 0;
  for (auto p = items; *p; ++p) total += get_diag_info_len(**p);
  auto text = diag_alloc(total + 1);
  if (!text) return nullptr;
  char* end = text.get();
  for (auto p = items; *p; ++p) {
    end = copy_diag_info_string(**p, end, total - static_cast<size_t>(end - text.get()));
  }
  *end = '\0';
  return text;
}

void diag_post_diagnostic(const cc_diag_item* const* items) {
  if (auto text = assemble_diagnostic(items)) do_diag_line(text.get());
}

}  // namespace cx
