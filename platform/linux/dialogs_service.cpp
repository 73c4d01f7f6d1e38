// The dialogs come from the desktop helper bundle, loaded at the first
// dialog, so that an agent that never shows one never maps GTK.
#include <memory>

#include "platform/dialogs.h"
#include "platform/linux/desktop_ui_helper.h"

namespace cx::platform {
namespace {

class BundledDialogs final : public Dialogs {
 public:
  std::unique_ptr<DialogWindow> open_capture_notice(const CaptureNotice& notice) override {
    Dialogs* helper = load();
    return helper != nullptr ? helper->open_capture_notice(notice) : nullptr;
  }

 private:
  static Dialogs* load() {
    static Dialogs* const helper = [] {
      const auto entry = reinterpret_cast<DesktopUIDialogs>(desktop_ui_entry(kDesktopUIDialogs));
      return entry ? entry() : nullptr;
    }();
    return helper;
  }
};

Dialogs* g_installed = nullptr;

}  // namespace

Dialogs& dialogs() {
  if (g_installed != nullptr) return *g_installed;
  static BundledDialogs desktop;
  return desktop;
}

void set_dialogs(Dialogs* d) {
  g_installed = d;
}

}  // namespace cx::platform
