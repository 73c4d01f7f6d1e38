// One domain file on disk: read without following links, replaced whole by
// rename so readers never see half a file, and serialised between processes
// by a lock on a file beside it (the domain file itself is replaced, so it
// cannot carry the lock).
#pragma once

#include <string>

#include "plist/value.h"

namespace cx::platform {

enum class DomainFileRead { Ok, Missing, Unusable };

// The root of the file at `path`. Missing: no such file. Unusable: a link,
// not a regular file, or unreadable. A file whose content is not a property
// list reads as Ok with a null root.
DomainFileRead read_domain_file(const std::string& path, plist::ValueRef& root);

// Holds an exclusive flock on `<path>.lock` while it lives.
class DomainLock {
 public:
  explicit DomainLock(const std::string& path);
  ~DomainLock();
  DomainLock(const DomainLock&) = delete;
  DomainLock& operator=(const DomainLock&) = delete;
  bool held() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

// XML into a temporary file of the same folder, flushed to disk, then
// renamed over `path`. False, with `path` unchanged, on any failure.
bool replace_domain_file(const std::string& path, const plist::Value& root);

}  // namespace cx::platform
