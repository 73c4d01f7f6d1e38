// Arbitrary property lists (XML or binary) as the user's preferences, loaded
// through the read pass into the reference driver, as an activation does.
// A dictionary holding "CXPrefData" is taken as the whole domain, any other
// value as "CXPrefData" itself. Nothing may crash or hang, and every load
// must leave the front application forgotten.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <span>

#include "agent/agent_state.h"
#include "fuzz/driver_round.h"
#include "fuzz/fuzz_support.h"
#include "platform/preferences.h"
#include "plist/plist_io.h"
#include "prefs/pref_files.h"

namespace {

using namespace cx;
using fuzz::check;

// A private bundle folder with the shipped defaults beside it, and a private
// preferences folder that is never written (nothing is synchronised).
bool set_up_folders() {
  namespace fs = std::filesystem;
  const fs::path root = fuzz::private_folder("cx-read-pass", "bundle/Corvex Background");
  fs::copy_file(CX_DEFAULT_PLIST, root / "bundle" / "Corvex_Default.plist",
                fs::copy_options::overwrite_existing);
  setenv("CORVEX_BUNDLE", (root / "bundle" / "Corvex Background").c_str(), 1);
  setenv("XDG_CONFIG_HOME", (root / "config").c_str(), 1);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool ready = set_up_folders();
  (void)ready;
  const fuzz::DriverRound round;
  plist::ValueRef value = plist::read_plist(std::span(data, size)).value;
  if (!value) return 0;
  if (const auto* top = plist::as<plist::Dictionary>(value); top && top->contains("CXPrefData"))
    value = top->get("CXPrefData");
  platform::set_preference_value("CXPrefData", value, "com.velcorra.corvex",
                                 platform::PrefUser::Current, platform::PrefHost::Any);
  active_app_sig = 1;
  pref_data.reset();
  load_user_preferences();
  check(active_app_sig == 0 && pref_data != nullptr);
  return 0;
}
