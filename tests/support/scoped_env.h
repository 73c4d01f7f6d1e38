// An environment variable set for one scope and put back as it was after,
// also when an assertion leaves the test early.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace cx::test {

class ScopedEnv {
 public:
  ScopedEnv(const char* name, const std::string& value) : ScopedEnv(name, value.c_str()) {}
  // A null value unsets the variable for the scope.
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    set(value);
  }
  ~ScopedEnv() { set(old_ ? old_->c_str() : nullptr); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  void set(const char* value) { value ? setenv(name_, value, 1) : unsetenv(name_); }
  const char* name_;
  std::optional<std::string> old_;
};

}  // namespace cx::test
