// corvex-background: the per-user agent. No command line; it is configured
// by its bundle, its preference domains and the environment overrides.
#include <cstdio>
#include <memory>

#include "agent/lifecycle.h"
#include "agent/quit_on_signal.h"
#include "platform/apple_events.h"
#include "platform/bundles.h"
#include "platform/event_loop.h"
#include "platform/processes.h"

int main(int, char**) {
  using namespace cx;
  // Bus participants carry their signatures into the process list.
  platform::set_signature_directory(&platform::participant_directory());

  std::unique_ptr<platform::NibReference> nib;
  int status = platform::create_nib_reference(platform::main_bundle(), "CXBackGroundApp", nib);
  if (status != 0) {
    std::fprintf(stderr, "Corvex Background: no interface file CXBackGroundApp in %s\n",
                 platform::main_bundle().path().c_str());
    return status;
  }
  status = platform::set_menu_bar_from_nib(*nib, "MenuBar");
  if (status == 0) {
    status = setup_backgroundapp();
    if (status == 0) {
      const quit_on_signal signals;
      platform::event_loop().run();
    }
    cleanup_backgroundapp();
  }
  return status;
}
