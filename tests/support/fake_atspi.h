// An application's accessibility tree, as a reader of pages asks it: on the
// session bus named by DBUS_SESSION_BUS_ADDRESS (which then also serves as
// the accessibility bus), the registry's connection of this process serves
// each object with its role, first state word, children and text (a
// document's "DocURL", an entry's contents).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace cx::test {

class DbusService;

struct A11yObject {
  std::string path;  // the first is the registry's root
  uint32_t role, states;
  std::vector<std::string> children;
  std::string text;
};

class FakeAtspi {
 public:
  explicit FakeAtspi(std::vector<A11yObject> objects);
  ~FakeAtspi();
  const std::string& error() const;

 private:
  std::vector<A11yObject> objects_;
  std::string bus_name_;
  std::unique_ptr<DbusService> registry_;
};

}  // namespace cx::test
