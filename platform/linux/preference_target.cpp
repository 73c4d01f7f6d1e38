#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>

#include "platform/linux/preference_file.h"

namespace cx::platform {
namespace {

// Owned by this user and writable by nobody else, so no one else can swap
// what it holds.
bool only_mine(const struct stat& st) {
  return st.st_uid == ::geteuid() && (st.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace

std::string domain_file_target(const std::string& path, bool follow_links, std::string& error) {
  struct stat st {};
  if (::lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return path;
  if (!follow_links) {
    error = "is a symbolic link";
    return {};
  }
  const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr),
                                                             &std::free);
  if (!resolved) {
    error = "is a symbolic link that leads nowhere";
    return {};
  }
  const std::string target = resolved.get();
  const std::string folder = target.substr(0, target.rfind('/') + 1);
  struct stat file {};
  struct stat dir {};
  if (::lstat(target.c_str(), &file) != 0 || !S_ISREG(file.st_mode) || !only_mine(file) ||
      ::stat(folder.c_str(), &dir) != 0 || !only_mine(dir)) {
    error = "links to " + target + ", which is not a file in this user's own folders";
    return {};
  }
  return target;
}

bool make_folders(const std::string& folder, mode_t mode) {
  for (size_t at = folder.find('/', 1);; at = folder.find('/', at + 1)) {
    const std::string part = folder.substr(0, at);
    if (!part.empty() && ::mkdir(part.c_str(), mode) != 0 && errno != EEXIST) return false;
    if (at == std::string::npos) return true;
  }
}

}  // namespace cx::platform
