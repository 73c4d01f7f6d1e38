// Launch buttons: the file reference a control panel stores, and every
// launch reaching the desktop's default handler (a stub) or, without a
// display, nothing at all.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "actions/alias_record.h"
#include "actions/driver_actions.h"
#include "platform/preferences.h"
#include "plist/value.h"
#include "tests/support/scoped_env.h"
#include "tests/support/stub_handler.h"
#include "tests/support/temp_dir.h"
#include "util/byte_order.h"

namespace cx {
namespace {

using Bytes = std::vector<uint8_t>;

// A version-2 alias record: the fixed part, then tagged, even-padded entries.
Bytes alias(const std::vector<std::pair<int16_t, std::string>>& entries, uint16_t version = 2) {
  Bytes r(150, 0);
  for (const auto& [tag, text] : entries) {
    uint8_t head[4];
    store_be16(head, static_cast<uint16_t>(tag));
    store_be16(head + 2, static_cast<uint16_t>(text.size()));
    r.insert(r.end(), head, head + 4);
    r.insert(r.end(), text.begin(), text.end());
    if (text.size() % 2 != 0) r.push_back(0);
  }
  r.insert(r.end(), {0xFF, 0xFF, 0, 0});
  store_be16(&r[4], static_cast<uint16_t>(r.size()));
  store_be16(&r[6], version);
  return r;
}

Bytes text_bytes(const std::string& s) {
  return Bytes(s.begin(), s.end());
}

TEST(AliasTarget, ReadsThePosixPathOrTheUri) {
  Bytes cut = alias({{18, "/home/u/a.txt"}});
  cut.resize(cut.size() - 6);
  const struct {
    const char* name;
    Bytes data;
    std::optional<std::string> target;
  } cases[] = {
      {"path after an odd entry", alias({{2, "x"}, {18, "/home/u/a.txt"}}), "/home/u/a.txt"},
      {"path on a mounted volume", alias({{19, "/media/Data/"}, {18, "Notes/b"}}),
       "/media/Data/Notes/b"},
      {"no path", alias({{2, "abc"}}), std::nullopt},
      {"newer format", alias({{18, "/a"}}, 3), std::nullopt},
      {"record cut short", cut, std::nullopt},
      {"shorter than the fixed part", Bytes(40, 0), std::nullopt},
      {"file URI", text_bytes(std::string("file:///tmp/a%20b\0", 18)), "file:///tmp/a%20b"},
  };
  for (const auto& c : cases) EXPECT_EQ(alias_target(c.data), c.target) << c.name;
}

TEST(Launching, ReachesTheDefaultHandlerAndNothingWithoutADisplay) {
  const test::StubHandler stub({"x-scheme-handler/http", "text/plain"});
  const std::string doc = stub.dir() + "/notes.txt";
  test::write_file(doc, "notes\n");
  const Bytes url = text_bytes(std::string("http://example.test/a\0", 22));
  const Bytes alias_of_doc = alias({{18, doc}});
  {
    const test::ScopedEnv no_display("DISPLAY", ""), no_wayland("WAYLAND_DISPLAY", "");
    testing::internal::CaptureStderr();
    launch_URL(url.data(), 22);
    launch_file(alias_of_doc.data(), static_cast<uint32_t>(alias_of_doc.size()));
    launch_home_page_URL();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  }
  // Only handed on to the handler, which draws nothing.
  const test::ScopedEnv display("DISPLAY", ":0");
  const Bytes uri = text_bytes("file://" + doc);
  const struct {
    std::function<void()> action;
    std::string opened;
  } steps[] = {
      {[&] { launch_URL(url.data(), 22); }, "open:http://example.test/a"},
      {[&] { launch_URL(url.data(), 21); }, "open:http://example.test/a"},
      {[&] { launch_URL(url.data(), 20); }, "open:http://example.test/"},
      {[&] { launch_file(alias_of_doc.data(), static_cast<uint32_t>(alias_of_doc.size())); },
       "open:" + doc},
      {[&] { launch_file(uri.data(), static_cast<uint32_t>(uri.size())); }, "open:" + doc},
      {[] { launch_home_page_URL(); }, "open:"},  // no home page: the browser's own
      {[] {
         platform::set_preference_value(
             "WWWHomePage", std::make_shared<plist::String>("http://home.test/"),
             "com.apple.internetconfig", platform::PrefUser::Current, platform::PrefHost::Any);
         launch_home_page_URL();
       },
       "open:http://home.test/"},
  };
  std::size_t count = 0;
  for (const auto& s : steps) {
    s.action();
    const auto opened = stub.wait_for(++count);
    ASSERT_EQ(opened.size(), count) << s.opened;
    EXPECT_EQ(opened.back(), s.opened);
  }
}

}  // namespace
}  // namespace cx
