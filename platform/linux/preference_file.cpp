#include "platform/linux/preference_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include "plist/limits.h"
#include "plist/plist_io.h"

namespace cx::platform {
namespace {

constexpr size_t kTemporarySuffix = 6;  // mkostemp's XXXXXX

std::string errno_text() {
  return std::strerror(errno);
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

std::string folder_of(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

// The rename itself lives in the folder; without this a crash can lose it.
void sync_folder_of(const std::string& path) {
  const UniqueFd dir(::open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (dir) ::fsync(dir.get());
}

bool is_temporary_name(std::string_view name, std::string_view base) {
  if (name.size() != base.size() + 1 + kTemporarySuffix || !name.starts_with(base) ||
      name[base.size()] != '.')
    return false;
  for (const char c : name.substr(base.size() + 1))
    if (!std::isalnum(static_cast<unsigned char>(c))) return false;
  return true;
}

// What tells one content of a domain file from another without reading it:
// a replacement by rename is a new inode, a change in place moves the change
// time, which no one can set back.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  int64_t modified_ns = 0;
  int64_t changed_ns = 0;
  bool operator==(const FileIdentity&) const = default;
};

int64_t nanoseconds(const timespec& t) {
  return int64_t{t.tv_sec} * 1'000'000'000 + t.tv_nsec;
}

FileIdentity identity_of(const struct stat& st) {
  return {st.st_dev, st.st_ino, st.st_size, nanoseconds(st.st_mtim), nanoseconds(st.st_ctim)};
}

// File times move in ticks of the file system's clock (up to two seconds):
// a file changed less than a tick before it was read may change again
// without its times showing it.
constexpr int64_t kSettledAfterNs = 2'000'000'000;

int64_t now_ns() {
  timespec t{};
  ::clock_gettime(CLOCK_REALTIME, &t);
  return nanoseconds(t);
}

struct ParsedFile {
  FileIdentity identity;
  DomainFile file;
};

bool settled(const FileIdentity& file, int64_t read_at_ns) {
  return read_at_ns - file.changed_ns > kSettledAfterNs &&
         read_at_ns - file.modified_ns > kSettledAfterNs;
}

// The last parse of each domain file: a load and the saves after it do not
// parse an unchanged file again.
std::map<std::string, ParsedFile, std::less<>>& parsed_files() {
  static std::map<std::string, ParsedFile, std::less<>> files;
  return files;
}

}  // namespace

DomainFile read_domain_file(const std::string& path) {
  DomainFile file;
  // O_NONBLOCK: a FIFO planted under the name must not hang the open.
  const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!fd) {
    if (errno == ENOENT) return file;
    file.status = DomainFileRead::Unusable;
    file.error = errno == ELOOP ? "is a symbolic link" : errno_text();
    return file;
  }
  file.status = DomainFileRead::Unusable;
  // Before the times are taken, so that a file settled then is settled for them.
  const int64_t read_at = now_ns();
  struct stat st {};
  if (::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) {
    file.error = "is not a regular file";
    return file;
  }
  const FileIdentity identity = identity_of(st);
  if (const auto it = parsed_files().find(path);
      it != parsed_files().end() && it->second.identity == identity)
    return it->second.file;
  std::vector<uint8_t> bytes;
  uint8_t chunk[65536];
  for (;;) {
    const ssize_t n = ::read(fd.get(), chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      file.error = errno_text();
      return file;
    }
    if (n == 0) break;
    if (bytes.size() + static_cast<size_t>(n) > plist::kMaxFileSize) {
      file.error = "larger than " + std::to_string(plist::kMaxFileSize) + " bytes";
      return file;
    }
    bytes.insert(bytes.end(), chunk, chunk + n);
  }
  file.mode = st.st_mode & 07777;
  plist::ReadResult parsed = plist::read_plist(bytes);
  if (!parsed.value) {
    file.status = DomainFileRead::Unparsable;
    file.error = std::move(parsed.error);
    return file;
  }
  file.status = DomainFileRead::Ok;
  file.root = std::move(parsed.value);
  file.format = parsed.format;
  if (settled(identity, read_at)) {
    file.shared = true;
    parsed_files()[path] = {identity, file};
  } else {
    parsed_files().erase(path);
  }
  return file;
}

void remove_stale_temporaries(const std::string& path) {
  const std::string folder = folder_of(path);
  const std::string base = path.substr(path.rfind('/') + 1);
  const std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(folder.c_str()), ::closedir);
  if (!dir) return;
  while (const dirent* entry = ::readdir(dir.get())) {
    if (!is_temporary_name(entry->d_name, base)) continue;
    struct stat st {};
    if (::fstatat(::dirfd(dir.get()), entry->d_name, &st, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISREG(st.st_mode) && st.st_uid == ::geteuid())
      ::unlinkat(::dirfd(dir.get()), entry->d_name, 0);
  }
}

bool replace_domain_file(const std::string& path, const plist::Value& root, const DomainFile& file,
                         std::string& error) {
  const plist::WriteResult written = plist::write_plist(root, file.format);
  if (!written.ok()) {
    error = written.error;
    return false;
  }
  std::string temp = path + "." + std::string(kTemporarySuffix, 'X');
  UniqueFd fd(::mkostemp(temp.data(), O_CLOEXEC));
  if (!fd) {
    error = "cannot create a temporary file: " + errno_text();
    return false;
  }
  const bool replaced = ::fchmod(fd.get(), file.mode) == 0 && write_all(fd.get(), written.bytes) &&
                        ::fsync(fd.get()) == 0 && ::close(fd.release()) == 0 &&
                        ::rename(temp.c_str(), path.c_str()) == 0;
  if (!replaced) {
    error = errno_text();
    ::unlink(temp.c_str());
    return false;
  }
  sync_folder_of(path);
  parsed_files().erase(path);
  return true;
}

}  // namespace cx::platform
