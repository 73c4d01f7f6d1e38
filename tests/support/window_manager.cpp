#include "tests/support/window_manager.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

extern char** environ;

namespace cx::test {
namespace {

bool manages_screen(const std::string& display) {
  xcb_connection_t* c = xcb_connect(display.c_str(), nullptr);
  const std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t*)> owner(c, xcb_disconnect);
  if (xcb_connection_has_error(c)) return false;
  constexpr char kName[] = "_NET_SUPPORTING_WM_CHECK";
  const std::unique_ptr<xcb_intern_atom_reply_t, void (*)(void*)> atom(
      xcb_intern_atom_reply(c, xcb_intern_atom(c, 1, sizeof kName - 1, kName), nullptr), std::free);
  if (!atom || atom->atom == XCB_ATOM_NONE) return false;
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
  const std::unique_ptr<xcb_get_property_reply_t, void (*)(void*)> property(
      xcb_get_property_reply(c, xcb_get_property(c, 0, root, atom->atom, XCB_ATOM_WINDOW, 0, 1),
                             nullptr),
      std::free);
  return property && xcb_get_property_value_length(property.get()) == 4;
}

}  // namespace

WindowManager::WindowManager(const std::string& display) {
  if (display.empty()) return;
  std::vector<std::string> env{"DISPLAY=" + display};
  for (char** e = environ; *e; ++e)
    if (std::string_view(*e).substr(0, 8) != "DISPLAY=") env.emplace_back(*e);
  std::vector<char*> envp;
  for (auto& e : env) envp.push_back(e.data());
  envp.push_back(nullptr);
  const char* argv[] = {"openbox", "--sm-disable", nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  const int rc =
      posix_spawnp(&pid_, "openbox", &actions, nullptr, const_cast<char**>(argv), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  if (rc != 0) {
    pid_ = -1;
    return;
  }
  for (int i = 0; i < 200 && !running_; ++i) {
    running_ = manages_screen(display);
    if (!running_) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

WindowManager::~WindowManager() {
  if (pid_ <= 0) return;
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
}

}  // namespace cx::test
