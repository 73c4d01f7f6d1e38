// One domain file on disk: read without following links, replaced whole by
// rename so readers never see half a file, and serialised between processes
// by a lock on a file beside it (the domain file itself is replaced, so it
// cannot carry the lock). Whatever cannot be read is never replaced.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>

#include "platform/linux/user_client_fd.h"
#include "plist/plist_io.h"
#include "plist/value.h"

namespace cx::platform {

enum class DomainFileRead { Ok, Missing, Unusable, Unparsable };

struct DomainFile {
  DomainFileRead status = DomainFileRead::Missing;
  plist::ValueRef root;  // Ok only
  // root is kept for later reads of the unchanged file: never change it in place.
  bool shared = false;
  mode_t mode = 0644;  // permission bits to give the file when rewritten
  // Rewritten in the format it was read in: XML dates hold whole seconds of
  // years 0000-9999, a binary file's may hold more.
  plist::Format format = plist::Format::Xml;
  std::string error;  // why, when Unusable or Unparsable
};

// Unusable: a link, not a regular file, unreadable or too large.
// Unparsable: not a property list (error says where), or a UID object in it.
DomainFile read_domain_file(const std::string& path);

// The file to read and write for `path`. A link is followed (a dotfile
// manager's) only when `follow_links` and its target is a regular file of
// this user in a folder only this user can change; otherwise empty, with
// `error` set.
std::string domain_file_target(const std::string& path, bool follow_links, std::string& error);

// Creates the missing folders of `folder` with `mode`.
bool make_folders(const std::string& folder, mode_t mode);

// Holds an exclusive flock on `<path>.lock` while it lives. Waits at most
// `wait` for another holder; held() is false after that.
class DomainLock {
 public:
  static constexpr std::chrono::milliseconds kWait{3000};
  explicit DomainLock(const std::string& path, std::chrono::milliseconds wait = kWait);
  DomainLock(const DomainLock&) = delete;
  DomainLock& operator=(const DomainLock&) = delete;
  bool held() const { return static_cast<bool>(fd_); }
  const std::string& error() const { return error_; }

 private:
  UniqueFd fd_;
  std::string error_;
};

// Temporaries `<path>.XXXXXX` of this user that a killed writer left
// behind. Only called under the lock: no live writer has one then.
void remove_stale_temporaries(const std::string& path);

// `file`'s format into a temporary file of the same folder with its
// permission bits, flushed to disk, then renamed over `path`. False, with
// `path` unchanged and `error` set, on any failure.
bool replace_domain_file(const std::string& path, const plist::Value& root, const DomainFile& file,
                         std::string& error);

}  // namespace cx::platform
