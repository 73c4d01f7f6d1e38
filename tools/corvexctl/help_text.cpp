#include "tools/corvexctl/help_text.h"

#include <array>

namespace cx::corvexctl {
namespace {

struct CommandHelp {
  std::string_view command;
  std::string_view text;
};

constexpr std::array<CommandHelp, 11> kCommands = {{
    {"status",
     "usage: corvexctl status\nPrints whether the agent is active in this session (gbac).\n"},
    {"save", "usage: corvexctl save\nAsks the agent to write the preference file now (wprf).\n"},
    {"restore",
     "usage: corvexctl restore buttons|acceleration\n"
     "Asks the agent to restore the default buttons (data 1) or acceleration (data 2) (rdpf).\n"},
    {"mouse-info", "usage: corvexctl mouse-info\nPrints the driver's mouse information (minf).\n"},
    {"menu-extra",
     "usage: corvexctl menu-extra show|hide\nShows or hides the menu-bar extra (mnex).\n"},
    {"quit", "usage: corvexctl quit\nQuits the agent (aevt/quit).\n"},
    {"monitor",
     "usage: corvexctl monitor [--save|--no-save]\n"
     "Acts as the control panel VCXT: prints what the agent sends and answers its save\n"
     "question (bdac) with 1 (--save) or 0 (--no-save, the default).\n"},
    {"show",
     "usage: corvexctl show [APP] [--plist]\n"
     "Prints the button settings as the driver holds them: the global set (Default) first, then\n"
     "every application set (or only APP), one line per response:\n"
     "  [MODS+]BUTTON  KIND  VALUE...  [label LABEL]  [flags FLAGS]\n"
     "with menu entries numbered below their button; then each set's scrolling, the\n"
     "acceleration levels and the chording speed. VALUE is written as bind takes it.\n"
     "--plist prints the \"CXPrefData\" property list that a save would write now.\n"},
    {"bind",
     "usage: corvexctl bind [--app APP] [--mods MODS] [--label LABEL]\n"
     "                      BUTTON KIND [VALUE...] [--entry KIND [VALUE...] [--label L]]...\n"
     "Gives BUTTON a new response in the global set, or in APP's set (made when missing), under\n"
     "the modifier keys MODS (Shift, Cmd, Ctrl, Option, CapsLock, Hard joined with +), then asks\n"
     "the agent to save. Without an agent the driver keeps the change and nothing is saved.\n"
     "KIND and VALUE:\n"
     "  StandardResponse NAME   Click, RightClick, DoubleClick, Drag, ApplicationMenu,\n"
     "                          MouseScroll, ScrollUp, ScrollDown, HomePage, ToggleHorzScroll,\n"
     "                          DoNothing\n"
     "  Keystrokes KEY...       keys typed in order, e.g. Cmd+W, Shift+Cmd+A, 'Page Up', F1\n"
     "  MoreClicks [MODS+]CLICK [Double] [Drag]\n"
     "                          CLICK: Click, RightClick, MiddleClick, Button4Click, Button5Click\n"
     "  LaunchURL URL           LaunchFile PATH|file://URI|<HEX>       PasteText TEXT\n"
     "  MenuResponse            entries follow as --entry KIND VALUE...; a --label after an\n"
     "                          --entry names that entry\n"
     "LABEL is the name shown for the response (default: the value). The flags follow from the\n"
     "kind (Global for the preset buttons).\n"
     "Responses under MODS stay in the driver only: the preference file keeps those without.\n"
     "BUTTON: LeftButton, RightButton, B3Button, B4Button, ChordButton, BackChordButton,\n"
     "WheelButton, ButtonID_6 ... ButtonID_16, PresetButton1 ... PresetButton6 (global only).\n"},
    {"unbind",
     "usage: corvexctl unbind [--app APP] BUTTON\n"
     "Gives BUTTON its default response again (in APP's set, which must exist) and asks the\n"
     "agent to save; the saved file then holds no entry of its own for BUTTON.\n"
     "BUTTON: LeftButton, RightButton, B3Button, B4Button, ChordButton, BackChordButton,\n"
     "WheelButton, ButtonID_6 ... ButtonID_16, PresetButton1 ... PresetButton6 (global only).\n"},
    {"app",
     "usage: corvexctl app remove APP\n"
     "Removes APP's application set from the driver and asks the agent to save.\n"},
}};

}  // namespace

const std::string_view kOverview =
    "usage: corvexctl COMMAND [ARGUMENTS]   (corvexctl COMMAND --help for one command)\n"
    "  status                        whether the agent is active in this session\n"
    "  save                          write the preference file now\n"
    "  restore buttons|acceleration  restore the default buttons or acceleration\n"
    "  mouse-info                    the driver's mouse information\n"
    "  menu-extra show|hide          show or hide the menu-bar extra\n"
    "  quit                          quit the agent\n"
    "  monitor [--save|--no-save]    act as the control panel, print what the agent sends\n"
    "  show [APP] [--plist]          the button settings the driver holds\n"
    "  bind [OPTIONS] BUTTON KIND [VALUE...]   give a button a new response, then save\n"
    "  unbind [--app APP] BUTTON     give a button its default response, then save\n"
    "  app remove APP                remove an application set, then save\n"
    "exit status: 0 done, 1 the agent is not running, 2 usage, 3 the request failed\n";

std::string_view command_help(std::string_view command) {
  for (const CommandHelp& help : kCommands)
    if (help.command == command) return help.text;
  return {};
}

}  // namespace cx::corvexctl
