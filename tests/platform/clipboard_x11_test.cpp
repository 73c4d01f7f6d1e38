// Pasting on a real X desktop: a private Xvfb with openbox. Another client
// reads the clipboard back; an xterm and a GTK text field take the paste.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "actions/driver_actions.h"
#include "platform/event_loop.h"
#include "platform/linux/clipboard_x11.h"
#include "platform/linux/processes_x11.h"
#include "tests/support/child_process.h"
#include "tests/support/scoped_env.h"
#include "tests/support/selection_reader.h"
#include "tests/support/temp_dir.h"
#include "tests/support/window_manager.h"
#include "tests/support/xvfb.h"

namespace cx::platform {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

// Runs the main loop until `done`, for at most five seconds.
bool run_until(const std::function<bool()>& done) {
  const auto give_up = std::chrono::steady_clock::now() + 5s;
  const auto poll = event_loop().add_timer(10ms, 10ms, [&] {
    if (done() || std::chrono::steady_clock::now() > give_up) event_loop().quit();
  });
  event_loop().run();
  return done();
}

void paste(const std::string& text) {
  paste_text(reinterpret_cast<const uint8_t*>(text.data()), uint32_t(text.size()));
}

std::string contents(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

class X11Paste : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    xvfb_ = new test::Xvfb;
    wm_ = new test::WindowManager(xvfb_->display());
  }
  static void TearDownTestSuite() {
    delete wm_;
    delete xvfb_;
  }
  void SetUp() override {
    ASSERT_TRUE(wm_->running()) << "no Xvfb with openbox";
    set_clipboard(service_.get());
  }
  void TearDown() override { set_clipboard(nullptr); }

  // Another client's view, read while the loop serves the clipboard.
  std::optional<test::SelectionValue> read_back(const std::string& target) {
    auto reading = std::async(std::launch::async, test::read_clipboard, xvfb_->display(), target);
    run_until([&] { return reading.wait_for(0s) == std::future_status::ready; });
    return reading.get();
  }

  static test::Xvfb* xvfb_;
  static test::WindowManager* wm_;
  test::ScopedEnv display_{"DISPLAY", xvfb_->display()};
  std::unique_ptr<Clipboard> service_ = make_x11_clipboard();
};
test::Xvfb* X11Paste::xvfb_ = nullptr;
test::WindowManager* X11Paste::wm_ = nullptr;

TEST_F(X11Paste, AnotherClientReadsEveryTargetBack) {
  std::string big(300000, ' ');  // more than the core request limit
  for (std::size_t i = 0; i < big.size(); ++i) big[i] = char('a' + i % 26);
  const struct {
    std::string text, target, type, data;
  } cases[] = {
      {"Gr\u00FC\u00DFe \u20AC\0"s, "TARGETS", "ATOM", "TARGETS TIMESTAMP STRING UTF8_STRING "},
      {"Gr\u00FC\u00DFe \u20AC\0"s, "UTF8_STRING", "UTF8_STRING", "Gr\u00FC\u00DFe \u20AC"},
      {"Gr\u00FC\u00DFe \u20AC\0"s, "STRING", "STRING",
       "Gr\xFC\xDF"
       "e ?"},
      {big, "UTF8_STRING", "INCR", big},
      {big, "STRING", "INCR", big},
      {"x", "image/png", "", ""},
  };
  for (const auto& c : cases) {
    paste(c.text);
    const auto value = read_back(c.target);
    EXPECT_EQ(value ? value->type + ":" + value->data : "",
              c.type.empty() ? "" : c.type + ":" + c.data)
        << c.target;
  }
}

TEST_F(X11Paste, ArrivesWholeInAnXtermAndAGtkField) {
  const test::TempDir dir("cxpaste");
  const std::string into = dir.file("pasted");
  const struct {
    std::vector<std::string> argv;
    std::string text;
  } windows[] = {
      {{"xterm", "-xrm",
        "XTerm*VT100.translations: #override Ctrl<Key>v: insert-selection(CLIPBOARD)", "-e", "sh",
        "-c", "stty -icanon; cat > " + into},
       "Kind regards, Ann"},
      {{CX_TEXT_FIELD, into}, "Gr\u00FC\u00DFe \u20AC"},
  };
  const auto processes = make_x11_processes();
  for (const auto& w : windows) {
    test::BackgroundProcess window(w.argv);
    ProcessSerialNumber front{};
    ASSERT_TRUE(run_until([&] {
      return processes->front_process(front) == noErr &&
             front.lowLongOfPSN == uint32_t(window.pid());
    })) << w.argv[0]
        << " did not come to the front";
    paste(w.text);
    EXPECT_TRUE(run_until([&] { return contents(into) == w.text; })) << contents(into);
  }
}

TEST(X11PasteHeadless, FailsQuietly) {
  const test::ScopedEnv no_display("DISPLAY", "");
  const auto service = make_x11_clipboard();
  ScrapRef scrap = 1;
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(service->clear(), noScrapErr);
  EXPECT_EQ(service->current(scrap), noScrapErr);
  EXPECT_EQ(scrap, 0u);
  EXPECT_EQ(service->put_flavor(1, kScrapFlavorTypeUnicode, {}), noScrapErr);
  EXPECT_EQ(service->post_key('V', 9, true), kCGErrorFailure);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace cx::platform
