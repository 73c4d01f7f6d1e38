#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "diag/diag_config.h"
#include "diag/diag_state.h"
#include "platform/preferences.h"
#include "plist/value.h"

namespace cx {
namespace {

class DiagSettings {
 public:
  explicit DiagSettings(std::string domain) : domain_(std::move(domain)) {}

  std::optional<int32_t> int32(const char* key) const {
    const plist::ValueRef v = copy(key);
    const auto* n = plist::as<plist::Number>(v);
    if (n == nullptr) return std::nullopt;
    // Out-of-range values wrap as a C conversion would; losing bits is no
    // reason to ignore the setting.
    int32_t value = 0;
    n->get_value(plist::NumberType::SInt32, &value);
    return value;
  }

  std::optional<int32_t> flag(const char* key) const {
    const plist::ValueRef v = copy(key);
    const auto* b = plist::as<plist::Boolean>(v);
    if (b == nullptr) return std::nullopt;
    return b->value() ? 1 : 0;
  }

  // A text that does not fit the field, NUL included, cannot be converted
  // into it and leaves the setting alone.
  void text(const char* key, char (&field)[kDiagTextSize]) const {
    const plist::ValueRef v = copy(key);
    const auto* s = plist::as<plist::String>(v);
    if (s == nullptr || s->text().size() >= kDiagTextSize) return;
    s->text().copy(field, s->text().size());
    field[s->text().size()] = '\0';
  }

 private:
  plist::ValueRef copy(const char* key) const {
    return platform::copy_preference_value(key, domain_, platform::PrefUser::Current,
                                           platform::PrefHost::Current);
  }

  std::string domain_;
};

void apply(std::optional<int32_t> value, int32_t& field) {
  if (value) field = *value;
}

}  // namespace

void cc_diag_read_info(const char* domain) {
  ensure_diag_info();
  if (domain == nullptr) return;
  const DiagSettings settings{std::string(domain)};
  if (const auto level = settings.int32("Displevel"))
    cc_diag_set_display_level(static_cast<uint32_t>(*level));
  apply(settings.flag("ShowWindow"), diaginfo.show_window);
  apply(settings.flag("Append"), diaginfo.append);
  settings.text("Title", diaginfo.title);
  settings.text("Filename", diaginfo.file_name);
  apply(settings.int32("X"), diaginfo.x);
  apply(settings.int32("Y"), diaginfo.y);
  apply(settings.int32("Width"), diaginfo.width);
  apply(settings.int32("Height"), diaginfo.height);
  apply(settings.int32("MaxLines"), diaginfo.max_lines);
}

}  // namespace cx
