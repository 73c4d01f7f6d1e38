#include "util/file_path.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <string>

#include "platform/folders.h"
#include "util/file_ops.h"
#include "util/folder_ids.h"
#include "util/memory.h"

namespace cx {
namespace {

using platform::Folder;

bool is_directory(const std::string& dir) {
  struct stat st {};
  return stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Like FindFolder without kCreateFolder: a folder that is not there is an error.
bool system_folder(Folder folder, sfilepath* path) {
  if (!path) return false;
  const std::string dir = platform::folder_path(folder);
  return is_directory(dir) && set_filepath(path, dir, 1);
}

}  // namespace

sfilepath* make_new_filepath() {
  return static_cast<sfilepath*>(get_buffer(sizeof(sfilepath), kZeroFill));
}

sfilepath* make_duplicate_filepath(const sfilepath* path) {
  if (!path) return nullptr;
  sfilepath* copy = make_new_filepath();
  if (copy) *copy = *path;
  return copy;
}

void release_filepath(sfilepath* path) {
  free_buffer(path);
}

bool get_sys_base_folder(sfilepath* path) {
  return system_folder(Folder::System, path);
}

bool get_sys_preferences_folder(sfilepath* path) {
  return system_folder(Folder::UserPreferences, path);
}

bool get_sys_controlpanel_folder(sfilepath* path) {
  return system_folder(Folder::ControlPanels, path);
}

bool get_sys_extensions_folder(sfilepath* path) {
  return system_folder(Folder::Extensions, path);
}

bool get_sys_temporary_folder(sfilepath* path) {
  return system_folder(Folder::Temporary, path);
}

bool get_default_filepath(sfilepath* path) {
  if (!path) return false;
  std::array<char, PATH_MAX> cwd{};
  return getcwd(cwd.data(), cwd.size()) != nullptr && set_filepath(path, cwd.data(), 0);
}

bool get_prefs_filepath(sfilepath* path) {
  return get_sys_preferences_folder(path) || get_sys_base_folder(path);
}

bool get_driver_filepath(sfilepath* path) {
  return get_sys_extensions_folder(path) || get_sys_base_folder(path);
}

bool get_application_filepath(sfilepath*) {
  return false;
}

sfilepath* search_file_in_system_folder(const char* name, const sfilepath* path) {
  if (!valid_file_name(name) || !path) return nullptr;
  if (path->sysFolder && file_exists(name, path)) return make_duplicate_filepath(path);
  using Lookup = bool (*)(sfilepath*);
  static constexpr Lookup kSearchOrder[] = {
      get_sys_base_folder,        get_sys_extensions_folder, get_sys_controlpanel_folder,
      get_sys_preferences_folder, get_sys_temporary_folder,
  };
  sfilepath candidate{};
  for (Lookup lookup : kSearchOrder) {
    if (lookup(&candidate) && file_exists(name, &candidate))
      return make_duplicate_filepath(&candidate);
  }
  return nullptr;
}

bool get_subfolder_filepath(const char* name, const sfilepath* path, sfilepath* sub) {
  std::string dir;
  if (!sub || !entry_path(name, path, dir) || !is_directory(dir)) return false;
  return set_filepath(sub, dir, 0);
}

bool create_subfolder(const char* name, const sfilepath* path, sfilepath* sub) {
  std::string dir;
  if (!sub || !entry_path(name, path, dir)) return false;
  if (mkdir(dir.c_str(), 0777) != 0) return false;
  return set_filepath(sub, dir, 0);
}

bool get_parent_filepath(const sfilepath* path, sfilepath* parent) {
  std::string dir;
  if (!parent || !filepath_dir(path, dir) || dir == "/") return false;
  const std::string::size_type slash = dir.find_last_of('/');
  return set_filepath(parent, slash == 0 ? "/" : dir.substr(0, slash), 0);
}

}  // namespace cx
