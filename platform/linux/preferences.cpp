#include "platform/preferences.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <tuple>

#include "platform/folders.h"
#include "platform/linux/preference_file.h"

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

struct Scope {
  std::string domain;
  PrefUser user;
  PrefHost host;
  bool operator<(const Scope& o) const {
    return std::tie(domain, user, host) < std::tie(o.domain, o.user, o.host);
  }
};

// Key -> value set in this process since the scope was last written; a null
// value is a removal.
using PendingChanges = std::map<std::string, plist::ValueRef, std::less<>>;

std::map<Scope, PendingChanges>& pending() {
  static std::map<Scope, PendingChanges> changes;
  return changes;
}

const PendingChanges* pending_for(std::string_view domain, PrefUser user, PrefHost host) {
  const auto it = pending().find(Scope{std::string(domain), user, host});
  return it == pending().end() ? nullptr : &it->second;
}

// A user's own domain files may be links into their dotfiles; files shared
// with other users never are.
bool follows_links(PrefUser user) {
  return user == PrefUser::Current;
}

mode_t folder_mode(PrefUser user) {
  return user == PrefUser::Current ? 0700 : 0755;
}

plist::ValueRef copy_of(const plist::ValueRef& v) {
  return v ? plist::deep_copy(v.get()) : nullptr;
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
  if (const PendingChanges* changes = pending_for(domain, user, host)) {
    if (const auto it = changes->find(key); it != changes->end()) return copy_of(it->second);
  }
  std::string error;
  const std::string path =
      domain_file_target(preference_file_path(domain, user, host), follows_links(user), error);
  if (path.empty()) return nullptr;
  const DomainFile file = read_domain_file(path);
  const auto* dict = plist::as<plist::Dictionary>(file.root);
  if (!dict) return nullptr;
  return file.shared ? copy_of(dict->get(key)) : dict->get(key);
}

void set_preference_value(std::string_view key, plist::ValueRef value, std::string_view domain,
                          PrefUser user, PrefHost host) {
  if (preference_file_path(domain, user, host).empty()) return;
  // A copy, so that later changes to the caller's array do not leak into the file.
  pending()[Scope{std::string(domain), user, host}][std::string(key)] = copy_of(value);
}

bool synchronize_preferences(std::string_view domain, PrefUser user, PrefHost host) {
  const auto scope = pending().find(Scope{std::string(domain), user, host});
  if (scope == pending().end()) return true;
  const std::string named = preference_file_path(domain, user, host);
  const auto refuse = [&](const std::string& path, const std::string& why) {
    std::fprintf(stderr, "Corvex preferences: %s: %s; the changes stay pending.\n", path.c_str(),
                 why.c_str());
    return false;
  };
  std::string error;
  if (!make_folders(std::filesystem::path(named).parent_path().string(), folder_mode(user)))
    return refuse(named, "cannot create its folder");
  const std::string path = domain_file_target(named, follows_links(user), error);
  if (path.empty()) return refuse(named, error);
  // Held from the read to the rename, so that no other writer's change
  // falls between them.
  const DomainLock lock(path);
  if (!lock.held()) return refuse(path, lock.error());

  const DomainFile file = read_domain_file(path);
  if (file.status == DomainFileRead::Unusable || file.status == DomainFileRead::Unparsable)
    return refuse(path, file.error);
  if (file.root && !plist::as<plist::Dictionary>(file.root))
    return refuse(path, "top level is not a dictionary");
  const auto* read = plist::as<plist::Dictionary>(file.root);
  auto dict = read ? plist::make_dictionary(read->entries()) : plist::make_dictionary();
  // A file that already says all this is left alone: its bytes stay as they
  // are and the save costs no flush to disk.
  bool differs = !file.root;
  for (const auto& [key, value] : scope->second) {
    const plist::ValueRef before = dict->get(key);
    if (value) {
      differs = differs || !plist::equal(before.get(), value.get());
      dict->set(key, value);
    } else {
      differs = differs || before;
      dict->remove(key);
    }
  }
  remove_stale_temporaries(path);
  if (differs && !replace_domain_file(path, *dict, file, error)) return refuse(path, error);
  pending().erase(scope);
  return true;
}

bool write_preference_value(std::string_view key, const plist::ValueRef& value,
                            std::string_view domain, PrefUser user, PrefHost host) {
  if (preference_file_path(domain, user, host).empty())
    return synchronize_preferences(domain, user, host);
  PendingChanges& changes = pending()[Scope{std::string(domain), user, host}];
  changes[std::string(key)] = value;
  if (synchronize_preferences(domain, user, host)) return true;
  // Still pending, so no longer the caller's to change.
  changes[std::string(key)] = copy_of(value);
  return false;
}

}  // namespace cx::platform
