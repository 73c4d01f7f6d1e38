// The agent's short-lived dialogs: windows it shows while the main thread
// waits, such as the notice that a button's menu gained a captured page.
#pragma once

#include <memory>
#include <string>

namespace cx::platform {

// An open dialog; closing it is dropping it.
class DialogWindow {
 public:
  virtual ~DialogWindow() = default;
  // Blocks for `ticks` (1/60 s) with the window kept up and drawn.
  virtual void pause(int ticks) = 0;
};

// The texts of the captured-page notice, ready to show.
struct CaptureNotice {
  std::string headline;
  std::string title;
  std::string url;
};

class Dialogs {
 public:
  virtual ~Dialogs() = default;
  // Shows the notice in front of every window; null when no window can be
  // shown (no display).
  virtual std::unique_ptr<DialogWindow> open_capture_notice(const CaptureNotice& notice) = 0;
};

// The process-wide service: the desktop's, unless a test installed another.
Dialogs& dialogs();
// Installs `d` (not owned; null restores the desktop's).
void set_dialogs(Dialogs* d);

}  // namespace cx::platform
