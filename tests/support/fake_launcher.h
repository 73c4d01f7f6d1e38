// Launch Services for tests: records what would have been opened, so that no
// test ever starts a real browser.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/launching.h"

namespace cx::testing {

class FakeLauncher final : public platform::Launcher {
 public:
  // Each target as given; the default browser as "(browser)".
  std::vector<std::string> opened;
  int32_t open(std::string_view target) override {
    opened.emplace_back(target);
    return 0;
  }
  int32_t open_default_browser() override {
    opened.emplace_back("(browser)");
    return 0;
  }
};

}  // namespace cx::testing
