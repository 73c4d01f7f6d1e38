// The reference driver's control socket, as corvex-driverctl speaks to it:
// one command line, then its answer up to "ok" or an error.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

namespace cx::test {

class DriverControl {
 public:
  explicit DriverControl(const std::string& path) {
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
      close(fd_);
      fd_ = -1;
    }
  }
  ~DriverControl() {
    if (fd_ >= 0) close(fd_);
  }
  DriverControl(const DriverControl&) = delete;
  DriverControl& operator=(const DriverControl&) = delete;

  bool ok() const { return fd_ >= 0; }
  bool send(const std::string& line) {
    return write(fd_, line.data(), line.size()) == static_cast<ssize_t>(line.size());
  }
  // Reads up to the command's closing line; true when that is "ok".
  bool finish() {
    std::string answer;
    char c;
    while (read(fd_, &c, 1) == 1) {
      answer += c;
      if (c != '\n') continue;
      if (answer.ends_with("ok\n")) return true;
      if (answer.find("error") != std::string::npos) return false;
    }
    return false;
  }

 private:
  int fd_ = -1;
};

}  // namespace cx::test
