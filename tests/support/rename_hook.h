// The moment between a writer's last read and its rename(2), opened up for
// tests: a test links cx_test_rename_hook and runs code of its own there.
#pragma once

#include <functional>

namespace cx::test {

// `hook` runs once, just before the next rename(2) of this process.
void before_next_rename(std::function<void()> hook);

}  // namespace cx::test
