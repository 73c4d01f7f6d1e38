#include <memory>

#include "platform/clipboard.h"
#include "platform/linux/clipboard_x11.h"

namespace cx::platform {
namespace {

Clipboard* g_installed = nullptr;

}  // namespace

Clipboard& clipboard() {
  if (g_installed != nullptr) return *g_installed;
  // Connects on first use, so an agent that never pastes never touches X.
  static const std::unique_ptr<Clipboard> desktop = make_x11_clipboard();
  return *desktop;
}

void set_clipboard(Clipboard* c) {
  g_installed = c;
}

}  // namespace cx::platform
