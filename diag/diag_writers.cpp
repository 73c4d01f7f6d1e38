#include "diag/diag_writers.h"

#include <cstdarg>
#include <cstdio>

#include "diag/diag_config.h"
#include "diag/diag_item.h"
#include "diag/diag_lines.h"
#include "diag/diag_state.h"
#include "diag/diag_timestamp.h"

namespace cx {
namespace {

constexpr size_t kPrintfBufferSize = 512;

// The level test comes first so that filtered-out calls cost next to nothing.
bool begin_message(uint32_t level) {
  if (!is_cc_displevel(level)) return false;
  start_diag_thread();
  return true;
}

// Collects the non-null items of one message, null-terminated.
class ItemList {
 public:
  void add(const cc_diag_item& item) {
    items_[count_] = item;
    pointers_[count_] = &items_[count_];
    pointers_[++count_] = nullptr;
  }
  void add_text(const char* text) {
    if (text != nullptr) add(diag_text_item(text));
  }
  bool empty() const { return count_ == 0; }
  void post() const { diag_post_diagnostic(pointers_); }

 private:
  static constexpr size_t kMaxItems = 10;  // a rectangle: label, "{ ", 4 values, 3 commas, " }"
  cc_diag_item items_[kMaxItems];
  const cc_diag_item* pointers_[kMaxItems + 1] = {nullptr};
  size_t count_ = 0;
};

}  // namespace

void diag_line(const char* text, uint32_t level) {
  if (!begin_message(level) || text == nullptr) return;
  ItemList list;
  list.add_text(text);
  list.post();
}

void diag_3line(const char* a, const char* b, const char* c, uint32_t level) {
  if (!begin_message(level)) return;
  ItemList list;
  list.add_text(a);
  list.add_text(b);
  list.add_text(c);
  if (!list.empty()) list.post();
}

void diag_value(const char* label, int32_t value, uint32_t level) {
  diag_value_base(label, value, 10, nullptr, level);
}

void diag_value_base(const char* label, int32_t value, int32_t base, const char* suffix,
                     uint32_t level) {
  if (!begin_message(level)) return;
  ItemList list;
  list.add_text(label);
  list.add(diag_signed_item(value, base));
  list.add_text(suffix);
  list.post();
}

void diag_value_unsigned(const char* label, uint32_t value, int32_t base, const char* suffix,
                         uint32_t level) {
  if (!begin_message(level)) return;
  ItemList list;
  list.add_text(label);
  list.add(diag_unsigned_item(value, base));
  list.add_text(suffix);
  list.post();
}

void diag_rectangle(const char* label, const cx_diag_rect* rect, uint32_t level) {
  if (!begin_message(level) || rect == nullptr) return;
  ItemList list;
  list.add_text(label);
  list.add_text("{ ");
  for (int i = 0; i < 4; ++i) {
    if (i > 0) list.add_text(", ");
    list.add(diag_signed_item(rect->values[i], 10));
  }
  list.add_text(" }");
  list.post();
}

void diag_timestamp(uint32_t level) {
  if (!begin_message(level)) return;
  ItemList list;
  list.add({kDiagItemStamp, nullptr, 0, 0, 0});
  list.post();
}

void diag_printf(const char* format, ...) {
  if (!is_cc_displevel(kDiagPrintfLevel)) return;
  char buffer[kPrintfBufferSize];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  diag_line(buffer, kDiagPrintfLevel);
}

}  // namespace cx
