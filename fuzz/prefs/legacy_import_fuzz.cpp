// Arbitrary bytes as the user's old binary preference file, imported into
// the reference driver. Nothing may crash, hang or allocate for data that
// the file does not hold, and only a file that says "200" is version 2.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/driver_round.h"
#include "fuzz/fuzz_support.h"
#include "prefs/legacy_import.h"

namespace {

std::string set_up_folder() {
  const std::filesystem::path root = cx::fuzz::private_folder("cx-legacy", "corvex/Preferences");
  setenv("XDG_CONFIG_HOME", root.c_str(), 1);
  return root / "corvex" / "Preferences" / cx::kLegacyPrefFile;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string file = set_up_folder();
  const cx::fuzz::DriverRound round;
  cx::fuzz::write_input(file, data, size);
  int version2 = 0;
  const int result = cx::read_prefs(&version2);
  const bool says_200 = size >= 3 && data[0] == '2' && data[1] == '0' && data[2] == '0';
  cx::fuzz::check(result >= 0 && result <= 1 && (!version2 || says_200));
  return 0;
}
