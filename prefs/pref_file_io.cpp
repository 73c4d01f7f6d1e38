// The files behind the preferences: the defaults beside the bundle and the
// backup copy of the user's file.
#include <strings.h>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/bundles.h"
#include "plist/plist_io.h"
#include "prefs/pref_domain.h"
#include "prefs/pref_files.h"
#include "util/file_copy.h"
#include "util/file_ops.h"
#include "util/file_path.h"
#include "util/folder_ids.h"

namespace cx {
namespace {

// The preferences folder is case-insensitive on the system these names come
// from ("com.Velcorra.Corvex.plist" is the domain's own file there): find
// the entry that matches the name without regard to case.
std::string name_in_folder(const sfilepath& folder, const char* name) {
  std::string dir;
  if (file_exists(name, &folder) || !filepath_dir(&folder, dir)) return name;
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator(dir, ec)) {
    const std::string candidate = entry.path().filename().string();
    if (strcasecmp(candidate.c_str(), name) == 0) return candidate;
  }
  return name;
}

}  // namespace

std::shared_ptr<const plist::Dictionary> get_default_plist() {
  const std::string bundle = platform::main_bundle().path();
  if (bundle.empty()) {
    std::fprintf(stderr, "CXBackground: main bundle not found.\n");
    return nullptr;
  }
  const std::string top = platform::main_bundle().parent_path();
  if (top.empty()) {
    std::fprintf(stderr, "CXBackground: top URL not found.\n");
    return nullptr;
  }
  const std::string path = top + "/" + kDefaultPrefFileName;
  std::ifstream in(path, std::ios::binary);
  std::vector<uint8_t> bytes;
  if (in) bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  if (!in && !in.eof()) {
    std::fprintf(stderr, "CXBackground: Error code = %ld\n", static_cast<long>(errno));
    std::fprintf(stderr, "%s\n", path.c_str());
    return nullptr;
  }
  plist::ReadResult parsed = plist::read_plist(bytes);
  if (!parsed.value) {
    std::fprintf(stderr, "CXBackground: Plist could not be created.\n%s: %s\n", path.c_str(),
                 parsed.error.c_str());
    return nullptr;
  }
  if (!plist::as<plist::Dictionary>(parsed.value)) {
    std::fprintf(stderr, "CXBackground: %s is not a dictionary.\n", path.c_str());
    return nullptr;
  }
  return std::static_pointer_cast<const plist::Dictionary>(parsed.value);
}

int backup_pref_file(const char* name, const char* backup_name, int delete_source) {
  sfilepath folder{};
  // Without the folder there is no file to keep.
  if (!get_prefs_filepath(&folder)) return 1;
  const std::string source = name_in_folder(folder, name);
  if (!file_exists(source.c_str(), &folder)) return 1;
  if (!copy_file(source.c_str(), &folder, backup_name, &folder)) return 0;
  if (delete_source && !delete_file(source.c_str(), &folder)) return 0;
  return 1;
}

}  // namespace cx
