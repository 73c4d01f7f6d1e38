// Import of the binary preference files that came before the property-list
// store: their contents go straight into the driver, once, at the first
// start-up without property-list preferences. Nothing here writes them.
#pragma once

#include <cstdint>

#include "model/act_item.h"

namespace cx {

inline constexpr char kLegacyPrefFile[] = "com.velcorra.corvex.pref";
inline constexpr char kLegacyPrefBackup[] = "~com.velcorra.corvex.pref";

// Finds the newest old file in the preferences folder and sends it to the
// driver; 1 when one was found and read whole, else 0. *version2 is set to 1
// when that file had the version 2 layout.
int read_prefs(int* version2);

// Reads an open file (after its version field when `with_version`) into the
// driver; non-zero on success.
int read_file_to_settings(int16_t ref, bool with_version, int* version2);
// The rest of a version 2 file, after its version field.
int read_v2_file_to_settings(int16_t ref);
// The action lists and their names of the older layout, for `buttons`
// buttons of the global application.
int read_al_stuff_to_settings(int16_t ref, int16_t buttons);

// Links `count` packed items into a list; the last item (null for none).
act_item* init_plist(act_item* items, int16_t count);
// Reads `count` 16-byte items into a linked list, keeping its links and
// ending it after the last item; 0 on a short read.
int copy_file_to_list(int16_t ref, act_item* list, int16_t count);

// Gives the two chord buttons of the global application their built-in
// lists and names.
void set_chords_to_default();

}  // namespace cx
