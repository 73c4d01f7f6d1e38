// A private X server for tests: Xvfb picks a free display itself
// (-displayfd) and is stopped when the object goes.
#pragma once

#include <string>

#include "tests/support/child_process.h"

namespace cx::test {

class Xvfb {
 public:
  // The server writes its display number once it accepts connections.
  // -noreset: it would otherwise reset, refusing connections for a moment,
  // each time its last client leaves.
  Xvfb()
      : server_({"Xvfb", "-displayfd", "1", "-nolisten", "tcp", "-noreset", "-screen", "0",
                 "320x240x24"}) {
    if (server_.pid() <= 0 || !server_.wait_for_output("\n")) return;
    const std::string number = server_.output();
    display_ = ":" + number.substr(0, number.find('\n'));
  }

  // ":N", or empty when the server could not be started.
  const std::string& display() const { return display_; }

  void stop() { server_.terminate(); }

 private:
  BackgroundProcess server_;
  std::string display_;
};

}  // namespace cx::test
