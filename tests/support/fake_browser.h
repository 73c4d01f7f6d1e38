// An application that takes Apple events, on the session bus named by
// DBUS_SESSION_BUS_ADDRESS: it owns the bus name of its signature and its
// handler table answers each Dispatch, on a thread of its own (handlers run
// there while the sender waits).
#pragma once

#include <memory>
#include <string>

#include "platform/apple_events.h"

namespace cx::test {

class DbusService;

class FakeBrowser {
 public:
  FakeBrowser(platform::OSType signature, const platform::AEHandlerTable& handlers);
  ~FakeBrowser();
  // Empty while it serves.
  const std::string& error() const;

 private:
  const platform::AEHandlerTable& handlers_;
  std::unique_ptr<DbusService> service_;
};

}  // namespace cx::test
