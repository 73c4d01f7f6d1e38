#include "plist/plist_io.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <string_view>

#include "plist/binary_check.h"
#include "plist/binary_write.h"
#include "plist/libplist_bridge.h"
#include "plist/limits.h"
#include "plist/xml_read.h"
#include "plist/xml_write.h"

namespace cx::plist {

namespace {

ReadResult failed(Format format, std::string error) {
  ReadResult r;
  r.format = format;
  r.error = std::move(error);
  return r;
}

std::string at_offset(size_t offset) {
  return "byte offset " + std::to_string(offset) + ": ";
}

std::string at_line(int line, int column) {
  return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": ";
}

struct FdCloser {
  int fd;
  ~FdCloser() {
    if (fd >= 0) ::close(fd);
  }
};

std::string errno_text() {
  return std::strerror(errno);
}

}  // namespace

ReadResult read_plist(std::span<const uint8_t> bytes) {
  constexpr std::string_view kBinaryMagic = "bplist";
  const bool binary = bytes.size() >= kBinaryMagic.size() &&
                      std::memcmp(bytes.data(), kBinaryMagic.data(), kBinaryMagic.size()) == 0;
  const Format format = binary ? Format::Binary : Format::Xml;
  if (bytes.size() > std::numeric_limits<uint32_t>::max())
    return failed(format, "document too large");
  const auto* text = reinterpret_cast<const char*>(bytes.data());

  if (!binary) {
    // A byte-order mark is no character of the document; lines and columns
    // count from after it.
    constexpr std::string_view kUtf8Bom = "\xEF\xBB\xBF";
    std::string_view doc(text, bytes.size());
    if (doc.starts_with(kUtf8Bom)) doc.remove_prefix(kUtf8Bom.size());
    XmlRead read = read_xml_plist(doc);
    if (read.defect)
      return failed(format, at_line(read.defect->line, read.defect->column) + read.defect->what);
    ReadResult r;
    r.format = format;
    r.value = std::move(read.value);
    return r;
  }
  if (auto defect = check_binary_plist(bytes))
    return failed(format, at_offset(defect->offset) + defect->what);
  plist_t root = nullptr;
  plist_from_bin(text, static_cast<uint32_t>(bytes.size()), &root);
  const LibplistNode owned(root);
  if (!root) return failed(format, at_offset(0) + "libplist could not read the document");
  ReadResult r;
  r.format = format;
  std::string error;
  r.value = from_libplist(root, error);
  if (!r.value) r.error = at_offset(0) + error;
  return r;
}

ReadResult read_plist_file(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return failed(Format::Xml, path + ": " + errno_text());
  const FdCloser closer{fd};
  std::vector<uint8_t> bytes;
  uint8_t chunk[65536];
  for (;;) {
    const ssize_t n = ::read(fd, chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return failed(Format::Xml, path + ": " + errno_text());
    if (n == 0) break;
    if (bytes.size() + static_cast<size_t>(n) > kMaxFileSize)
      return failed(Format::Xml, path + ": larger than " + std::to_string(kMaxFileSize) + " bytes");
    bytes.insert(bytes.end(), chunk, chunk + n);
  }
  ReadResult r = read_plist(bytes);
  if (!r.value) r.error = path + ": " + r.error;
  return r;
}

WriteResult write_plist(const Value& value, Format format) {
  WriteResult r;
  if (format == Format::Binary) {
    if (!write_binary_plist(value, r.bytes, r.error)) r.bytes.clear();
    return r;
  }
  if (!write_xml_plist(value, r.bytes, r.error)) r.bytes.clear();
  return r;
}

WriteResult write_plist_file(const std::string& path, const Value& value, Format format) {
  WriteResult r = write_plist(value, format);
  if (!r.ok()) {
    r.error = path + ": " + r.error;
    return r;
  }
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) {
    r.error = path + ": " + errno_text();
    return r;
  }
  FdCloser closer{fd};
  for (size_t done = 0; done < r.bytes.size();) {
    const ssize_t n = ::write(fd, r.bytes.data() + done, r.bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      r.error = path + ": " + errno_text();
      return r;
    }
    done += static_cast<size_t>(n);
  }
  closer.fd = -1;
  if (::close(fd) != 0) r.error = path + ": " + errno_text();
  return r;
}

}  // namespace cx::plist
