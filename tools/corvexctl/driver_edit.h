// Editing the driver's settings as a control panel does: one connection in
// control-panel mode, one application set selected at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "plist/value.h"
#include "tools/corvexctl/scrolling_record.h"

namespace cx::corvexctl {

struct AppSetName {
  std::string key;
  std::string name;
};

// Connected and in control-panel mode for its lifetime; ok() is false after
// one line on standard error when the driver is missing or busy.
class ControlPanelMode {
 public:
  ControlPanelMode();
  ~ControlPanelMode();
  ControlPanelMode(const ControlPanelMode&) = delete;
  ControlPanelMode& operator=(const ControlPanelMode&) = delete;
  bool ok() const { return ok_; }

 private:
  bool ok_ = false;
};

// The application sets the driver lists, in its order; the global set is
// among them once named "Default".
std::vector<AppSetName> listed_app_sets();

// The listed set whose key, else whose name, is `app`.
const AppSetName* find_app_set(const std::vector<AppSetName>& sets, const std::string& app);

// Selects the set to edit; an empty key is the global set. False after a
// message.
bool select_app_set(const AppSetName& set);

// One response for the edited set, in the preference file's form.
struct ButtonResponse {
  uint8_t button = 0;
  uint8_t mods = 0;
  std::shared_ptr<const plist::Dictionary> response;
};

// Sends the responses as one run of response blocks; false after a message
// when one cannot be built or the driver refuses the run (it then keeps
// everything as it was).
bool send_responses(const std::vector<ButtonResponse>& responses);

// The edited set's scrolling record: sets it (false after a message), or
// fetches it (nothing when the driver gives none).
bool send_scrolling(ScrollingRecord record);
std::optional<ScrollingRecord> fetch_scrolling();

// The run of response blocks of every button under `mods` in the edited set
// (a copy: the reply buffer is reused by the next request).
std::vector<uint8_t> fetch_responses(uint8_t mods);

}  // namespace cx::corvexctl
