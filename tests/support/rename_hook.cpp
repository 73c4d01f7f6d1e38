#include "tests/support/rename_hook.h"

#include <dlfcn.h>

#include <cstdio>
#include <utility>

namespace cx::test {
namespace {

std::function<void()>& pending_hook() {
  static std::function<void()> hook;
  return hook;
}

}  // namespace

void before_next_rename(std::function<void()> hook) {
  pending_hook() = std::move(hook);
}

}  // namespace cx::test

// Defined in the test executable, so it stands in for the C library's for
// all code linked into it.
extern "C" int rename(const char* from, const char* to) noexcept {
  if (auto hook = std::exchange(cx::test::pending_hook(), nullptr)) hook();
  using Rename = int (*)(const char*, const char*);
  static const auto real = reinterpret_cast<Rename>(::dlsym(RTLD_NEXT, "rename"));
  return real(from, to);
}
