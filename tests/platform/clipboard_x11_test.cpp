// Pasting on a real X desktop: a private Xvfb with openbox. A GTK client
// reads the clipboard back; a GTK text field takes the paste.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "actions/driver_actions.h"
#include "platform/event_loop.h"
#include "platform/linux/clipboard_x11.h"
#include "platform/linux/processes_x11.h"
#include "tests/support/child_process.h"
#include "tests/support/scoped_env.h"
#include "tests/support/temp_dir.h"
#include "tests/support/window_manager.h"
#include "tests/support/xvfb.h"

namespace cx::platform {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

// Serves the clipboard on the main loop until `done`, for at most five seconds.
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

TEST(X11Paste, OnADesktop) {
  const test::Xvfb xvfb;
  const test::WindowManager wm(xvfb.display());
  ASSERT_TRUE(wm.running()) << "no Xvfb with openbox";
  const test::ScopedEnv display("DISPLAY", xvfb.display());
  const auto service = make_x11_clipboard();
  set_clipboard(service.get());

  // What another client reads back; more than the core request limit comes
  // in INCR steps. Bad input leaves the clipboard as it was.
  std::string big;
  while (big.size() < 300000) big += "abcdefghijklmnopqrstuvwxyz";
  const std::string text = "Gr\u00FC\u00DFe \u20AC\U0001F600\0"s;
  const std::vector<std::vector<std::string>> reads = {
      {text, "TARGETS", "ATOM:TARGETS TIMESTAMP STRING UTF8_STRING "},
      {text, "UTF8_STRING", "UTF8_STRING:Gr\u00FC\u00DFe \u20AC\U0001F600"},
      {text, "STRING", "STRING:Gr\xFC\xDF\x65 ??"},
      {big, "UTF8_STRING", "UTF8_STRING:" + big},
      {"a\0\0"s, "UTF8_STRING", "UTF8_STRING:a\0"s},
      {"\0"s, "STRING", "STRING:a\0"s},
      {"\xFF\0"s, "UTF8_STRING", "UTF8_STRING:a\0"s},
      {"x", "image/png", ""},
  };
  for (const auto& r : reads) {
    paste(r[0]);
    test::BackgroundProcess reader({CX_GTK_PEER, "read", r[1]});
    EXPECT_TRUE(run_until([&] { return reader.wait_exit(10), reader.pid() <= 0; }));
    EXPECT_TRUE(reader.output() == r[2]) << r[1] << " " << reader.output().substr(0, 80);
  }

  // The focused window pastes the whole text.
  const test::TempDir dir("cxpaste");
  const std::string into = dir.file("pasted"), pasted = "Gr\u00FC\u00DFe \u20AC";
  const test::BackgroundProcess field({CX_GTK_PEER, "field", into});
  const auto processes = make_x11_processes();
  ProcessSerialNumber front{};
  ASSERT_TRUE(run_until([&] {
    return processes->front_process(front) == noErr && front.lowLongOfPSN == uint32_t(field.pid());
  })) << "the text field did not come to the front";
  paste(pasted);
  EXPECT_TRUE(run_until([&] { return test::read_file(into) == pasted; })) << test::read_file(into);
  set_clipboard(nullptr);
}

TEST(X11Paste, FailsQuietlyWithoutADisplay) {
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
