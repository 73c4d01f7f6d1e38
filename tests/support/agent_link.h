// The agent's driver link pointed at the driver serving `dir`, for one scope:
// dropping it disconnects and unsets the platform's user-client service.
#pragma once

#include <memory>
#include <string>

#include "driver/driver_connection.h"
#include "platform/linux/user_client_socket.h"

namespace cx::test {

class AgentLink {
 public:
  explicit AgentLink(const std::string& dir)
      : service_(platform::make_socket_user_client_service(dir)) {
    platform::set_user_client_service(service_.get());
  }
  ~AgentLink() {
    DisconnectFromDriver();
    platform::set_user_client_service(nullptr);
  }
  AgentLink(const AgentLink&) = delete;
  AgentLink& operator=(const AgentLink&) = delete;

 private:
  std::unique_ptr<platform::UserClientService> service_;
};

}  // namespace cx::test
