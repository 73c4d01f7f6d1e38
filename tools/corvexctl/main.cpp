// corvexctl: a command-line control panel for the Corvex agent (`VCVX`),
// speaking its Apple events over the session bus, and editing the driver's
// button settings as the control panel does.
#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "platform/apple_events.h"
#include "tools/corvexctl/agent_events.h"
#include "tools/corvexctl/edit_commands.h"
#include "tools/corvexctl/help_text.h"
#include "tools/corvexctl/monitor.h"
#include "tools/corvexctl/mouse_info.h"
#include "tools/corvexctl/response_text.h"
#include "tools/corvexctl/show_command.h"

namespace {

using namespace cx::platform;
using namespace cx::corvexctl;

constexpr OSType kDataParam = fourcc("data");
constexpr OSType kMouseInfoParam = fourcc("mous");

// The `data` values of `rdpf`.
constexpr int16_t kRestoreButtons = 1;
constexpr int16_t kRestoreAcceleration = 2;

int usage() {
  std::fputs(kOverview.data(), stderr);
  return kExitUsage;
}

int status() {
  AppleEvent reply;
  int16_t active = 0;
  if (const int rc = ask_agent(kSuite, fourcc("gbac"), nullptr, reply); rc != kExitOk) return rc;
  if (!direct_shor(reply, fourcc("gbac"), active)) return kExitFailed;
  std::printf("%s\n", active != 0 ? "active" : "inactive");
  return kExitOk;
}

// wprf and rdpf: prints the agent's 16-bit result, 1 when it saved or
// restored; fails otherwise.
int result_command(OSType event_id, const AppleEvent::Parameter* param, const char* label) {
  AppleEvent reply;
  int16_t result = 0;
  if (const int rc = ask_agent(kSuite, event_id, param, reply); rc != kExitOk) return rc;
  if (!direct_shor(reply, event_id, result)) return kExitFailed;
  std::printf("%s: %d\n", label, result);
  return result == kAgentDone ? kExitOk : kExitFailed;
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
      !format_mouse_info(record.data, text)) {
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

constexpr std::string_view kCommands[] = {"status",     "save",   "restore", "mouse-info",
                                          "menu-extra", "quit",   "monitor", "show",
                                          "bind",       "unbind", "app"};

bool is_help(std::string_view word) {
  return word == "--help" || word == "-h" || word == "help";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return usage();
  const std::string_view command = argv[1];
  const std::vector<std::string> args(argv + 2, argv + argc);
  if (is_help(command)) {
    const std::string_view help = args.size() == 1 ? command_help(args[0]) : kOverview;
    if (help.empty()) return usage();
    std::fputs(help.data(), stdout);
    return kExitOk;
  }
  if (args.size() == 1 && is_help(args[0]) && !command_help(command).empty()) {
    std::fputs(command_help(command).data(), stdout);
    return kExitOk;
  }
  if (std::ranges::find(kCommands, command) == std::end(kCommands)) {
    std::fprintf(stderr, "corvexctl: unknown command '%s'; accepted: %s\n", argv[1],
                 word_list(kCommands).c_str());
    return kExitUsage;
  }
  if (command == "bind") return run_bind(args);
  if (command == "unbind") return run_unbind(args);
  if (command == "app") return run_app(args);
  if (command == "show") return run_show(args);
  const bool no_arg = args.empty();
  const bool one_arg = args.size() == 1;
  if (command == "status" && no_arg) return status();
  if (command == "save" && no_arg) return result_command(fourcc("wprf"), nullptr, "save result");
  if (command == "restore" && one_arg) return restore(args[0]);
  if (command == "mouse-info" && no_arg) return mouse_info();
  if (command == "menu-extra" && one_arg) return menu_extra(args[0]);
  if (command == "quit" && no_arg) return quit();
  if (command == "monitor" && args.size() <= 1) {
    const std::string_view option = one_arg ? std::string_view(args[0]) : "--no-save";
    if (option != "--save" && option != "--no-save") return usage();
    return run_monitor(option == "--save");
  }
  return usage();
}
