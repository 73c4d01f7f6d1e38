#include "agent/menu_extra.h"

#include <cstdio>
#include <optional>
#include <string>

#include "driver/data_requests.h"
#include "driver/device_requests.h"
#include "model/opaque_records.h"
#include "platform/launching.h"
#include "platform/preferences.h"
#include "platform/system_version.h"
#include "plist/value.h"
#include "util/byte_order.h"

namespace cx {

std::unique_ptr<platform::LoadedExecutable> menuExtraBundle;
void (*initMenuExtra)(MenuExtraCallback callback) = nullptr;
void (*updateMenuExtra)() = nullptr;
void (*setVisibleMenuExtra)(int visible) = nullptr;
void (*cleanupMenuExtra)() = nullptr;
uint32_t menuExtraVisible = 0;
bool menuExtraHasWheel = false;

namespace {

constexpr int32_t kFirstMenuExtraSystem = 0x1020;  // 10.2
constexpr char kPanelDomain[] = "com.velcorra.corvex.prefpane";

// Global data item 13: the driver's horizontal-scrolling switch.
constexpr int16_t kScrollItem = 13;
constexpr uint16_t kHorizontalScrolling = 0x8;

// Mouse information: device count, then a capability word per device.
constexpr size_t kDeviceCountAt = 5;
constexpr size_t kFirstCapabilityAt = 16;
constexpr size_t kDeviceEntrySize = 24;
constexpr uint32_t kHasWheel = 0x400;

template <typename Function>
bool look_up(const platform::LoadedExecutable& code, const char* name, Function& out) {
  out = reinterpret_cast<Function>(code.function(name));
  return out != nullptr;
}

void forget_entry_points() {
  initMenuExtra = nullptr;
  updateMenuExtra = nullptr;
  setVisibleMenuExtra = nullptr;
  cleanupMenuExtra = nullptr;
}

uint16_t read_scroll_item() {
  uint8_t value[2] = {};
  CXAccessGlobalData(kScrollItem, kDataModeRead, value, sizeof value);
  return load_be16(value);
}

void write_scroll_item(uint16_t item) {
  uint8_t value[2];
  store_be16(value, item);
  CXAccessGlobalData(kScrollItem, kDataModeWrite, value, sizeof value);
}

void open_control_panel() {
  constexpr char kKey[] = "keyCorvexPath";
  const std::string path = platform::main_bundle().localized_string(kKey, "InfoPlist");
  // Without the string there is nothing to open.
  if (path.empty() || path == kKey) return;
  platform::LSOpenCFURLRef(path);
}

}  // namespace

bool loadMenuExtraBundle() {
  if (menuExtraBundle) return true;
  int32_t version = 0;
  // Older systems have no menu extras; that is not a failure.
  if (platform::Gestalt(platform::kGestaltSystemVersion, &version) != 0 ||
      version < kFirstMenuExtraSystem)
    return true;

  const std::optional<std::string> url =
      platform::main_bundle().resource_path("CXMenuExtra", "bundle");
  const std::unique_ptr<platform::Bundle> bundle =
      url ? platform::Bundle::open(*url) : std::unique_ptr<platform::Bundle>();
  if (!bundle) {
    std::fprintf(stderr, "Corvex Background - Unable to create CXMenuExtra bundle with URL:\n%s\n",
                 url ? url->c_str() : "(null)");
    return false;
  }
  std::string error;
  std::unique_ptr<platform::LoadedExecutable> code = bundle->load_executable(error);
  if (!code) {
    std::fprintf(stderr, "Corvex Background - Unable to load CXMenuExtra executable\n");
    return false;
  }
  if (!look_up(*code, "initializeBundle", initMenuExtra) ||
      !look_up(*code, "update", updateMenuExtra) || !look_up(*code, "cleanup", cleanupMenuExtra) ||
      !look_up(*code, "setVisible", setVisibleMenuExtra)) {
    forget_entry_points();
    std::fprintf(stderr, "Corvex Background - Unable to find CXMenuExtra functions\n");
    return false;
  }
  // Held before the helper starts, since it may call back at once.
  menuExtraBundle = std::move(code);
  initMenuExtra(menuExtraCallback);
  return menuExtraBundle != nullptr;
}

void unloadMenuExtraBundle() {
  if (!menuExtraBundle) return;
  cleanupMenuExtra();
  forget_entry_points();
  menuExtraBundle.reset();
}

void updateMenuExtraBundle() {
  if (menuExtraBundle) updateMenuExtra();
}

void setVisibleMenuExtraBundle(uint32_t visible) {
  menuExtraVisible = visible;
  if (menuExtraBundle) setVisibleMenuExtra(visible != 0 && menuExtraHasWheel ? 1 : 0);
}

void setupMenuExtraBundle() {
  loadMenuExtraBundle();
  using platform::PrefHost;
  using platform::PrefUser;
  platform::synchronize_preferences(kPanelDomain, PrefUser::Current, PrefHost::Any);
  const plist::ValueRef hide = platform::copy_preference_value("keyHideMenuExtra", kPanelDomain,
                                                               PrefUser::Current, PrefHost::Any);
  const auto* hidden = plist::as<plist::Boolean>(hide);
  menuExtraVisible = hidden != nullptr && hidden->value() ? 0 : 1;
  updateMenuExtraHasWheel();
}

void updateMenuExtraHasWheel() {
  mouse_version_info info;
  GetMouseInfo(info);
  const auto count = static_cast<int8_t>(info.bytes[kDeviceCountAt]);
  bool wheel = false;
  for (size_t i = 0; i < static_cast<size_t>(count > 0 ? count : 0); ++i) {
    const size_t at = kFirstCapabilityAt + kDeviceEntrySize * i;
    // A count beyond the record names devices the record cannot hold.
    if (at + 4 > info.bytes.size()) break;
    if (load_be32(&info.bytes[at]) & kHasWheel) wheel = true;
  }
  menuExtraHasWheel = wheel;
  setVisibleMenuExtraBundle(menuExtraVisible);
}

int menuExtraCallback(int command) {
  switch (command) {
    case 1:
      write_scroll_item(static_cast<uint16_t>(read_scroll_item() ^ kHorizontalScrolling));
      updateMenuExtraBundle();
      return 0;
    case -1:
      return (read_scroll_item() & kHorizontalScrolling) != 0 ? 1 : 0;
    case 2:
      open_control_panel();
      return 0;
    default:
      return 0;
  }
}

}  // namespace cx
