// Folder locations: a folder named the File Manager's way, by volume and
// directory ID. Files are then named by a folder location plus a name.
#pragma once

#include <cstdint>

namespace cx {

struct sfilepath {
  int16_t vRefNum;
  int32_t dirID;
  // 1 when the location came from a system-folder lookup, else 0.
  uint16_t sysFolder;
};

// New zero-filled location (get_buffer), or null.
sfilepath* make_new_filepath();
sfilepath* make_duplicate_filepath(const sfilepath* path);
void release_filepath(sfilepath* path);

// System folders, which must already exist. Each sets sysFolder to 1.
bool get_sys_base_folder(sfilepath* path);          // 'macs'
bool get_sys_preferences_folder(sfilepath* path);   // 'pref'
bool get_sys_controlpanel_folder(sfilepath* path);  // 'ctrl'
bool get_sys_extensions_folder(sfilepath* path);    // 'extn'
bool get_sys_temporary_folder(sfilepath* path);     // 'temp'

// The current working directory, sysFolder 0.
bool get_default_filepath(sfilepath* path);
// The Preferences (Extensions) folder, else the System Folder.
bool get_prefs_filepath(sfilepath* path);
bool get_driver_filepath(sfilepath* path);
// There is no application folder location: always false.
bool get_application_filepath(sfilepath* path);

// A new location (release it) for the folder that holds `name`: `path` itself
// when it is a system-folder location holding the file, else the first of
// System Folder, Extensions, Control Panels, Preferences and Temporary Items
// that holds it. Null when none does.
sfilepath* search_file_in_system_folder(const char* name, const sfilepath* path);

// The existing subfolder `name` of `path` (sysFolder 0). `sub` may be `path`.
bool get_subfolder_filepath(const char* name, const sfilepath* path, sfilepath* sub);
// Creates the subfolder (which must not exist yet) and fills `sub`.
bool create_subfolder(const char* name, const sfilepath* path, sfilepath* sub);
// The folder that holds `path`; false for the root. `parent` may be `path`.
bool get_parent_filepath(const sfilepath* path, sfilepath* parent);

}  // namespace cx
