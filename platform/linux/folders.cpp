#include "platform/folders.h"

#include <cstdlib>

namespace cx::platform {
namespace {

std::string env_or(const char* name, std::string fallback) {
  const char* v = std::getenv(name);
  return v && *v ? std::string(v) : std::move(fallback);
}

std::string home() {
  return env_or("HOME", "/tmp");
}

std::string trimmed(std::string p) {
  while (p.size() > 1 && p.back() == '/') p.pop_back();
  return p;
}

}  // namespace

std::string folder_path(Folder f) {
  switch (f) {
    case Folder::UserPreferences:
      return trimmed(env_or("XDG_CONFIG_HOME", home() + "/.config")) + "/corvex/Preferences";
    case Folder::LocalPreferences:
      return trimmed(env_or("CORVEX_LOCAL_PREFERENCES", "/var/lib/corvex/Preferences"));
    case Folder::Shared:
      return trimmed(env_or("CORVEX_SHARED_DIR", "/var/tmp"));
    case Folder::System:
      return trimmed(env_or("XDG_DATA_HOME", home() + "/.local/share")) + "/corvex/System";
    case Folder::Extensions:
      return trimmed(env_or("XDG_DATA_HOME", home() + "/.local/share")) + "/corvex/Extensions";
    case Folder::ControlPanels:
      return trimmed(env_or("XDG_DATA_HOME", home() + "/.local/share")) + "/corvex/ControlPanels";
    case Folder::Temporary:
      return trimmed(env_or("TMPDIR", "/tmp"));
  }
  return "/tmp";
}

std::string map_mac_path(std::string_view mac_path) {
  struct Prefix {
    std::string_view mac;
    Folder folder;
  };
  static constexpr Prefix kPrefixes[] = {
      {"/Users/Shared", Folder::Shared},
      {"/Library/Preferences", Folder::LocalPreferences},
  };
  for (const auto& p : kPrefixes) {
    if (mac_path.starts_with(p.mac) &&
        (mac_path.size() == p.mac.size() || mac_path[p.mac.size()] == '/')) {
      return folder_path(p.folder) + std::string(mac_path.substr(p.mac.size()));
    }
  }
  return std::string(mac_path);
}

}  // namespace cx::platform
