// corvex-driverctl: tells the reference driver to simulate device activity
// or to print its live settings. The arguments form one command line for
// the driver's control socket; the driver's answer is printed.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "refdriver/control_socket.h"

namespace {

using cx::refdriver::kControlSocketName;
using cx::refdriver::kDefaultServiceDirectory;
using cx::refdriver::kServiceDirectoryVariable;

constexpr const char* kUsage =
    "usage: corvex-driverctl COMMAND [ARGUMENTS]\n"
    "  press BUTTON [--mods N]   press and release a button in the front application\n"
    "  front APP-NAME            make APP-NAME the front application\n"
    "  chord                     a chord (message 7)\n"
    "  devices-changed           the attached devices changed (message 5)\n"
    "  low-battery UNIQUE-ID     a device's battery runs low (messages 10, then 11)\n"
    "  hscroll                   toggle horizontal scrolling (message 16)\n"
    "  console-switch [UID]      another session came to the console (message 15);\n"
    "                            with UID, that user is confirmed (message 14)\n"
    "  event CODE [HEX-DATA]     queue a background event\n"
    "  notify CODE [ARG]         post a message as it stands\n"
    "  state                     print the driver's live settings\n"
    "The driver's socket is in $CORVEX_IOKIT_DIR (default /run/corvex/iokit).\n";

// The driver may close on us (a line it will not take, or it stops): that is
// an answer to report, not a signal to die of.
bool write_all(int fd, std::string_view data) {
  while (!data.empty()) {
    const ssize_t n = send(fd, data.data(), data.size(), MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
    std::fputs(kUsage, argc < 2 ? stderr : stdout);
    return argc < 2 ? 2 : 0;
  }
  std::string line;
  for (int i = 1; i < argc; ++i) {
    if (std::strchr(argv[i], '\n')) {
      std::fputs("corvex-driverctl: arguments cannot hold a newline\n", stderr);
      return 2;
    }
    if (i > 1) line += ' ';
    line += argv[i];
  }
  line += '\n';

  const char* dir = std::getenv(std::string(kServiceDirectoryVariable).c_str());
  const std::string path = std::string(dir && *dir ? dir : std::string(kDefaultServiceDirectory)) +
                           "/" + std::string(kControlSocketName);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  if (path.size() >= sizeof addr.sun_path) {
    std::fprintf(stderr, "corvex-driverctl: %s: path too long\n", path.c_str());
    return 2;
  }
  std::memcpy(addr.sun_path, path.data(), path.size());
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0 || connect(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0) {
    std::fprintf(stderr, "corvex-driverctl: %s: %s (is corvex-driverd running?)\n", path.c_str(),
                 std::strerror(errno));
    return 2;
  }
  if (!write_all(fd, line) || shutdown(fd, SHUT_WR) != 0) {
    std::fprintf(stderr, "corvex-driverctl: the driver closed the connection: %s\n",
                 std::strerror(errno));
    close(fd);
    return 2;
  }
  std::string answer;
  char buffer[4096];
  for (;;) {
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    answer.append(buffer, static_cast<size_t>(n));
  }
  close(fd);
  if (answer.empty()) {
    std::fputs("corvex-driverctl: the driver closed the connection without answering\n", stderr);
    return 2;
  }

  // The last line is "ok" or "error: ..."; everything before it is output.
  if (!answer.empty() && answer.back() == '\n') answer.pop_back();
  const size_t last = answer.rfind('\n');
  const std::string verdict = last == std::string::npos ? answer : answer.substr(last + 1);
  if (last != std::string::npos) std::fwrite(answer.data(), 1, last + 1, stdout);
  if (verdict == "ok") return 0;
  std::fprintf(stderr, "corvex-driverctl: %s\n",
               verdict.empty() ? "no answer from the driver" : verdict.c_str());
  return 1;
}
