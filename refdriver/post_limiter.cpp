#include "refdriver/post_limiter.h"

#include <cstdio>

namespace cx::refdriver {

void PostLimiter::notify(uint32_t code, uint64_t argument) {
  const uint32_t now = state_.now();
  if (now != second_) {
    second_ = now;
    posts_.clear();
  }
  uint32_t& posts = posts_[uid_];
  if (posts < kPostsPerSecond) {
    ++posts;
    out_.notify(code, argument);
    return;
  }
  if (posts++ == kPostsPerSecond) {
    char line[96];
    std::snprintf(line, sizeof line, "uid %u: more than %u messages in a second, the rest dropped",
                  uid_, kPostsPerSecond);
    out_.log(line);
  }
}

}  // namespace cx::refdriver
