// The X11 process service against a private Xvfb. There is no window
// manager: the test plays its part, creating windows and setting the EWMH
// properties on them and on the root, and receiving activation requests.
#include <gtest/gtest.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/processes_x11.h"
#include "platform/processes.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"
#include "tests/support/xvfb.h"

namespace cx::platform {
namespace {

std::string name_of(const ProcessInfo& info) {
  return std::string(reinterpret_cast<const char*>(info.name.data() + 1), info.name[0]);
}

ProcessSerialNumber psn_of(pid_t pid) {
  return {0, static_cast<uint32_t>(pid)};
}

// The window manager's side, as far as the process service reads it.
class Desktop {
 public:
  explicit Desktop(const std::string& display) {
    conn_ = xcb_connect(display.c_str(), nullptr);
    if (xcb_connection_has_error(conn_)) return;
    root_ = xcb_setup_roots_iterator(xcb_get_setup(conn_)).data->root;
  }
  ~Desktop() { xcb_disconnect(conn_); }

  bool ok() { return !xcb_connection_has_error(conn_) && atom("_NET_WM_PID") != XCB_NONE; }

  xcb_window_t window(std::optional<pid_t> pid, std::string_view wm_class = {}) {
    const xcb_window_t w = xcb_generate_id(conn_);
    xcb_create_window(conn_, XCB_COPY_FROM_PARENT, w, root_, 0, 0, 10, 10, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    if (pid) {
      const auto value = static_cast<uint32_t>(*pid);
      xcb_change_property(conn_, XCB_PROP_MODE_REPLACE, w, atom("_NET_WM_PID"), XCB_ATOM_CARDINAL,
                          32, 1, &value);
    }
    if (!wm_class.empty())
      xcb_change_property(conn_, XCB_PROP_MODE_REPLACE, w, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                          static_cast<uint32_t>(wm_class.size()), wm_class.data());
    sync();
    return w;
  }

  void set_title(xcb_window_t w, std::string_view title) {
    xcb_change_property(conn_, XCB_PROP_MODE_REPLACE, w, atom("_NET_WM_NAME"), atom("UTF8_STRING"),
                        8, static_cast<uint32_t>(title.size()), title.data());
    sync();
  }

  // A window list on the root.
  void set_root(std::string_view property, const std::vector<xcb_window_t>& ws) {
    xcb_change_property(conn_, XCB_PROP_MODE_REPLACE, root_, atom(property), XCB_ATOM_WINDOW, 32,
                        static_cast<uint32_t>(ws.size()), ws.data());
    sync();
  }
  void set_active(xcb_window_t w) { set_root("_NET_ACTIVE_WINDOW", {w}); }
  void clear_active() { xcb_delete_property(conn_, root_, atom("_NET_ACTIVE_WINDOW")); }

  // Takes the window manager's place on the root, so requests sent to it
  // arrive here.
  bool redirect_root() {
    const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    auto cookie = xcb_change_window_attributes_checked(conn_, root_, XCB_CW_EVENT_MASK, &mask);
    xcb_generic_error_t* error = xcb_request_check(conn_, cookie);
    std::free(error);
    return error == nullptr;
  }

  // The next client message on the root within a second, if any.
  std::optional<xcb_client_message_event_t> client_message() {
    std::optional<xcb_client_message_event_t> message;
    test::eventually(
        [&] {
          const std::unique_ptr<xcb_generic_event_t, decltype(&std::free)> event(
              xcb_poll_for_event(conn_), &std::free);
          if (event && (event->response_type & 0x7f) == XCB_CLIENT_MESSAGE)
            message = *reinterpret_cast<xcb_client_message_event_t*>(event.get());
          return message.has_value();
        },
        std::chrono::seconds(1));
    return message;
  }

  xcb_atom_t atom(std::string_view name) {
    auto* reply = xcb_intern_atom_reply(
        conn_, xcb_intern_atom(conn_, 0, static_cast<uint16_t>(name.size()), name.data()), nullptr);
    if (reply == nullptr) return XCB_NONE;
    const xcb_atom_t a = reply->atom;
    std::free(reply);
    return a;
  }

 private:
  // Waits until the server has applied everything sent so far.
  void sync() { std::free(xcb_get_input_focus_reply(conn_, xcb_get_input_focus(conn_), nullptr)); }

  xcb_connection_t* conn_;
  xcb_window_t root_ = XCB_NONE;
};

class FakeDirectory final : public SignatureDirectory {
 public:
  std::vector<SignedProcess> list;
  void participants(std::vector<SignedProcess>& out) override {
    out.insert(out.end(), list.begin(), list.end());
  }
};

class X11Processes : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { server_ = std::make_unique<test::Xvfb>(); }
  static void TearDownTestSuite() { server_.reset(); }

