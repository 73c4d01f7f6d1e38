// The user's preference file and the tree that carries it to the driver.
// Until the preference store is built these entry points only note in the
// diagnostic log that they were reached, and change nothing.
#pragma once

#include <cstdint>
#include <memory>

namespace cx {

// A node of the preference tree; its layout belongs to the preference store.
struct pref_item_info;
// The tree's root; shared ownership stands in for retain and release.
using pref_tree_ref = std::shared_ptr<pref_item_info>;

// The loaded preference tree, null until preferences are loaded.
extern pref_tree_ref pref_data;

// Reloads the user's settings into the driver; the tree, or null.
pref_tree_ref load_user_preferences();
// Saves the settings the driver holds into the user's preference file; 1
// when saved.
int write_plist_prefs(pref_tree_ref* root);
// Restores the defaults picked by `selector`; 1 when carried out, else 0.
int retore_default_prefs(pref_tree_ref* root, uint32_t selector);

}  // namespace cx
