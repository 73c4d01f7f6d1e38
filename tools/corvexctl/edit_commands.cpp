#include "tools/corvexctl/edit_commands.h"

#include <cstdio>
#include <optional>

#include "driver/app_requests.h"
#include "tools/corvexctl/agent_events.h"
#include "tools/corvexctl/command_words.h"
#include "tools/corvexctl/default_responses.h"
#include "tools/corvexctl/driver_edit.h"
#include "tools/corvexctl/response_text.h"

namespace cx::corvexctl {
namespace {

struct EditTarget {
  std::string app;  // empty: the global set
  uint8_t button = 0;
  uint8_t mods = 0;
};

// Every other word is a button, a kind or a value.
bool is_option(const std::string& word) {
  return word.starts_with("--");
}

bool take_value(const std::string& command, const std::vector<std::string>& args, size_t* i,
                std::string* value) {
  if (*i + 1 >= args.size()) {
    usage_error(command, args[*i] + " needs a value");
    return false;
  }
  *value = args[++*i];
  return true;
}

bool check_target(const std::string& command, const EditTarget& target) {
  if (!valid_app_key(command, target.app)) return false;
  if (!is_global_app(target.app) && is_preset_button(target.button)) {
    usage_error(command,
                button_key(target.button) + " belongs to every application; leave out --app");
    return false;
  }
  return true;
}

// Selects the target's set, creating it when `create` (and telling so in
// `created`); the exit status.
int select_target(const std::string& command, const std::string& app, bool create, bool* created) {
  *created = false;
  AppSetName chosen;
  const std::vector<AppSetName> sets = listed_app_sets();
  if (is_global_app(app)) {
    // The global set: an empty key and name.
  } else if (const AppSetName* found = find_app_set(sets, app)) {
    chosen = *found;
  } else if (create) {
    chosen = {app, app};
    *created = true;
  } else {
    std::vector<std::string> keys;
    for (const AppSetName& set : sets) keys.push_back(set.key);
    return usage_error(command, "no application set '" + app + "'; the driver has: " +
                                    (keys.empty() ? std::string("none") : word_list(keys)));
  }
  return select_app_set(chosen) ? kExitOk : kExitFailed;
}

// A new set starts as the read pass makes one that the user has not
// changed: every button with its default response.
std::vector<ButtonResponse> new_set_responses(const ButtonResponse& bound) {
  std::vector<ButtonResponse> responses;
  for (const uint8_t button : application_buttons()) {
    if (button == bound.button && bound.mods == 0) continue;
    if (auto response = default_response(button)) responses.push_back({button, 0, response});
  }
  responses.push_back(bound);
  return responses;
}

// After an edit: the agent saves, or the user learns that nothing was saved.
int save_after_edit(uint8_t mods) {
  const int rc = save_preferences(true);
  if (rc == kExitNotRunning) {
    std::fprintf(stderr,
                 "corvexctl: the agent (VCVX) is not running: the driver holds the change, "
                 "nothing was saved\n");
  } else if (rc == kExitOk && mods != 0) {
    std::fprintf(stderr,
                 "corvexctl: saved; responses under modifier keys stay in the driver only, the "
                 "preference file keeps those without\n");
  }
  return rc;
}

int edit(const std::string& command, const EditTarget& target, bool create,
         std::shared_ptr<const plist::Dictionary> response) {
  {
    ControlPanelMode mode;
    if (!mode.ok()) return kExitFailed;
    bool created = false;
    if (const int rc = select_target(command, target.app, create, &created); rc != kExitOk)
      return rc;
    const ButtonResponse bound{target.button, target.mods, std::move(response)};
    if (!send_responses(created ? new_set_responses(bound) : std::vector{bound}))
      return kExitFailed;
    if (created && !send_scrolling(default_scrolling())) return kExitFailed;
  }  // the agent's save needs control-panel mode itself
  const std::string where = is_global_app(target.app) ? "the global set" : target.app;
  const std::string mods = target.mods == 0 ? "" : mods_text(target.mods) + "+";
  std::printf("%s %s%s in %s\n", command == "bind" ? "bound" : "restored the default of",
              mods.c_str(), button_key(target.button).c_str(), where.c_str());
  std::fflush(stdout);
  return save_after_edit(target.mods);
}

}  // namespace

int run_bind(const std::vector<std::string>& args) {
  const std::string command = "bind";
  EditTarget target;
  ResponseWords words;
  // A --label after an --entry names that entry.
  const auto current = [&]() -> ResponseWords& {
    return words.entries.empty() ? words : words.entries.back();
  };
  std::vector<std::string> positional;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& word = args[i];
    std::string value;
    if (!is_option(word)) {
      if (!words.entries.empty())
        current().value.push_back(word);
      else
        positional.push_back(word);
      continue;
    }
    if (word != "--app" && word != "--mods" && word != "--label" && word != "--entry")
      return usage_error(
          command, "unknown option '" + word + "'; accepted: --app, --mods, --label, --entry");
    if (!take_value(command, args, &i, &value)) return kExitUsage;
    if (word == "--app") {
      target.app = value;
    } else if (word == "--mods") {
      const auto mods = parse_mods(command, value);
      if (!mods) return kExitUsage;
      target.mods = *mods;
    } else if (word == "--label") {
      current().label = value;
    } else {
      words.entries.emplace_back().kind = value;
    }
  }
  if (positional.size() < 2)
    return usage_error(command, "needs BUTTON KIND [VALUE...]; see corvexctl bind --help");
  const auto button = parse_button(command, positional[0]);
  if (!button) return kExitUsage;
  target.button = *button;
  words.kind = positional[1];
  words.value.assign(positional.begin() + 2, positional.end());
  if (!check_target(command, target)) return kExitUsage;
  std::string error;
  auto response = response_dictionary(words, &error);
  if (!response) return usage_error(command, error);
  return edit(command, target, true, response);
}

