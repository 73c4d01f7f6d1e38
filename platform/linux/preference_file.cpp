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
  struct stat st {};
  if (::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) {
    file.error = "is not a regular file";
    return file;
  }
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
  return true;
}

}  // namespace cx::platform
