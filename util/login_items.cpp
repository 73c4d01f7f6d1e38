#include "util/login_items.h"

#include <cstdio>

#include "platform/bundles.h"
#include "platform/preferences.h"
#include "util/localized_strings.h"

namespace cx {

std::optional<std::string> gPreferenceName;
std::optional<std::string> gMainKeyName;
std::optional<std::string> gHideKey;
std::optional<std::string> gPathKey;

namespace {

constexpr int kAgentNameString = 228;
constexpr int kAgentSuffixList = 229;

struct Identifier {
  std::optional<std::string>* global;
  int string_id;
};
const Identifier kIdentifiers[] = {
    {&gPreferenceName, 230}, {&gMainKeyName, 231}, {&gPathKey, 233}, {&gHideKey, 232}};

platform::PrefUser user_scope(int all_users) {
  return all_users ? platform::PrefUser::Any : platform::PrefUser::Current;
}
platform::PrefHost host_scope(int all_users) {
  return all_users ? platform::PrefHost::Current : platform::PrefHost::Any;
}

bool item_has_suffix(const plist::ValueRef& item, std::string_view suffix) {
  const auto* dict = plist::as<plist::Dictionary>(item);
  const auto* path = dict ? plist::as<plist::String>(dict->get(*gPathKey)) : nullptr;
  return path && path->text().ends_with(suffix);
}

// CFShow of a message, or of a message followed by the object that failed.
bool setup_failed(const char* message, const std::string& shown = {}) {
  std::fprintf(stderr, "%s%s\n", message, shown.c_str());
  return false;
}

bool is_single_component(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

}  // namespace

bool getPreferenceIdentifiers() {
  bool all = true;
  for (const auto& [global, id] : kIdentifiers) {
    if (!*global) *global = loadStringResource(id);
    all = all && global->has_value();
  }
  return all;
}

void cleanupPreferenceIdentifiers() {
  for (const auto& [global, id] : kIdentifiers) global->reset();
}

std::shared_ptr<plist::Array> getLoginItemsArray(int all_users) {
  if (!getPreferenceIdentifiers()) return nullptr;
  const auto user = user_scope(all_users);
  const auto host = host_scope(all_users);
  platform::synchronize_preferences(*gPreferenceName, user, host);
  const plist::ValueRef stored =
      platform::copy_preference_value(*gMainKeyName, *gPreferenceName, user, host);
  if (!stored) return plist::make_array();
  if (!plist::as<plist::Array>(stored)) return nullptr;
  return std::static_pointer_cast<plist::Array>(plist::deep_copy(stored.get()));
}

void updateLoginArrayAndRelease(std::shared_ptr<plist::Array> array, int all_users) {
  if (!array || !getPreferenceIdentifiers()) return;
  const auto user = user_scope(all_users);
  const auto host = host_scope(all_users);
  platform::synchronize_preferences(*gPreferenceName, user, host);
  platform::set_preference_value(*gMainKeyName, std::move(array), *gPreferenceName, user, host);
  platform::synchronize_preferences(*gPreferenceName, user, host);
}

bool findLoginItem(const plist::Array& array, std::string_view suffix) {
  if (!getPreferenceIdentifiers()) return false;
  for (const auto& item : array.items()) {
    if (item_has_suffix(item, suffix)) return true;
  }
  return false;
}

bool deleteLoginItem(plist::Array& array, std::string_view suffix) {
  if (!getPreferenceIdentifiers()) return false;
  bool removed = false;
  for (size_t i = 0; i < array.size();) {
    if (item_has_suffix(array.at(i), suffix)) {
      array.remove(i);
      removed = true;
    } else {
      ++i;
    }
  }
  return removed;
}

bool appendLoginItem(plist::Array& array, std::string_view path) {
  if (!getPreferenceIdentifiers()) return false;
  auto item = plist::make_dictionary();
  item->set(*gHideKey, plist::make_bool(false));
  item->set(*gPathKey, plist::make_string(std::string(path)));
  array.append(std::move(item));
  return true;
}

bool removeAllCXLoginItems(plist::Array& array) {
  bool removed = false;
  for (int i = 1; const auto suffix = loadStrListResource(kAgentSuffixList, i); ++i) {
    if (deleteLoginItem(array, *suffix)) removed = true;
  }
  return removed;
}

bool addCXLoginItem(plist::Array& array) {
  const auto name = loadStringResource(kAgentNameString);
  if (!name) return setup_failed("CXLoginItemSetup: Unable to get background app name");
  const platform::Bundle& bundle = platform::main_bundle();
  if (bundle.path().empty())
    return setup_failed("CXLoginItemSetup: Unable to make bundle URL, mainBundle: ", bundle.path());
  const std::string folder = bundle.parent_path();
  if (folder == bundle.path())
    return setup_failed("CXLoginItemSetup: Unable to make path URL, bundleURL: ", bundle.path());
  if (!is_single_component(*name))
    return setup_failed("CXLoginItemSetup: Unable to make background URL, pathURL: ", folder);
  const std::string agent = (folder == "/" ? folder : folder + "/") + *name;
  // Login happens from no particular folder: only an absolute path finds the agent.
  if (!agent.starts_with('/'))
    return setup_failed("CXLoginItemSetup: Unable to make background path, Background URL:", agent);
  return appendLoginItem(array, agent);
}

bool detectLoginItems(int all_users) {
  const auto array = getLoginItemsArray(all_users);
  if (!array) return false;
  for (int i = 1; const auto suffix = loadStrListResource(kAgentSuffixList, i); ++i) {
    if (findLoginItem(*array, *suffix)) return true;
  }
  return false;
}

void removeLoginItems(int all_users) {
  auto array = getLoginItemsArray(all_users);
  if (array && removeAllCXLoginItems(*array))
    updateLoginArrayAndRelease(std::move(array), all_users);
}

bool addLoginItems(int all_users) {
  auto array = getLoginItemsArray(all_users);
  if (!array) return false;
  const bool removed = removeAllCXLoginItems(*array);
  const bool added = addCXLoginItem(*array);
  if (removed || added) updateLoginArrayAndRelease(std::move(array), all_users);
  return added;
}

}  // namespace cx
