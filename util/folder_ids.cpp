#include "util/folder_ids.h"

#include <cstring>
#include <filesystem>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace cx {
namespace {

constexpr int32_t kFirstDirID = 100;

struct Registry {
  std::unordered_map<std::string, int32_t> ids;
  std::vector<std::string> paths;  // index = ID - kFirstDirID
};

Registry& registry() {
  static Registry r;
  return r;
}

std::string normalised(const std::string& dir) {
  std::string p = std::filesystem::path(dir).lexically_normal().string();
  while (p.size() > 1 && p.back() == '/') p.pop_back();
  return p;
}

int32_t dir_id(const std::string& dir) {
  if (dir == "/") return kRootDirID;
  Registry& r = registry();
  auto it = r.ids.find(dir);
  if (it != r.ids.end()) return it->second;
  const auto id = static_cast<int32_t>(kFirstDirID + r.paths.size());
  r.paths.push_back(dir);
  r.ids.emplace(dir, id);
  return id;
}

}  // namespace

bool set_filepath(sfilepath* path, const std::string& dir, uint16_t sys_folder) {
  if (!path || dir.empty() || dir[0] != '/') return false;
  path->vRefNum = kRootVolume;
  path->dirID = dir_id(normalised(dir));
  path->sysFolder = sys_folder;
  return true;
}

bool filepath_dir(const sfilepath* path, std::string& dir) {
  if (!path || path->vRefNum != kRootVolume) return false;
  if (path->dirID == kRootDirID) {
    dir.assign(1, '/');
    return true;
  }
  const Registry& r = registry();
  if (path->dirID < kFirstDirID) return false;
  const auto index = static_cast<std::size_t>(path->dirID - kFirstDirID);
  if (index >= r.paths.size()) return false;
  dir = r.paths[index];
  return true;
}

bool valid_file_name(const char* name) {
  if (!name) return false;
  const std::size_t length = strnlen(name, 256);
  if (length == 0 || length > 255) return false;
  const std::string_view n(name, length);
  return n != "." && n != ".." && n.find('/') == std::string_view::npos;
}

bool entry_path(const char* name, const sfilepath* path, std::string& out) {
  std::string dir;
  if (!valid_file_name(name) || !filepath_dir(path, dir)) return false;
  out = dir;
  if (out.back() != '/') out.push_back('/');
  out.append(name);
  return true;
}

}  // namespace cx
