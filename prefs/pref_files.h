// The user's preference file and the tree that carries it to the driver:
// loading at activation, saving, restoring the defaults.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "plist/value.h"
#include "prefs/pref_tree.h"

namespace cx {

// The loaded preference tree, null until preferences are loaded.
extern pref_tree_ref pref_data;

// Builds the tree and reloads the user's settings into the driver; the tree.
pref_tree_ref load_user_preferences();

// A mutable copy of the user's dictionary under `root_key`, or null.
std::shared_ptr<plist::Dictionary> get_user_plist(const std::string& root_key);
// The default property list beside the agent's bundle, or null.
std::shared_ptr<const plist::Dictionary> get_default_plist();
// Brings a "3.0.0" user dictionary to the current layout in place.
void reconcile_old_user_plist(std::shared_ptr<plist::Dictionary>* user, const std::string& version);

// Loads both dictionaries into the root and runs the read pass.
void read_plist_prefs(pref_tree_ref* root);
// Backs the user's file up and saves what the driver holds; 1 when the write
// pass ran.
int write_plist_prefs(pref_tree_ref* root);
// Copies (and with `delete_source` moves) a file of the preferences folder;
// 1 on success or when there is no such file.
int backup_pref_file(const char* name, const char* backup_name, int delete_source);
// Restores buttons (selector 1) or acceleration (2) from the defaults; 1
// when carried out, else 0.
int retore_default_prefs(pref_tree_ref* root, uint32_t selector);

}  // namespace cx
