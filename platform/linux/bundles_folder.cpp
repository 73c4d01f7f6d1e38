#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "platform/bundles.h"

namespace cx::platform {
namespace {

bool is_folder(const std::string& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string without_trailing_slashes(std::string p) {
  while (p.size() > 1 && p.back() == '/') p.pop_back();
  return p;
}

std::string resource_file_name(std::string_view name, std::string_view type) {
  std::string file(name);
  if (!type.empty()) {
    file += '.';
    file += type;
  }
  return file;
}

}  // namespace

std::unique_ptr<Bundle> Bundle::open(std::string path) {
  path = without_trailing_slashes(std::move(path));
  if (path.empty() || !is_folder(path)) return nullptr;
  return std::unique_ptr<Bundle>(new Bundle(std::move(path)));
}

std::string Bundle::parent_path() const {
  const auto slash = path_.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path_.substr(0, slash);
}

std::optional<std::string> Bundle::resource_path(std::string_view name,
                                                 std::string_view type) const {
  if (name.empty() || name.find('/') != std::string_view::npos) return std::nullopt;
  std::string path = resources_path() + "/" + resource_file_name(name, type);
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) return std::nullopt;
  return path;
}

std::vector<std::string> Bundle::resource_paths_of_type(std::string_view type) const {
  const std::string suffix = "." + std::string(type);
  std::vector<std::string> names;
  std::error_code ec;
  for (std::filesystem::directory_iterator it(resources_path(), ec), end; !ec && it != end;
       it.increment(ec)) {
    std::string name = it->path().filename().string();
    if (name.size() > suffix.size() && name.ends_with(suffix)) names.push_back(std::move(name));
  }
  std::sort(names.begin(), names.end());
  std::vector<std::string> paths;
  paths.reserve(names.size());
  for (const auto& n : names) paths.push_back(resources_path() + "/" + n);
  return paths;
}

std::string main_bundle_path() {
  const char* v = std::getenv("CORVEX_BUNDLE");
  if (v && *v) return without_trailing_slashes(v);
  // The build stages the bundle in bundle/ beside the executables' folders,
  // so the agent also runs straight from the build tree.
  std::error_code ec;
  const std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", ec);
  if (!ec) {
    const std::string staged =
        (exe.parent_path().parent_path() / "bundle" / "Corvex Background").string();
    if (is_folder(staged)) return staged;
  }
  return without_trailing_slashes(CX_DEFAULT_BUNDLE);
}

const Bundle& main_bundle() {
  // The agent's own bundle exists whether or not its folder does; only a
  // changed CORVEX_BUNDLE (tests) makes a new one.
  static std::unique_ptr<Bundle> bundle;
  const std::string path = main_bundle_path();
  if (!bundle || bundle->path() != path) bundle.reset(new Bundle(path));
  return *bundle;
}

}  // namespace cx::platform
