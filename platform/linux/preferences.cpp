#include "platform/preferences.h"

#include <cstdlib>
#include <fstream>

#include "platform/folders.h"
#include "plist/plist_io.h"

namespace cx::platform {
namespace {

constexpr char kFallbackMachineId[] = "localhost";

// A name that stays inside its folder.
bool usable_file_name(std::string_view name) {
  return !name.empty() && name.find('/') == std::string_view::npos && name != "." && name != "..";
}

std::string machine_id() {
  std::string id;
  if (const char* env = std::getenv("CORVEX_MACHINE_ID"); env != nullptr) {
    id = env;
  } else {
    std::ifstream in("/etc/machine-id");
    std::getline(in, id);
  }
  return usable_file_name(id) ? id : kFallbackMachineId;
}

}  // namespace

std::string preference_file_path(std::string_view domain, PrefUser user, PrefHost host) {
  if (!usable_file_name(domain)) return {};
  const std::string name(domain);
  if (user == PrefUser::Any) return folder_path(Folder::LocalPreferences) + "/" + name + ".plist";
  if (host == PrefHost::Any) return folder_path(Folder::UserPreferences) + "/" + name + ".plist";
  return folder_path(Folder::UserPreferences) + "/ByHost/" + name + "." + machine_id() + ".plist";
}

plist::ValueRef copy_preference_value(std::string_view key, std::string_view domain, PrefUser user,
                                      PrefHost host) {
  const std::string path = preference_file_path(domain, user, host);
  if (path.empty()) return nullptr;
  const plist::ValueRef root = plist::read_plist_file(path).value;
  const auto* dict = plist::as<plist::Dictionary>(root);
  return dict ? dict->get(key) : nullptr;
}

}  // namespace cx::platform
