#include "tests/support/diagnostics.h"

#include <stdlib.h>

#include "tests/support/temp_dir.h"

namespace cx::test {

void write_diagnostic_settings(const std::string& config_home, uint32_t level) {
  setenv("CORVEX_MACHINE_ID", "test", 1);
  write_file(
      config_home + "/corvex/Preferences/ByHost/com.velcorra.corvex.background.diags.test.plist",
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
      "<key>Displevel</key><integer>" +
          std::to_string(level) + "</integer>\n</dict>\n</plist>\n");
}

}  // namespace cx::test
