#include "agent/fast_user_switch.h"

#include <unistd.h>

#include <memory>
#include <string>

#include "agent/agent_callbacks.h"
#include "agent/agent_state.h"
#include "diag/diag_timestamp.h"
#include "diag/diag_writers.h"
#include "platform/bundles.h"
#include "platform/fast_user_switch_api.h"
#include "platform/system_version.h"

namespace cx {
namespace {

// 10.3, the first system with fast user switching, is above this.
constexpr int32_t kLastVersionWithoutSwitching = 0x102F;

}  // namespace

void learn_user_session() {
  int32_t version = 0;
  if (platform::Gestalt(platform::kGestaltSystemVersion, &version) != 0 ||
      (version & 0xFFFF) <= kLastVersionWithoutSwitching)
    return;

  const auto path = platform::main_bundle().resource_path("FastUserSwitch", "bundle");
  if (!path) return;
  const std::unique_ptr<platform::Bundle> helper = platform::Bundle::open(*path);
  if (!helper) return;
  std::string error;
  // Unloaded when this returns: the helper keeps what it registered.
  const std::unique_ptr<platform::LoadedExecutable> code = helper->load_executable(error);
  if (!code) return;
  const auto register_notifications = reinterpret_cast<CXRegisterUserSwitchNotifications>(
      code->function("RegisterUserSwitchNotifications"));
  const auto session_info =
      reinterpret_cast<CXGetUserSessionInfo>(code->function("GetUserSessionInfo"));
  if (register_notifications == nullptr || session_info == nullptr) return;

  uint32_t uid = 0;
  uint8_t is_active = 0;
  if (session_info(&uid, &is_active) != 0) return;
  background_uid = uid;
  user_session_active = is_active != 0 ? 1 : 0;
  register_notifications(agent_routines.session_activated, agent_routines.session_deactivated);
  diag_printf("%s:Corvex Background - UID = %ld, user session is %s, getuid() is %ld\n",
              timestamp(), static_cast<long>(background_uid),
              user_session_active ? "active" : "inactive", static_cast<long>(getuid()));
}

}  // namespace cx
