#include "util/file_spec.h"

#include <sys/stat.h>

#include <cstring>
#include <string>

#include "util/folder_ids.h"
#include "util/pascal_string.h"

namespace cx {
namespace {

constexpr std::size_t kMaxSpecName = sizeof(FSSpec::name) - 1;

bool known_folder(const sfilepath* path) {
  std::string dir;
  struct stat st {};
  return filepath_dir(path, dir) && stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

bool make_fsspec(const char* name, const sfilepath* path, FSSpec* fss) {
  if (!fss || !valid_file_name(name) || std::strlen(name) > kMaxSpecName || !known_folder(path)) {
    return false;
  }
  fss->vRefNum = path->vRefNum;
  fss->parID = path->dirID;
  std::memset(fss->name, 0, sizeof fss->name);
  cstr_to_pstr(fss->name, name);
  return true;
}

bool get_fss_filepath(const FSSpec* fss, sfilepath* path) {
  if (!fss || !path) return false;
  const sfilepath folder{fss->vRefNum, fss->parID, 0};
  if (!known_folder(&folder)) return false;
  *path = folder;
  return true;
}

bool get_fss_name(const FSSpec* fss, char* name) {
  if (!fss || !name || fss->name[0] > kMaxSpecName) return false;
  pstr_to_cstr(name, fss->name);
  return true;
}

}  // namespace cx
