// corvexctl: a command-line control panel for the Corvex agent (`VCVX`),
// speaking its Apple events over the session bus.
#include <cstdio>
#include <string>
#include <string_view>

#include "platform/apple_events.h"
#include "tools/corvexctl/monitor.h"
#include "tools/corvexctl/mouse_info.h"

namespace {

using namespace cx::platform;

constexpr OSType kSuite = fourcc("cxvx");
constexpr OSType kAgent = fourcc("VCVX");
constexpr OSType kDataParam = fourcc("data");
constexpr OSType kMouseInfoParam = fourcc("mous");

// The `data` values of `rdpf`.
constexpr int16_t kRestoreButtons = 1;
constexpr int16_t kRestoreAcceleration = 2;

// Exit statuses.
constexpr int kExitOk = 0;
constexpr int kExitNotRunning = 1;
constexpr int kExitUsage = 2;
constexpr int kExitFailed = 3;

constexpr char kUsage[] =
    "usage: corvexctl COMMAND\n"
    "  status                        whether the agent is active in this session (gbac)\n"
    "  save                          write the preference file now (wprf)\n"
    "  restore buttons|acceleration  restore the default buttons (data 1) or\n"
    "                                acceleration (data 2) (rdpf)\n"
    "  mouse-info                    the driver's mouse information (minf)\n"
    "  menu-extra show|hide          show or hide the menu-bar extra (mnex)\n"
    "  quit                          quit the agent (aevt/quit)\n"
    "  monitor [--save|--no-save]    act as the control panel VCXT: print what the agent\n"
    "                                sends, answer bdac 1 (--save) or 0 (--no-save, default)\n"
    "exit status: 0 done, 1 the agent is not running, 2 usage, 3 the event failed\n";

int usage() {
  std::fputs(kUsage, stderr);
  return kExitUsage;
}

// Sends `event_id` to the agent and waits for the reply; the exit status on failure, else 0.
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

// The reply's `----` as a 16-bit value, or a message and false.
bool direct_shor(const AppleEvent& reply, OSType event_id, int16_t& value) {
  if (reply.get_shor(keyDirectObject, value) == noErr) return true;
  std::fprintf(stderr, "corvexctl: the reply to '%s' has no 16-bit result\n",
               fourcc_text(event_id).c_str());
  return false;
}

int status() {
  AppleEvent reply;
  int16_t active = 0;
  if (const int rc = ask_agent(kSuite, fourcc("gbac"), nullptr, reply); rc != kExitOk) return rc;
  if (!direct_shor(reply, fourcc("gbac"), active)) return kExitFailed;
  std::printf("%s\n", active != 0 ? "active" : "inactive");
  return kExitOk;
}

// wprf and rdpf: prints the agent's 16-bit result; fails unless it is 0.
int result_command(OSType event_id, const AppleEvent::Parameter* param, const char* label) {
  AppleEvent reply;
  int16_t result = 0;
  if (const int rc = ask_agent(kSuite, event_id, param, reply); rc != kExitOk) return rc;
  if (!direct_shor(reply, event_id, result)) return kExitFailed;
  std::printf("%s: %d\n", label, result);
  // The agent answers 1 when it saved or restored, 0 when it did not.
  return result == 1 ? kExitOk : kExitFailed;
}

int restore(std::string_view what) {
  int16_t which = 0;
  if (what == "buttons") {
    which = kRestoreButtons;
  } else if (what == "acceleration") {
    which = kRestoreAcceleration;
  } else {
    return usage();
  }
  const AppleEvent::Parameter param{kDataParam, make_shor_desc(which)};
  return result_command(fourcc("rdpf"), &param, "restore result");
}

int mouse_info() {
  AppleEvent reply;
  if (const int rc = ask_agent(kSuite, fourcc("minf"), nullptr, reply); rc != kExitOk) return rc;
  AEDesc record;
  std::string text;
  if (reply.get_param(kMouseInfoParam, typeWildCard, record) != noErr ||
      !cx::corvexctl::format_mouse_info(record.data, text)) {
    std::fprintf(stderr, "corvexctl: the reply to 'minf' has no 180-byte mouse information\n");
    return kExitFailed;
  }
  std::fputs(text.c_str(), stdout);
  return kExitOk;
}

int menu_extra(std::string_view how) {
  if (how != "show" && how != "hide") return usage();
  const AppleEvent::Parameter param{kDataParam, make_shor_desc(how == "show" ? 1 : 0)};
  AppleEvent reply;
  return ask_agent(kSuite, fourcc("mnex"), &param, reply);
}

int quit() {
  AppleEvent reply;
  return ask_agent(kCoreEventClass, kAEQuitApplication, nullptr, reply);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return usage();
  const std::string_view command = argv[1];
  const bool one_arg = argc == 2;
  const bool two_args = argc == 3;
  if (command == "status" && one_arg) return status();
  if (command == "save" && one_arg) return result_command(fourcc("wprf"), nullptr, "save result");
  if (command == "restore" && two_args) return restore(argv[2]);
  if (command == "mouse-info" && one_arg) return mouse_info();
  if (command == "menu-extra" && two_args) return menu_extra(argv[2]);
  if (command == "quit" && one_arg) return quit();
  if (command == "monitor" && (one_arg || two_args)) {
    const std::string_view option = two_args ? argv[2] : "--no-save";
    if (option != "--save" && option != "--no-save") return usage();
    return cx::corvexctl::run_monitor(option == "--save");
  }
  if ((command == "help" || command == "--help" || command == "-h") && one_arg) {
    std::fputs(kUsage, stdout);
    return kExitOk;
  }
  return usage();
}
