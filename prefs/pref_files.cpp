#include "prefs/pref_files.h"

#include "diag/diag_writers.h"

namespace cx {

pref_tree_ref pref_data;

pref_tree_ref load_user_preferences() {
  diag_note_unavailable("load_user_preferences");
  return pref_data;
}

int write_plist_prefs(pref_tree_ref*) {
  diag_note_unavailable("write_plist_prefs");
  return 0;
}

int retore_default_prefs(pref_tree_ref*, uint32_t) {
  diag_note_unavailable("retore_default_prefs");
  return 0;
}

}  // namespace cx
