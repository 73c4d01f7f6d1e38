#include "tools/corvexctl/saved_plist.h"

#include <cstdio>

#include "driver/driver_connection.h"
#include "plist/plist_io.h"
#include "prefs/pref_files.h"
#include "prefs/pref_schema.h"
#include "prefs/pref_tree.h"
#include "tools/corvexctl/agent_events.h"

namespace cx::corvexctl {
namespace {

// A user dictionary without a version predates the versions.
constexpr char kUnversioned[] = "3.0.0";

std::string version_of(const plist::Value* dict, const char* fallback) {
  const auto* root = plist::as<plist::Dictionary>(dict);
  const auto* version = root ? plist::as<plist::String>(root->get("PrefVersion")) : nullptr;
  return version ? version->text() : fallback;
}

}  // namespace

int print_saved_plist() {
  const auto defaults = get_default_plist();
  if (!defaults) {
    std::fprintf(stderr, "corvexctl show: the default preferences cannot be read\n");
    return kExitFailed;
  }
  if (!ConnectToDriver()) {
    std::fprintf(stderr, "corvexctl: the driver cannot be reached (is corvex-driverd running?)\n");
    return kExitFailed;
  }
  // A save's write pass, minus the file: the root's own writer would
  // synchronise the domain, so only its children run.
  pref_tree_ref root = create_pref_tree();
  pref_item_info* info = get_object_info(root.get());
  info->default_value = defaults->get(kPrefRootKey);
  if (auto user = get_user_plist(kPrefRootKey)) {
    reconcile_old_user_plist(&user, version_of(user.get(), kUnversioned));
    info->user_value = user;
    info->flags |= pref_flag::user_present;
  }
  // The tree learns the user's values without touching the driver, as
  // after a load, before the write pass compares the driver with them.
  info->flags |= pref_flag::tree_only;
  info->read_fn(root.get());
  info->flags &= ~pref_flag::tree_only;
  call_children(root.get(), 1);
  DisconnectFromDriver();
  auto domain = plist::make_dictionary();
  domain->set(kPrefRootKey, info->user_value ? info->user_value : plist::make_dictionary());
  const plist::WriteResult xml = plist::write_plist(*domain, plist::Format::Xml);
  if (!xml.ok()) {
    std::fprintf(stderr, "corvexctl show: %s\n", xml.error.c_str());
    return kExitFailed;
  }
  std::fwrite(xml.bytes.data(), 1, xml.bytes.size(), stdout);
  return kExitOk;
}

}  // namespace cx::corvexctl
