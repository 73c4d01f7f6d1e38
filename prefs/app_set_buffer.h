// The key and name of the application set being read or written, handed
// from the set node to its children.
#pragma once

#include "prefs/pref_tree.h"

namespace cx {

struct app_set_buffer {
  char key[32];
  char name[128];
  // Whether the driver took the set as the one edited; a set it refused
  // (it holds no more) must not have its settings land in another one.
  bool selected;
};

// False while the node's application set is one the driver refused.
bool app_set_selected(PrefNode* node);

// Selects the global application and deletes every application set the
// driver holds; call it in control-panel mode.
void clear_driver_sets();

}  // namespace cx
