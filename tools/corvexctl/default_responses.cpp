#include "tools/corvexctl/default_responses.h"

#include <string>

#include "prefs/pref_files.h"
#include "prefs/pref_schema.h"
#include "tools/corvexctl/command_words.h"

namespace cx::corvexctl {
namespace {

const plist::Dictionary* dict_at(const plist::Dictionary* dict, const std::string& key) {
  return dict ? plist::as<plist::Dictionary>(dict->get(key)) : nullptr;
}

const plist::Dictionary* first_set(const plist::Dictionary* sets) {
  if (!sets || sets->empty()) return nullptr;
  return plist::as<plist::Dictionary>(sets->entries().front().second);
}

const plist::Dictionary* default_set() {
  static const auto defaults = get_default_plist();
  return first_set(dict_at(dict_at(defaults.get(), kPrefRootKey), "ApplicationSetData"));
}

// The read pass's starting record: speed 1, no flags.
constexpr ScrollingRecord kUnsetScrolling = {1, 0, 0, 0};

}  // namespace

std::shared_ptr<const plist::Dictionary> default_response(uint8_t button) {
  static const auto defaults = get_default_plist();
  const plist::Dictionary* root = dict_at(defaults.get(), kPrefRootKey);
  const plist::Dictionary* buttons =
      is_preset_button(button) ? dict_at(dict_at(root, "SystemWideData"), "GlobalButtonData")
                               : dict_at(default_set(), "ButtonData");
  const auto* responses =
      buttons ? plist::as<plist::Array>(buttons->get(button_key(button))) : nullptr;
  if (!responses || responses->empty()) return nullptr;
  const plist::ValueRef& first = responses->at(0);
  if (!plist::as<plist::Dictionary>(first)) return nullptr;
  return std::static_pointer_cast<const plist::Dictionary>(first);
}

ScrollingRecord default_scrolling() {
  ScrollingRecord record = kUnsetScrolling;
  const plist::Dictionary* scrolling = dict_at(default_set(), "ScrollingData");
  if (!scrolling) return record;
  if (const auto* speed = plist::as<plist::Number>(scrolling->get("ScrollSpeed")))
    speed->get_value(plist::NumberType::Char, &record[0]);
  for (const auto& [key, bit] :
       {std::pair{"ClockWiseIsUp", kClockwiseIsUp}, std::pair{"SwapScrollAxis", kSwapAxes}}) {
    const auto* flag = plist::as<plist::Boolean>(scrolling->get(key));
    if (flag && flag->value()) record[3] |= static_cast<uint8_t>(bit);
  }
  return record;
}

std::vector<uint8_t> application_buttons() {
  std::vector<uint8_t> buttons;
  for (const auto& entry : but_key_table)
    if (!is_preset_button(entry.button)) buttons.push_back(entry.button);
  return buttons;
}

}  // namespace cx::corvexctl
