// Arbitrary bytes as the user's old binary preference file, imported into
// the reference driver. Nothing may crash, hang or allocate for data that
// the file does not hold, and only a file that says "200" is version 2.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "driver/driver_connection.h"
#include "prefs/legacy_import.h"
#include "tests/support/in_process_driver.h"

namespace {

std::string set_up_folder() {
  namespace fs = std::filesystem;
  const fs::path root = fs::temp_directory_path() / ("cx-legacy-" + std::to_string(getpid()));
  fs::create_directories(root / "corvex" / "Preferences");
  setenv("XDG_CONFIG_HOME", root.c_str(), 1);
  return (root / "corvex" / "Preferences" / cx::kLegacyPrefFile).string();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string file = set_up_folder();
  static cx::test::InProcessDriver driver;
  driver.reset();
  std::ofstream(file, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  int version2 = 0;
  const int result = cx::read_prefs(&version2);
  const bool says_200 = size >= 3 && data[0] == '2' && data[1] == '0' && data[2] == '0';
  if (result < 0 || result > 1 || (version2 && !says_200)) std::abort();
  // The connection refers to the static driver, which may go first at exit.
  cx::DisconnectFromDriver();
  return 0;
}
