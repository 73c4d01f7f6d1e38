// Installs a fake driver as the user-client service for one test and leaves
// the driver link closed afterwards.
#pragma once

#include <gtest/gtest.h>

#include "driver/driver_connection.h"
#include "platform/user_client.h"
#include "tests/driver/fake_user_client.h"

namespace cx::test {

class DriverLinkTest : public ::testing::Test {
 protected:
  void SetUp() override { platform::set_user_client_service(&driver); }
  void TearDown() override {
    DisconnectFromDriver();
    platform::set_user_client_service(nullptr);
  }

  FakeDriver driver;
};

}  // namespace cx::test
