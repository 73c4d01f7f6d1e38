#include "tools/corvexctl/show_command.h"

#include <cstdio>

#include "driver/data_requests.h"
#include "model/response_block.h"
#include "responses/notation_tables.h"
#include "responses/resp_work.h"
#include "tools/corvexctl/agent_events.h"
#include "tools/corvexctl/command_words.h"
#include "tools/corvexctl/driver_edit.h"
#include "tools/corvexctl/response_text.h"
#include "tools/corvexctl/saved_plist.h"

namespace cx::corvexctl {
namespace {

// Driver records: acceleration levels (global 2), chording speed (global 9).
constexpr int16_t kAccelerationRecord = 2;
constexpr size_t kAccelerationSize = 5;
constexpr int16_t kChordingRecord = 9;
constexpr size_t kChordingSize = 4;
constexpr const char* kLevelNames[kAccelerationSize] = {"Tball2", "Mouse4", "Tball4", "Mouse8",
                                                        "Tball8"};

std::string value_text(const ResponseWords& w) {
  std::string text;
  for (const std::string& word : w.value) text += (text.empty() ? "" : " ") + shell_word(word);
  if (w.label) text += (text.empty() ? "" : "  ") + std::string("label ") + shell_word(*w.label);
  if (w.flags) text += "  flags " + *w.flags;
  return text;
}

void print_response(const std::string& name, const ResponseWords& w) {
  std::printf("  %-16s %-17s %s\n", name.c_str(), w.kind.c_str(), value_text(w).c_str());
  for (size_t i = 0; i < w.entries.size(); ++i) {
    const ResponseWords& entry = w.entries[i];
    std::printf("      %-3zu %-17s %s\n", i + 1, entry.kind.c_str(), value_text(entry).c_str());
  }
}

// Every combination of the named modifier keys, none first.
std::vector<uint8_t> modifier_combinations() {
  std::vector<uint8_t> all{0};
  for (const auto& row : modifiers_table) {
    const size_t n = all.size();
    for (size_t i = 0; i < n; ++i) all.push_back(static_cast<uint8_t>(all[i] | row.bit));
  }
  return all;
}

void print_buttons(bool global) {
  for (const uint8_t mods : modifier_combinations()) {
    const std::vector<uint8_t> run = fetch_responses(mods);
    resp_work work;
    if (run.empty() || !start_resp_read(&work, run.data(), static_cast<int32_t>(run.size())))
      continue;
    while (work.remaining > 0) {
      const uint8_t button = work.header[response_header::button_id];
      std::shared_ptr<plist::Dictionary> dict;
      put_resp_data(&work, &dict, nullptr);
      const std::string prefix = mods == 0 ? "" : mods_text(mods) + "+";
      if (dict && (global || !is_preset_button(button)))
        print_response(prefix + button_key(button), response_words(*dict));
      if (work.remaining <= 0 || !start_resp_read(&work, work.read_pos, work.remaining)) break;
    }
  }
}

void print_scrolling() {
  const std::optional<ScrollingRecord> record = fetch_scrolling();
  if (!record) return;
  const uint16_t flags = scrolling_flags(*record);
  std::printf("  scrolling: speed %u, clockwise is up %s, swap axes %s\n", unsigned{(*record)[0]},
              (flags & kClockwiseIsUp) ? "yes" : "no", (flags & kSwapAxes) ? "yes" : "no");
}

bool print_set(const AppSetName& set) {
  if (!select_app_set(set)) return false;
  const bool global = is_global_app(set.key);
  if (global)
    std::printf("Default (global set)\n");
  else
    std::printf("%s (application set, name %s)\n", set.key.c_str(), shell_word(set.name).c_str());
  print_buttons(global);
  print_scrolling();
  return true;
}

void print_system_wide() {
  uint8_t levels[kAccelerationSize] = {};
  if (CXAccessGlobalData(kAccelerationRecord, kDataModeRead, levels, kAccelerationSize) > 0) {
    std::printf("acceleration:");
    for (size_t i = 0; i < kAccelerationSize; ++i)
      std::printf("%s %s %u", i == 0 ? "" : ",", kLevelNames[i], unsigned{levels[i]});
    std::printf("\n");
  }
  uint8_t chording[kChordingSize] = {};
  if (CXAccessGlobalData(kChordingRecord, kDataModeRead, chording, kChordingSize) > 0)
    std::printf("chording speed: %d\n", static_cast<int16_t>(chording[0] << 8 | chording[1]));
}

}  // namespace

int run_show(const std::vector<std::string>& args) {
  const std::string command = "show";
  bool as_plist = false;
  std::optional<std::string> app;
  for (const std::string& word : args) {
    if (word == "--plist") {
      as_plist = true;
    } else if (word.starts_with("--")) {
      return usage_error(command, "unknown option '" + word + "'; accepted: --plist");
    } else if (app) {
      return usage_error(command, "takes at most one APP");
    } else {
      app = word;
    }
  }
  if (as_plist) {
    if (app) return usage_error(command, "--plist prints every set; leave out APP");
    return print_saved_plist();
  }
  ControlPanelMode mode;
  if (!mode.ok()) return kExitFailed;
  const std::vector<AppSetName> sets = listed_app_sets();
  if (app && !is_global_app(*app)) {
    const AppSetName* set = find_app_set(sets, *app);
    if (!set) {
      std::vector<std::string> keys{"Default"};
      for (const AppSetName& s : sets)
        if (!is_global_app(s.key)) keys.push_back(s.key);
      return usage_error(command,
                         "no application set '" + *app + "'; accepted: " + word_list(keys));
    }
    return print_set(*set) ? kExitOk : kExitFailed;
  }
  if (!print_set({"", ""})) return kExitFailed;
  if (!app) {
    for (const AppSetName& set : sets)
      if (!is_global_app(set.key) && !print_set(set)) return kExitFailed;
  }
  print_system_wide();
  return kExitOk;
}

}  // namespace cx::corvexctl
