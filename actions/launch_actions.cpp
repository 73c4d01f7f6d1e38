// Opening what a launch button names. The desktop's file opener takes the
// Finder's part, and its default handlers take Internet Config's; every
// failure is silent beyond the dispatcher's line.
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "actions/alias_record.h"
#include "actions/driver_actions.h"
#include "platform/launching.h"
#include "platform/preferences.h"
#include "plist/value.h"

namespace cx {
namespace {

// Where Internet Config kept the user's home page.
constexpr std::string_view kInternetConfigDomain = "com.apple.internetconfig";
constexpr std::string_view kHomePageKey = "WWWHomePage";
// The preference is a Pascal string.
constexpr std::size_t kHomePageMax = 255;

void open_url(std::string_view text) {
  if (!text.empty() && text.back() == '\0') text.remove_suffix(1);
  platform::LSOpenCFURLRef(text);
}

}  // namespace

void launch_file(const uint8_t* data, uint32_t length) {
  // The data lives in the driver's reply buffer; keep a copy of our own.
  const std::vector<uint8_t> alias(data, data + length);
  if (const auto target = alias_target(alias)) platform::LSOpenCFURLRef(*target);
}

void launch_URL(const uint8_t* data, uint32_t length) {
  const std::string text(reinterpret_cast<const char*>(data), static_cast<uint16_t>(length));
  open_url(text);
}

void launch_home_page_URL() {
  using platform::PrefHost;
  using platform::PrefUser;
  platform::synchronize_preferences(kInternetConfigDomain, PrefUser::Current, PrefHost::Any);
  const plist::ValueRef value = platform::copy_preference_value(kHomePageKey, kInternetConfigDomain,
                                                                PrefUser::Current, PrefHost::Any);
  const auto* home_page = plist::as<plist::String>(value);
  if (home_page == nullptr) {
    platform::launcher().open_default_browser();
    return;
  }
  open_url(std::string_view(home_page->text()).substr(0, kHomePageMax));
}

}  // namespace cx
