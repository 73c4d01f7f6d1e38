#include "prefs/pref_files.h"

#include <cstdio>

#include "agent/agent_state.h"
#include "diag/diag_writers.h"
#include "platform/preferences.h"
#include "prefs/button_repair.h"
#include "prefs/legacy_import.h"
#include "prefs/pref_domain.h"
#include "prefs/pref_leaf.h"
#include "prefs/pref_schema.h"
#include "prefs/pref_tree.h"

namespace cx {

pref_tree_ref pref_data;

namespace {

constexpr uint32_t kTraceLevel = 0x1ffff;
constexpr char kOldVersion[] = "3.0.0";

std::string version_of(const plist::Dictionary* dict, const char* fallback) {
  const auto* v = dict ? plist::as<plist::String>(dict->get("PrefVersion")) : nullptr;
  return v ? v->text() : fallback;
}

void move_key(plist::Dictionary* dict, const char* from, const char* to) {
  if (plist::ValueRef v = dict->get(from)) {
    dict->set(to, v);
    dict->remove(from);
  }
}

// The read pass over a user dictionary already fetched, so that a load
// reads the user's file once.
void read_plist_prefs_from(pref_tree_ref* root, std::shared_ptr<plist::Dictionary> user) {
  if (!root || !*root) return;
  pref_item_info* info = get_object_info(root->get());
  const auto defaults = get_default_plist();
  if (!defaults) {
    std::fprintf(stderr, " CX Background: Default plist not found\n");
    return;
  }
  info->default_value = defaults->get(kPrefRootKey);
  const auto* default_root = plist::as<plist::Dictionary>(info->default_value);
  if (!default_root) info->default_value.reset();
  const std::string default_version = version_of(default_root, "");
  if (user) {
    info->flags |= pref_flag::user_present;
    const std::string user_version = version_of(user.get(), kOldVersion);
    if (user_version != default_version) reconcile_old_user_plist(&user, user_version);
  } else {
    info->flags &= ~pref_flag::user_present;
  }
  info->user_value = user;
  info->read_fn(root->get());
}

// Without property-list preferences the user may still have an old binary
// file: its settings go to the driver and stay in force, the tree only
// learns the dictionaries, and the next save writes the settings out.
void import_legacy_prefs() {
  int version2 = 0;
  if (!read_prefs(&version2)) {
    read_plist_prefs(&pref_data);
    return;
  }
  diag_line("fixing menu items for prefs", kTraceLevel);
  fixup_menu_item_preset_buttons(version2 != 0);
  pref_item_info* root = get_object_info(pref_data.get());
  root->flags |= pref_flag::tree_only;
  read_plist_prefs(&pref_data);
  root->flags &= ~pref_flag::tree_only;
  if (!backup_pref_file(kLegacyPrefFile, kLegacyPrefBackup, 1))
    std::fprintf(stderr, "Unsuccessful at prepending \"~\" to v2.0 preference file.\n");
}

}  // namespace

pref_tree_ref load_user_preferences() {
  diag_line("Cleaning up driver button settings", kTraceLevel);
  cleanup_driver_buttons();
  pref_data = create_pref_tree();
  diag_line("Reading Preference file", kTraceLevel);
  if (auto user = get_user_plist(kPrefRootKey)) {
    read_plist_prefs_from(&pref_data, std::move(user));
  } else {
    import_legacy_prefs();
  }
  active_app_sig = 0;
  return pref_data;
}

std::shared_ptr<plist::Dictionary> get_user_plist(const std::string& root_key) {
  plist::ValueRef value = platform::copy_preference_value(
      root_key, kPrefDomain, platform::PrefUser::Current, platform::PrefHost::Any);
  if (!value) return nullptr;
  if (!plist::as<plist::Dictionary>(value)) {
    std::fprintf(stderr, "Corvex Background: user preference \"%s\" is not a dictionary; ignored\n",
                 root_key.c_str());
    return nullptr;
  }
  // Already this caller's own copy.
  return std::static_pointer_cast<plist::Dictionary>(value);
}

void reconcile_old_user_plist(std::shared_ptr<plist::Dictionary>* user,
                              const std::string& version) {
  if (version != kOldVersion || !user || !*user) return;
  auto* system = plist::as<plist::Dictionary>((*user)->get("SystemWideData"));
  if (!system) return;
  auto* levels = plist::as<plist::Dictionary>(system->get("AccelerationData"));
  if (levels) {
    if (plist::ValueRef enhanced = levels->get("EnhAccelLevel")) {
      for (const char* key : {"Tball2AccelLevel", "Mouse4AccelLevel", "Tball4AccelLevel",
                              "Mouse8AccelLevel", "Tball8AccelLevel"})
        levels->set(key, enhanced);
      for (const char* key : {"NormAccelLevel", "EnhAccelLevel", "OtherAccelLevel"})
        levels->remove(key);
    }
  }
  auto* tables = plist::as<plist::Dictionary>(system->get("AccelerationTableData"));
  if (!tables) return;
  // The pairing of old and new tables is deliberate.
  move_key(tables, "NormAccelTable", "Mouse4AccelTable");
  move_key(tables, "EnhAccelTable", "Tball2AccelTable");
  move_key(tables, "OtherAccelTable", "Tball4AccelTable");
}

void read_plist_prefs(pref_tree_ref* root) {
  read_plist_prefs_from(root, get_user_plist(kPrefRootKey));
}

int write_plist_prefs(pref_tree_ref* root) {
  if (!root || !*root) return 0;
  if (!backup_pref_file(kPrefFileName, kPrefBackupName, 0))
    std::fprintf(stderr, "Unsuccessful at backing up plist preference file.\n");
  get_object_info(root->get())->write_fn(root->get());
  return 1;
}

int retore_default_prefs(pref_tree_ref* root, uint32_t selector) {
  if (!root || !*root) return 0;
  restoring_defaults = 1;
  int result = 0;
  PrefNode* refreshed[2] = {};
  if (selector == 1) {
    if (PrefNode* buttons = get_tree_ref(root->get(), "ButtonData")) {
      // The buttons come from the defaults' first application set; a save
      // reads the buttons' user values again itself.
      get_object_info(buttons->parent())->default_index = 0;
      read_buttons_data(buttons);
      result = 1;
    }
  } else if (selector == 2) {
    if (PrefNode* levels = get_tree_ref(root->get(), "AccelerationData")) {
      read_accel_data(levels);
      refreshed[0] = levels;
    }
    if (PrefNode* tables = get_tree_ref(root->get(), "AccelerationTableData")) {
      read_acctable_data(tables);
      refreshed[1] = tables;
      result = 1;
    }
  }
  restoring_defaults = 0;
  // The restore read left these nodes without their user values; the next
  // save compares the restored driver with them.
  for (PrefNode* node : refreshed)
    if (node) refresh_from_dictionaries(node);
  return result;
}

}  // namespace cx
