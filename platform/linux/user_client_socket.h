// The Linux backend of the user-client service: each service is a Unix
// socket in the service directory.
#pragma once

#include <memory>
#include <string>

#include "platform/user_client.h"

namespace cx::platform {

// $CORVEX_IOKIT_DIR, or /run/corvex/iokit when it is unset or empty.
std::string service_directory();

// Services in `directory`; an empty one means service_directory() at each call.
std::unique_ptr<UserClientService> make_socket_user_client_service(std::string directory = {});

}  // namespace cx::platform
