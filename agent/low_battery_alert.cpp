#include "agent/low_battery_alert.h"

#include <string_view>

#include "agent/low_battery.h"
#include "diag/diag_writers.h"
#include "driver/device_table.h"
#include "platform/alerts.h"
#include "platform/processes.h"
#include "util/localized_strings.h"

namespace cx {
namespace {

constexpr int kMessageString = 1;
constexpr int kReplaceString = 2;
constexpr int kRechargeString = 3;
constexpr int kAgentNameString = 228;
constexpr uint32_t kAlertLogLevel = 0x20000;

// The list's strings are our own, but they are data: their one placeholder
// is filled in as text, never handed to printf.
std::string fill(std::string format, std::string_view placeholder, std::string_view value) {
  const size_t at = format.find(placeholder);
  if (at != std::string::npos) format.replace(at, placeholder.size(), value);
  return format;
}

std::string list_string(int index) {
  return loadStrListResource(kLoBatStringList, index).value_or("");
}

}  // namespace

int find_device_recharge(const std::string& key, const plist::Dictionary& description,
                         void* context) {
  auto& lookup = *static_cast<LoBatLookup*>(context);
  const auto* id = plist::as<plist::Number>(description.get("UniqueID"));
  if (!id || id->int_value() != static_cast<int64_t>(lookup.unique_id)) return 0;
  lookup.name = key;
  const auto* info = plist::as<plist::Dictionary>(description.get("Info"));
  lookup.recharge = info ? info->get("Rechargeable") : nullptr;
  if (!lookup.recharge) lookup.recharge = plist::make_int32(0);
  return 1;
}

int get_lobat_info_from_DIRT(uint32_t unique_id, std::string& name, plist::ValueRef& recharge) {
  const std::unique_ptr<platform::Bundle> bundle = dirt_bundle_create();
  if (!bundle) return kLoBatDeviceUnknown;
  LoBatLookup lookup{unique_id, {}, nullptr};
  if (enumerate_cxdevices(*bundle, find_device_recharge, &lookup) != 1) return kLoBatDeviceUnknown;
  name = std::move(lookup.name);
  recharge = std::move(lookup.recharge);
  return 0;
}

int show_lo_bat_alert(int16_t unique_id) {
  std::string name;
  plist::ValueRef recharge;
  const int found = get_lobat_info_from_DIRT(static_cast<uint16_t>(unique_id), name, recharge);
  if (found != 0) return found;

  const std::string message = fill(list_string(kMessageString), "%s", name);
  int16_t hours = 0;
  if (const auto* number = plist::as<plist::Number>(recharge)) {
    number->get_value(plist::NumberType::SInt16, &hours);
  }
  const std::string explanation =
      hours != 0 ? fill(list_string(kRechargeString), "%d", std::to_string(hours))
                 : list_string(kReplaceString);

  const std::string app = loadStringResource(kAgentNameString).value_or("Corvex Background");
  platform::Alerts& alerts = platform::alerts();
  if (alerts.post_critical_notification(app, message, explanation)) return 0;
  // The alert window takes the front; the user's application gets it back.
  platform::ProcessSerialNumber front{};
  const bool had_front = platform::GetFrontProcess(&front) == platform::noErr;
  if (alerts.run_caution_alert(app, message, explanation)) {
    if (had_front) platform::SetFrontProcess(&front);
    return 0;
  }
  // No one to tell on this desktop: the log keeps the warning.
  diag_3line(message.c_str(), " ", explanation.c_str(), kAlertLogLevel);
  return 0;
}

}  // namespace cx
