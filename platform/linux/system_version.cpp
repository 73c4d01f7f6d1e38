#include "platform/system_version.h"

#include <charconv>
#include <cstdlib>
#include <string_view>

namespace cx::platform {
namespace {

constexpr uint32_t kReportedVersion = 0x1049;  // 10.4.9

}  // namespace

uint32_t system_version() {
  const char* env = std::getenv("CORVEX_SYSTEM_VERSION");
  if (env == nullptr) return kReportedVersion;
  std::string_view text(env);
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  uint32_t value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  if (text.empty() || ec != std::errc() || end != text.data() + text.size())
    return kReportedVersion;
  return value;
}

int16_t Gestalt(uint32_t selector, int32_t* response) {
  if (selector != kGestaltSystemVersion) return kGestaltUndefSelectorErr;
  *response = static_cast<int32_t>(system_version());
  return 0;
}

}  // namespace cx::platform
