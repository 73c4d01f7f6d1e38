#include "platform/linux/preference_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "plist/limits.h"
#include "plist/plist_io.h"

namespace cx::platform {
namespace {

class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) ::close(fd_);
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return fd_; }
  // close(2) reports write-back failures that a destructor would lose.
  bool close() {
    const int fd = fd_;
    fd_ = -1;
    return ::close(fd) == 0;
  }

 private:
  int fd_;
};

bool is_regular(int fd) {
  struct stat st {};
  return ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
}

bool write_all(int fd, const std::vector<uint8_t>& bytes) {
  for (size_t done = 0; done < bytes.size();) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

// The rename itself lives in the folder; without this a crash can lose it.
void sync_folder_of(const std::string& path) {
  const auto slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const Fd dir(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (dir.get() >= 0) ::fsync(dir.get());
}

}  // namespace

DomainFileRead read_domain_file(const std::string& path, plist::ValueRef& root) {
  root = nullptr;
  // O_NONBLOCK: a FIFO planted under the name must not hang the open.
  const Fd fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (fd.get() < 0) return errno == ENOENT ? DomainFileRead::Missing : DomainFileRead::Unusable;
  if (!is_regular(fd.get())) return DomainFileRead::Unusable;
  std::vector<uint8_t> bytes;
  uint8_t chunk[65536];
  for (;;) {
    const ssize_t n = ::read(fd.get(), chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return DomainFileRead::Unusable;
    if (n == 0) break;
    if (bytes.size() + static_cast<size_t>(n) > plist::kMaxFileSize)
      return DomainFileRead::Unusable;
    bytes.insert(bytes.end(), chunk, chunk + n);
  }
  root = plist::read_plist(bytes).value;
  return DomainFileRead::Ok;
}

DomainLock::DomainLock(const std::string& path) {
  // Read-only is enough for flock, so users of a shared folder can all lock.
  const int fd = ::open((path + ".lock").c_str(),
                        O_RDONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644);
  if (fd < 0) return;
  int rc = is_regular(fd) ? 0 : -1;
  if (rc == 0) {
    do {
      rc = ::flock(fd, LOCK_EX);
    } while (rc != 0 && errno == EINTR);
  }
  if (rc == 0) {
    fd_ = fd;
  } else {
    ::close(fd);
  }
}

DomainLock::~DomainLock() {
  if (fd_ >= 0) ::close(fd_);
}

bool replace_domain_file(const std::string& path, const plist::Value& root) {
  const plist::WriteResult xml = plist::write_plist(root, plist::Format::Xml);
  if (!xml.ok()) return false;
  std::string temp = path + ".XXXXXX";
  Fd fd(::mkostemp(temp.data(), O_CLOEXEC));
  if (fd.get() < 0) return false;
  const bool written = ::fchmod(fd.get(), 0644) == 0 && write_all(fd.get(), xml.bytes) &&
                       ::fsync(fd.get()) == 0 && fd.close() &&
                       ::rename(temp.c_str(), path.c_str()) == 0;
  if (!written) {
    ::unlink(temp.c_str());
    return false;
  }
  sync_folder_of(path);
  return true;
}

}  // namespace cx::platform
