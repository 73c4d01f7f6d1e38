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

bool make_fsspec(const char* name, const sfilepath* path, FSSpec* spec) {
  if (!spec || !valid_file_name(name) || std::strlen(name) > kMaxSpecName || !known_folder(path)) {
    return false;
  }
  spec->vRefNum = path->vRefNum;
  spec->parID = path->dirID;
  std::memset(spec->name, 0, sizeof spec->name);
  cstr_to_pstr(spec->name, name);
  return true;
}

bool get_fss_filepath(const FSSpec* spec, sfilepath* path) {
  if (!spec || !path) return false;
  const sfilepath folder{spec->vRefNum, spec->parID, 0};
  if (!known_folder(&folder)) return false;
  *path = folder;
  return true;
}

bool get_fss_name(const FSSpec* spec, char* name) {
  if (!spec || !name || spec->name[0] > kMaxSpecName) return false;
  pstr_to_cstr(name, spec->name);
  return true;
}

}  // namespace cx
