// The dialogs come from the helper bundle "CXDialogs", loaded at the first
// dialog, so that an agent that never shows one never maps GTK.
#include <cstdio>
#include <memory>
#include <string>

#include "platform/bundles.h"
#include "platform/dialogs.h"

namespace cx::platform {
namespace {

class BundledDialogs final : public Dialogs {
 public:
  std::unique_ptr<DialogWindow> open_capture_notice(const CaptureNotice& notice) override {
    Dialogs* helper = load();
    return helper != nullptr ? helper->open_capture_notice(notice) : nullptr;
  }

 private:
  Dialogs* load() {
    if (tried_) return helper_;
    tried_ = true;
    std::string error = "no helper bundle";
    const auto path = main_bundle().resource_path("CXDialogs", "bundle");
    const std::unique_ptr<Bundle> bundle = path ? Bundle::open(*path) : nullptr;
    if (bundle) code_ = bundle->load_executable(error);
    using Create = Dialogs* (*)();
    const auto create =
        code_ ? reinterpret_cast<Create>(code_->function("CXDialogsCreate")) : nullptr;
    if (create != nullptr) {
      helper_ = create();
    } else {
      std::fprintf(stderr, "Corvex Background: no dialogs (CXDialogs: %s)\n", error.c_str());
    }
    return helper_;
  }

  bool tried_ = false;
  // Kept loaded for the process's life: the helper's objects live in it.
  std::unique_ptr<LoadedExecutable> code_;
  Dialogs* helper_ = nullptr;
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
