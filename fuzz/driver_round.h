// One input's turn on the in-process reference driver: a fresh driver with
// empty settings, and the agent's connection to it closed afterwards. The
// connection is a static made before the driver, so left open it would
// outlive the driver at exit.
#pragma once

#include "driver/driver_connection.h"
#include "tests/support/in_process_driver.h"

namespace cx::fuzz {

class DriverRound {
 public:
  DriverRound() { driver().reset(); }
  ~DriverRound() { DisconnectFromDriver(); }
  DriverRound(const DriverRound&) = delete;
  DriverRound& operator=(const DriverRound&) = delete;

  static test::InProcessDriver& driver() {
    static test::InProcessDriver driver;
    return driver;
  }
};

}  // namespace cx::fuzz