int run_unbind(const std::vector<std::string>& args) {
  const std::string command = "unbind";
  EditTarget target;
  std::vector<std::string> positional;
  for (size_t i = 0; i < args.size(); ++i) {
    if (!is_option(args[i])) {
      positional.push_back(args[i]);
      continue;
    }
    if (args[i] != "--app")
      return usage_error(command, "unknown option '" + args[i] + "'; accepted: --app");
    if (!take_value(command, args, &i, &target.app)) return kExitUsage;
  }
  if (positional.size() != 1) return usage_error(command, "needs exactly one BUTTON");
  const auto button = parse_button(command, positional[0]);
  if (!button) return kExitUsage;
  target.button = *button;
  if (!check_target(command, target)) return kExitUsage;
  auto response = default_response(target.button);
  if (!response) {
    std::fprintf(stderr, "corvexctl unbind: the default preferences have no response for %s\n",
                 positional[0].c_str());
    return kExitFailed;
  }
  return edit(command, target, false, response);
}

int run_app(const std::vector<std::string>& args) {
  const std::string command = "app";
  if (args.size() != 2 || args[0] != "remove")
    return usage_error(command, "accepted: app remove NAME");
  const std::string& app = args[1];
  if (is_global_app(app)) return usage_error(command, "the global set (Default) cannot be removed");
  {
    ControlPanelMode mode;
    if (!mode.ok()) return kExitFailed;
    const std::vector<AppSetName> sets = listed_app_sets();
    const AppSetName* set = find_app_set(sets, app);
    if (!set || is_global_app(set->key)) {
      std::vector<std::string> keys;
      for (const AppSetName& s : sets)
        if (!is_global_app(s.key)) keys.push_back(s.key);
      return usage_error(command, "no application set '" + app + "'; accepted: " +
                                      (keys.empty() ? std::string("none") : word_list(keys)));
    }
    if (DeleteAppName(set->key.c_str()) <= 0) {
      std::fprintf(stderr, "corvexctl app: the driver refused to remove '%s'\n", app.c_str());
      return kExitFailed;
    }
  }
  std::printf("removed the application set %s\n", app.c_str());
  std::fflush(stdout);
  return save_after_edit(0);
}

}  // namespace cx::corvexctl
