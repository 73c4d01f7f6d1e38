// Bundles and their resources, the way the agent knows them from CFBundle: a
// bundle is a folder laid out as on Mac OS X, its resources live in
// `Contents/Resources/<name>.<type>`, a helper bundle carries a shared object
// that is loaded and searched by function name, and localised strings come
// from the bundle's string tables. Paths stand in for URLs.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace cx::platform {

// A loaded helper executable; destroying it unloads the code, so function
// pointers taken from it must not outlive it.
class LoadedExecutable {
 public:
  virtual ~LoadedExecutable() = default;
  // CFBundleGetFunctionPointerForName: null when the symbol is missing.
  virtual void* function(std::string_view name) const = 0;
};

class Bundle {
 public:
  // CFBundleCreate: null unless `path` names a folder.
  static std::unique_ptr<Bundle> open(std::string path);

  // The bundle folder itself, without a trailing slash.
  const std::string& path() const { return path_; }
  // The folder that holds the bundle (CFURLCreateCopyDeletingLastPathComponent).
  std::string parent_path() const;
  std::string resources_path() const { return path_ + "/Contents/Resources"; }

  // CFBundleCopyResourceURL: the resource `<name>.<type>` (a file or a
  // folder), or nothing when it is missing. An empty type means no extension.
  std::optional<std::string> resource_path(std::string_view name, std::string_view type) const;

  // CFBundleCopyResourceURLsOfType: every entry of the resources folder whose
  // name ends in ".<type>", hidden ones included, in byte order of their names.
  std::vector<std::string> resource_paths_of_type(std::string_view type) const;

  // CFBundleLoadExecutable. A helper bundle "X.bundle" holds its code in
  // `Contents/MacOS/X.so`. Null, with `error` saying why, when that cannot be
  // loaded.
  std::unique_ptr<LoadedExecutable> load_executable(std::string& error) const;

  // CFBundleCopyLocalizedString with the key as its own default: the string
  // of `key` in `table` ("Strings", "InfoPlist", ...), or the key itself when
  // the table has no such string.
  std::string localized_string(std::string_view key, std::string_view table) const;

 private:
  friend const Bundle& main_bundle();
  explicit Bundle(std::string path) : path_(std::move(path)) {}
  std::string path_;
};

// The agent's own bundle: $CORVEX_BUNDLE, else the one staged beside a
// build tree's executables (<build>/bundle/Corvex Background), else the
// folder chosen when the package was configured (<prefix>/lib/corvex/Corvex
// Background). Read at each call; the folder need not exist, its lookups
// then find nothing.
std::string main_bundle_path();
// CFBundleGetMainBundle. The reference stays valid until CORVEX_BUNDLE
// changes.
const Bundle& main_bundle();

// The interface file of a bundle (a GtkBuilder file `<name>.ui` among its
// resources), checked when it is opened; widgets are built by the menu
// service only when a display is there.
class NibReference {
 public:
  // An object of the file, with its id and class.
  struct Object {
    std::string id;
    std::string class_name;
  };
  NibReference(std::string path, std::vector<Object> objects)
      : path_(std::move(path)), objects_(std::move(objects)) {}

  const std::string& path() const { return path_; }
  // In document order, nested objects included.
  const std::vector<Object>& objects() const { return objects_; }
  const Object* find(std::string_view id) const;

 private:
  std::string path_;
  std::vector<Object> objects_;
};

// Interface Builder runtime statuses.
namespace nib_status {
inline constexpr int32_t cant_find_nib_file = -10960;
inline constexpr int32_t object_not_of_requested_type = -10961;
inline constexpr int32_t cant_find_object = -10962;
}  // namespace nib_status

// CreateNibReferenceWithCFBundle: 0, or cant_find_nib_file when the file is
// missing or is not a well-formed interface file.
int32_t create_nib_reference(const Bundle& bundle, std::string_view name,
                             std::unique_ptr<NibReference>& nib);
// SetMenuBarFromNib: 0 when `entry` is a GtkMenuBar of the nib; else
// cant_find_object or object_not_of_requested_type. The menu bar itself is
// shown by the menu service; a background agent has none on screen.
int32_t set_menu_bar_from_nib(const NibReference& nib, std::string_view entry);

}  // namespace cx::platform