  void SetUp() override {
    // Never skipped: a machine without Xvfb fails here.
    ASSERT_FALSE(server_->display().empty()) << "Xvfb could not be started";
    setenv("DISPLAY", server_->display().c_str(), 1);
    desktop_ = std::make_unique<Desktop>(server_->display());
    ASSERT_TRUE(desktop_->ok());
    ASSERT_GT(sleeper_.pid(), 0);
    ASSERT_GT(other_sleeper_.pid(), 0);
  }
  void TearDown() override { set_signature_directory(nullptr); }

  static inline std::unique_ptr<test::Xvfb> server_;
  std::unique_ptr<Desktop> desktop_;
  std::unique_ptr<Processes> service_ = make_x11_processes();
  // Processes with a known name ("sleep") that the test can point windows at.
  test::BackgroundProcess sleeper_{{"sleep", "60"}}, other_sleeper_{{"sleep", "60"}};
  const pid_t self_ = getpid();
};

using namespace std::string_literals;
using namespace std::string_view_literals;

TEST_F(X11Processes, FrontProcessFollowsTheActiveWindow) {
  const xcb_window_t mine = desktop_->window(self_, "corvex-test\0CorvexTest\0"sv);
  const xcb_window_t sleeping = desktop_->window(sleeper_.pid());  // no WM_CLASS
  const xcb_window_t anonymous = desktop_->window(std::nullopt, "a\0A\0"sv);

  desktop_->set_active(mine);
  ProcessSerialNumber psn{};
  ASSERT_EQ(service_->front_process(psn), noErr);
  EXPECT_EQ(psn, psn_of(self_));
  ProcessInfo info{};
  ASSERT_EQ(service_->process_information(psn, info), noErr);
  EXPECT_EQ(name_of(info), "CorvexTest");
  EXPECT_EQ(info.signature, fourcc("????"));
  EXPECT_EQ(info.type, fourcc("APPL"));
  EXPECT_EQ(info.mode, 0u);
  EXPECT_EQ(info.pid, self_);
  EXPECT_EQ(info.psn, psn);
  std::string title;
  desktop_->set_title(mine, "Page \u2014 Firefox");
  EXPECT_EQ(service_->window_title(psn, title), noErr);
  EXPECT_EQ(title, "Page \u2014 Firefox");

  // Without WM_CLASS the name is the process's own.
  desktop_->set_active(sleeping);
  ASSERT_EQ(service_->front_process(psn), noErr);
  EXPECT_EQ(psn, psn_of(sleeper_.pid()));
  ASSERT_EQ(service_->process_information(psn, info), noErr);
  EXPECT_EQ(name_of(info), "sleep");

  // No owner to name, or no active window at all: no front process.
  desktop_->set_active(anonymous);
  EXPECT_EQ(service_->front_process(psn), procNotFound);
  desktop_->clear_active();
  EXPECT_EQ(service_->front_process(psn), procNotFound);
  desktop_->set_active(XCB_NONE);
  EXPECT_EQ(service_->front_process(psn), procNotFound);

  // A long class name, without its terminating NUL, is cut to a Pascal string.
  desktop_->set_active(desktop_->window(self_, "i\0"s + std::string(300, 'N')));
  ASSERT_EQ(service_->front_process(psn), noErr);
  ASSERT_EQ(service_->process_information(psn, info), noErr);
  EXPECT_EQ(info.name[0], 255);
  EXPECT_EQ(name_of(info), std::string(255, 'N'));
}

TEST_F(X11Processes, ListHasEachWindowedProcessOnceThenTheBusOnlyParticipants) {
  const xcb_window_t a = desktop_->window(self_, "t\0Terminal\0"sv);
  const xcb_window_t b = desktop_->window(sleeper_.pid());
  const xcb_window_t a2 = desktop_->window(self_, "t\0Terminal\0"sv);
  const xcb_window_t nobody = desktop_->window(std::nullopt);
  desktop_->set_root("_NET_CLIENT_LIST", {a, nobody, b, a2});

  FakeDirectory directory;
  directory.list = {{fourcc("VCXT"), self_}, {fourcc("VCVX"), other_sleeper_.pid()}};
  set_signature_directory(&directory);

  std::vector<ProcessSerialNumber> walked;
  ProcessSerialNumber psn = kNoProcess;
  OSErr err;
  while ((err = service_->next_process(psn)) == noErr) walked.push_back(psn);
  EXPECT_EQ(err, procNotFound);
  EXPECT_EQ(psn, kNoProcess);
  EXPECT_EQ(walked, (std::vector<ProcessSerialNumber>{psn_of(self_), psn_of(sleeper_.pid()),
                                                      psn_of(other_sleeper_.pid())}));

  ProcessInfo info{};
  ASSERT_EQ(service_->process_information(psn_of(self_), info), noErr);
  EXPECT_EQ(info.signature, fourcc("VCXT"));
  EXPECT_EQ(info.mode, kModeHighLevelEventAware);
  EXPECT_EQ(name_of(info), "Terminal");
  ASSERT_EQ(service_->process_information(psn_of(other_sleeper_.pid()), info), noErr);
  EXPECT_EQ(info.signature, fourcc("VCVX"));
  EXPECT_EQ(info.mode, kModeOnlyBackground | kModeHighLevelEventAware);
  EXPECT_EQ(name_of(info), "sleep");
  ASSERT_EQ(service_->process_information(psn_of(sleeper_.pid()), info), noErr);
  EXPECT_EQ(info.signature, kUnknownSignature);
  // Malformed serial numbers are unknown.
  EXPECT_EQ(service_->process_information({1, static_cast<uint32_t>(self_)}, info), procNotFound);
  EXPECT_EQ(service_->process_information(kNoProcess, info), procNotFound);

  // A serial number that is not in the list cannot be continued from.
  psn = psn_of(999999);
  EXPECT_EQ(service_->next_process(psn), paramErr);
  // A participant that left the bus is gone with it.
  set_signature_directory(nullptr);
  EXPECT_EQ(service_->process_information(psn_of(other_sleeper_.pid()), info), procNotFound);
}

TEST_F(X11Processes, BringingToFrontAsksTheWindowManagerForTheTopmostWindow) {
  const xcb_window_t low = desktop_->window(self_);
  const xcb_window_t other = desktop_->window(sleeper_.pid());
  const xcb_window_t high = desktop_->window(self_);
  desktop_->set_root("_NET_CLIENT_LIST", {low, other, high});
  desktop_->set_root("_NET_CLIENT_LIST_STACKING", {low, high, other});
  ASSERT_TRUE(desktop_->redirect_root());

  const ProcessSerialNumber me = psn_of(self_);
  ASSERT_EQ(service_->set_front_process(me), noErr);
  const auto message = desktop_->client_message();
  ASSERT_TRUE(message.has_value());
  EXPECT_EQ(message->type, desktop_->atom("_NET_ACTIVE_WINDOW"));
  EXPECT_EQ(message->window, high);
  EXPECT_EQ(message->format, 32);
  EXPECT_EQ(message->data.data32[0], 2u);  // source: a pager, which window managers obey

  EXPECT_EQ(service_->set_front_process(psn_of(other_sleeper_.pid())), procNotFound);
  EXPECT_FALSE(desktop_->client_message().has_value());
}

TEST_F(X11Processes, WithoutADisplayOrAfterLosingItCallsFailAndALaterDisplayIsUsed) {
  test::Xvfb doomed;
  ASSERT_FALSE(doomed.display().empty());
  setenv("DISPLAY", doomed.display().c_str(), 1);
  auto lost = make_x11_processes();
  {
    Desktop there(doomed.display());
    there.set_active(there.window(self_, "a\0Doomed\0"sv));
    ProcessSerialNumber psn{};
    ASSERT_EQ(lost->front_process(psn), noErr);
  }
  doomed.stop();
  unsetenv("DISPLAY");
  auto headless = make_x11_processes();
  for (Processes* service : {lost.get(), headless.get()}) {
    ProcessSerialNumber psn = kNoProcess;
    ProcessInfo info{};
    EXPECT_EQ(service->front_process(psn), procNotFound);
    EXPECT_EQ(service->process_information(psn_of(self_), info), procNotFound);
    EXPECT_EQ(service->next_process(psn), procNotFound);
    EXPECT_EQ(service->set_front_process(psn_of(self_)), procNotFound);
  }
  // A display nobody serves fails the same way.
  setenv("DISPLAY", ":4093", 1);
  ProcessSerialNumber psn = kNoProcess;
  EXPECT_EQ(headless->front_process(psn), procNotFound);

  // Bus participants need no display.
  FakeDirectory directory;
  directory.list = {{fourcc("VCXT"), sleeper_.pid()}};
  set_signature_directory(&directory);
  ASSERT_EQ(headless->next_process(psn), noErr);
  EXPECT_EQ(psn, psn_of(sleeper_.pid()));
  ProcessInfo info{};
  ASSERT_EQ(headless->process_information(psn, info), noErr);
  EXPECT_EQ(info.signature, fourcc("VCXT"));

  // The display comes (back): the next call connects.
  setenv("DISPLAY", server_->display().c_str(), 1);
  desktop_->set_active(desktop_->window(self_, "a\0Late\0"sv));
  for (Processes* service : {lost.get(), headless.get()}) {
    ASSERT_EQ(service->front_process(psn), noErr);
    EXPECT_EQ(psn, psn_of(self_));
    ASSERT_EQ(service->process_information(psn, info), noErr);
    EXPECT_EQ(name_of(info), "Late");
  }
}

}  // namespace
}  // namespace cx::platform
