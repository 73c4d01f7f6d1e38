// A connection to a private bus served on a thread and main context of its
// own, for the stand-ins of desktop services: objects are registered by
// `serve` on that thread, then the well-known name is taken.
#pragma once

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string>

namespace cx::test {

class DbusService {
 public:
  // `serve` registers the objects (user data lives with the caller); the
  // service runs only when it returns true and the name was granted.
  DbusService(const std::string& address, const std::string& name,
              std::function<bool(GDBusConnection*)> serve);
  ~DbusService();
  DbusService(const DbusService&) = delete;
  DbusService& operator=(const DbusService&) = delete;

  // Empty while it serves.
  const std::string& error() const;
  // Null once stopped or when it never started; use on the service thread
  // or while the service lives.
  GDBusConnection* connection() const;
  // Leaves the bus; idempotent.
  void stop();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace cx::test
