#include "platform/linux/user_client_socket.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "platform/linux/uc_frame.h"
#include "platform/linux/user_client_connection.h"
#include "platform/linux/user_client_interest.h"
#include "platform/linux/user_client_io.h"

namespace cx::platform {
namespace {

bool valid_service_name(const std::string& name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
}

class SocketService final : public UserClientService {
 public:
  explicit SocketService(std::string directory) : directory_(std::move(directory)) {}

  kern_return_t matching_services(std::string_view class_name,
                                  std::vector<std::string>& services) override {
    services.clear();
    if (class_name.empty()) return kIOReturnBadArgument;
    std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(directory().c_str()), closedir);
    if (!dir) return errno == ENOENT ? kIOReturnSuccess : kIOReturnError;
    while (const dirent* entry = readdir(dir.get())) {
      const std::string_view name(entry->d_name);
      if (name.starts_with(class_name) &&
          (name.size() == class_name.size() || name[class_name.size()] == '.')) {
        services.emplace_back(name);
      }
    }
    std::sort(services.begin(), services.end());  // byte order: char_traits compares unsigned
    return kIOReturnSuccess;
  }

  kern_return_t open(const std::string& service,
                     std::unique_ptr<UserClientConnection>& connection) override {
    UniqueFd fd;
    const kern_return_t kr = greet(service, uc::kKindUserClient, fd);
    if (kr == kIOReturnSuccess) connection = std::make_unique<uc::SocketConnection>(std::move(fd));
    return kr;
  }

  kern_return_t open_interest(const std::string& service,
                              std::unique_ptr<InterestNotifier>& notifier) override {
    UniqueFd fd;
    const kern_return_t kr = greet(service, uc::kKindInterest, fd);
    if (kr == kIOReturnSuccess) notifier = std::make_unique<uc::SocketNotifier>(std::move(fd));
    return kr;
  }

 private:
  std::string directory() const { return directory_.empty() ? service_directory() : directory_; }

  kern_return_t greet(const std::string& service, uint32_t kind, UniqueFd& out) {
    if (!valid_service_name(service)) return kIOReturnBadArgument;
    UniqueFd fd = uc::connect_socket(directory() + "/" + service);
    if (!fd) return kIOReturnNoDevice;
    uint8_t hello[uc::kHelloSize];
    iovec iov{hello, uc::encode_hello(hello, kind)};
    if (!uc::send_all(fd.get(), &iov, 1)) return kIOReturnNoDevice;
    // Exactly the reply's size: notifications may follow it at once.
    uint8_t reply[uc::kStatusReplySize];
    std::span<const uint8_t> frame;
    switch (uc::receive_reply(fd.get(), reply, uc::kOpHello | uc::kReplyBit, frame)) {
      case uc::ReplyStatus::Ok:
        break;
      case uc::ReplyStatus::PeerGone:
        return kIOReturnNoDevice;
      case uc::ReplyStatus::Malformed:
        return kIOReturnError;
    }
    int32_t kr = kIOReturnError;
    if (!uc::decode_status_reply(frame, kr)) return kIOReturnError;
    if (kr == kIOReturnSuccess) out = std::move(fd);
    return kr;
  }

  std::string directory_;
};

SocketService g_machine_service{std::string()};
UserClientService* g_service = &g_machine_service;

}  // namespace

std::string service_directory() {
  const char* dir = std::getenv("CORVEX_IOKIT_DIR");
  return dir && *dir ? dir : "/run/corvex/iokit";
}

std::unique_ptr<UserClientService> make_socket_user_client_service(std::string directory) {
  return std::make_unique<SocketService>(std::move(directory));
}

UserClientService& user_client_service() {
  return *g_service;
}
void set_user_client_service(UserClientService* s) {
  g_service = s ? s : &g_machine_service;
}

}  // namespace cx::platform
