#include "tools/corvexctl/agent_events.h"

#include <cstdio>
#include <string>

namespace cx::corvexctl {

using namespace platform;

namespace {

constexpr OSType kAgent = fourcc("VCVX");

}  // namespace

bool agent_running() {
  ProcessSerialNumber agent{};
  return apple_events().find_process_by_signature(kAgent, agent) == noErr;
}

int ask_agent(OSType event_class, OSType event_id, const AppleEvent::Parameter* param,
              AppleEvent& reply) {
  AppleEventService& events = apple_events();
  const std::string name = fourcc_text(event_id);
  ProcessSerialNumber agent{};
  if (events.find_process_by_signature(kAgent, agent) != noErr) {
    std::fprintf(stderr, "corvexctl: the agent (VCVX) is not running (-600)\n");
    return kExitNotRunning;
  }
  AppleEvent event(event_class, event_id, make_psn_desc(agent));
  if (param != nullptr) event.put_param(param->first, param->second);
  const OSErr err = events.send(event, &reply, AESendMode::wait_reply, kAEDefaultTimeout);
  switch (err) {
    case noErr:
      break;
    case procNotFound:
      std::fprintf(stderr, "corvexctl: the agent (VCVX) is not running (-600)\n");
      return kExitNotRunning;
    case connectionInvalid:
      std::fprintf(stderr, "corvexctl: the agent went away before answering '%s' (-609)\n",
                   name.c_str());
      return kExitFailed;
    case errAETimeout:
      std::fprintf(stderr, "corvexctl: the agent did not answer '%s' in time (-1712)\n",
                   name.c_str());
      return kExitFailed;
    default:
      std::fprintf(stderr, "corvexctl: sending '%s' failed (%d)\n", name.c_str(), err);
      return kExitFailed;
  }
  int32_t handler_err = 0;
  if (reply.get_long(keyErrorNumber, handler_err) == noErr && handler_err != 0) {
    if (handler_err == errAEEventNotHandled) {
      std::fprintf(stderr, "corvexctl: the agent does not handle '%s' (-1708)\n", name.c_str());
    } else {
      std::fprintf(stderr, "corvexctl: the agent answered '%s' with error %d\n", name.c_str(),
                   handler_err);
    }
    return kExitFailed;
  }
  return kExitOk;
}

bool direct_shor(const AppleEvent& reply, OSType event_id, int16_t& value) {
  if (reply.get_shor(keyDirectObject, value) == noErr) return true;
  std::fprintf(stderr, "corvexctl: the reply to '%s' has no 16-bit result\n",
               fourcc_text(event_id).c_str());
  return false;
}

int save_preferences(bool quiet_absent) {
  if (quiet_absent && !agent_running()) return kExitNotRunning;
  AppleEvent reply;
  int16_t result = 0;
  if (const int rc = ask_agent(kSuite, fourcc("wprf"), nullptr, reply); rc != kExitOk) return rc;
  if (!direct_shor(reply, fourcc("wprf"), result)) return kExitFailed;
  if (result == kAgentDone) return kExitOk;
  std::fprintf(stderr, "corvexctl: the agent did not save the preference file (wprf answered %d)\n",
               result);
  return kExitFailed;
}

}  // namespace cx::corvexctl
