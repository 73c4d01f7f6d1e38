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

}  // namespace

std::shared_ptr<const plist::Dictionary> default_response(uint8_t button) {
  const auto defaults = get_default_plist();
  const plist::Dictionary* root = dict_at(defaults.get(), kPrefRootKey);
  const plist::Dictionary* buttons =
      is_preset_button(button)
          ? dict_at(dict_at(root, "SystemWideData"), "GlobalButtonData")
          : dict_at(first_set(dict_at(root, "ApplicationSetData")), "ButtonData");
  const auto* responses =
      buttons ? plist::as<plist::Array>(buttons->get(button_key(button))) : nullptr;
  if (!responses || responses->empty()) return nullptr;
  const plist::ValueRef& first = responses->at(0);
  if (!plist::as<plist::Dictionary>(first)) return nullptr;
  return std::static_pointer_cast<const plist::Dictionary>(first);
}

std::vector<uint8_t> application_buttons() {
  std::vector<uint8_t> buttons;
  for (const auto& entry : but_key_table)
    if (!is_preset_button(entry.button)) buttons.push_back(entry.button);
  return buttons;
}

}  // namespace cx::corvexctl
