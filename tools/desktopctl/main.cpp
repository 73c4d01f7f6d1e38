// corvex-desktopctl: stands in for a window manager on a display that has
// none, as far as the agent's process service looks: "front NAME" maps no
// window but creates one that belongs to application NAME (WM_CLASS) and to
// this process (_NET_WM_PID), lists it in _NET_CLIENT_LIST and makes it the
// _NET_ACTIVE_WINDOW. The window outlives the tool, so the application stays
// in front (and in the process list) after it exits. "keys KEY..." plays the
// user's keyboard through XTest, for menus and dialogs the agent shows.
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

namespace {

constexpr const char* kUsage =
    "usage: corvex-desktopctl front NAME\n"
    "  front NAME   a new window of application NAME (WM_CLASS NAME, this process's\n"
    "               pid) becomes the active window; it stays when the tool exits\n"
    "       corvex-desktopctl keys KEY...\n"
    "  keys KEY...  presses and releases each key in turn: Home, Up, Down, Return, Escape\n"
    "The display is $DISPLAY; for front it must have no window manager of its own.\n";

struct KeyName {
  std::string_view name;
  xcb_keysym_t keysym;
};
constexpr KeyName kKeys[] = {
    {"Home", 0xff50}, {"Up", 0xff52}, {"Down", 0xff54}, {"Return", 0xff0d}, {"Escape", 0xff1b},
};

struct FreeDeleter {
  void operator()(void* p) const { std::free(p); }
};

struct Disconnect {
  void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
};
using Connection = std::unique_ptr<xcb_connection_t, Disconnect>;

xcb_atom_t intern(xcb_connection_t* c, std::string_view name) {
  const std::unique_ptr<xcb_intern_atom_reply_t, FreeDeleter> reply(xcb_intern_atom_reply(
      c, xcb_intern_atom(c, 0, static_cast<uint16_t>(name.size()), name.data()), nullptr));
  return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

int front(const std::string& name) {
  int screen_number = 0;
  const Connection conn(xcb_connect(nullptr, &screen_number));
  xcb_connection_t* c = conn.get();
  if (xcb_connection_has_error(c)) {
    std::fprintf(stderr, "corvex-desktopctl: cannot open the display\n");
    return 1;
  }
  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(c));
  for (int i = 0; i < screen_number && screens.rem > 0; ++i) xcb_screen_next(&screens);
  if (screens.rem == 0) {
    std::fprintf(stderr, "corvex-desktopctl: the display has no such screen\n");
    return 1;
  }
  const xcb_window_t root = screens.data->root;
  const xcb_atom_t clients = intern(c, "_NET_CLIENT_LIST");
  const xcb_atom_t active = intern(c, "_NET_ACTIVE_WINDOW");
  const xcb_atom_t wm_pid = intern(c, "_NET_WM_PID");
  if (clients == XCB_ATOM_NONE || active == XCB_ATOM_NONE || wm_pid == XCB_ATOM_NONE) {
    std::fprintf(stderr, "corvex-desktopctl: the display answers no atoms\n");
    return 1;
  }

  const xcb_window_t window = xcb_generate_id(c);
  xcb_create_window(c, XCB_COPY_FROM_PARENT, window, root, 0, 0, 1, 1, 0,
                    XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
  // WM_CLASS is "instance\0class\0"; both parts name the application.
  const std::string wm_class = name + '\0' + name + '\0';
  xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                      static_cast<uint32_t>(wm_class.size()), wm_class.data());
  xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                      static_cast<uint32_t>(name.size()), name.data());
  const auto pid = static_cast<uint32_t>(getpid());
  xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, wm_pid, XCB_ATOM_CARDINAL, 32, 1, &pid);
  // Appending is atomic in the server, so two tools running at once both get listed.
  xcb_change_property(c, XCB_PROP_MODE_APPEND, root, clients, XCB_ATOM_WINDOW, 32, 1, &window);
  xcb_change_property(c, XCB_PROP_MODE_REPLACE, root, active, XCB_ATOM_WINDOW, 32, 1, &window);
  xcb_set_close_down_mode(c, XCB_CLOSE_DOWN_RETAIN_PERMANENT);

  // A round trip: everything above has been applied (or has failed) when it returns.
  const std::unique_ptr<xcb_get_input_focus_reply_t, FreeDeleter> sync(
      xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
  bool failed = !sync || xcb_connection_has_error(c);
  while (xcb_generic_event_t* event = xcb_poll_for_event(c)) {
    if (event->response_type == 0) failed = true;  // an X error
    std::free(event);
  }
  if (failed) {
    std::fprintf(stderr, "corvex-desktopctl: the display refused the window\n");
    return 1;
  }
  return 0;
}

// The first keycode that types `keysym`, or 0.
xcb_keycode_t keycode_of(xcb_connection_t* c, xcb_keysym_t keysym) {
  const xcb_setup_t* setup = xcb_get_setup(c);
  const auto count = static_cast<uint8_t>(setup->max_keycode - setup->min_keycode + 1);
  const std::unique_ptr<xcb_get_keyboard_mapping_reply_t, FreeDeleter> map(
      xcb_get_keyboard_mapping_reply(c, xcb_get_keyboard_mapping(c, setup->min_keycode, count),
                                     nullptr));
  if (!map || map->keysyms_per_keycode == 0) return 0;
  const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(map.get());
  for (int i = 0; i < xcb_get_keyboard_mapping_keysyms_length(map.get()); ++i)
    if (syms[i] == keysym)
      return static_cast<xcb_keycode_t>(setup->min_keycode + i / map->keysyms_per_keycode);
  return 0;
}

int keys(int count, char** names) {
  const Connection conn(xcb_connect(nullptr, nullptr));
  xcb_connection_t* c = conn.get();
  if (xcb_connection_has_error(c)) {
    std::fprintf(stderr, "corvex-desktopctl: cannot open the display\n");
    return 1;
  }
  for (int i = 0; i < count; ++i) {
    const auto* key = std::find_if(std::begin(kKeys), std::end(kKeys),
                                   [&](const KeyName& k) { return k.name == names[i]; });
    const xcb_keycode_t code = key == std::end(kKeys) ? 0 : keycode_of(c, key->keysym);
    if (code == 0) {
      std::fprintf(stderr, "corvex-desktopctl: no key %s\n", names[i]);
      return 1;
    }
    xcb_test_fake_input(c, XCB_KEY_PRESS, code, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    xcb_test_fake_input(c, XCB_KEY_RELEASE, code, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    // One key at a time: each reaches its window before the next is pressed.
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "front") == 0 && argv[2][0] != '\0') return front(argv[2]);
  if (argc >= 3 && std::strcmp(argv[1], "keys") == 0) return keys(argc - 2, argv + 2);
  std::fputs(kUsage, stderr);
  return 2;
}
