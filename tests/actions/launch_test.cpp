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
#include "util/byte_order.h"

namespace cx {
namespace {

using Bytes = std::vector<uint8_t>;

// A version-2 alias record: the fixed part, then tagged, even-padded entries.
Bytes alias(const std::vector<std::pair<uint16_t, std::string>>& entries, uint16_t version = 2) {
  Bytes r(150, 0);
  for (const auto& [tag, text] : entries) {
    r.insert(r.end(), {uint8_t(tag >> 8), uint8_t(tag), 0, uint8_t(text.size())});
    r.insert(r.end(), text.begin(), text.end());
    if (text.size() % 2 != 0) r.push_back(0);
  }
  r.insert(r.end(), {0xFF, 0xFF, 0, 0});
  store_be16(&r[4], static_cast<uint16_t>(r.size()));
  store_be16(&r[6], version);
  return r;
}

Bytes bytes(const std::string& s) {
  return Bytes(s.begin(), s.end());
}

TEST(AliasTarget, ReadsThePosixPathOrTheUri) {
  Bytes cut = alias({{18, "/home/u/a.txt"}});
  cut.resize(cut.size() - 6);
  const std::pair<Bytes, std::optional<std::string>> cases[] = {
      {alias({{2, "x"}, {18, "/home/u/a.txt"}}), "/home/u/a.txt"},  // after an odd entry
      {alias({{19, "/media/Data/"}, {18, "Notes/b"}}), "/media/Data/Notes/b"},
      {alias({{2, "abc"}}), std::nullopt},
      {alias({{18, "/a"}}, 3), std::nullopt},
      {cut, std::nullopt},
      {Bytes(40, 0), std::nullopt},
      {bytes(std::string("file:///tmp/a%20b\0", 18)), "file:///tmp/a%20b"},
  };
  for (const auto& [data, target] : cases) EXPECT_EQ(alias_target(data), target);
}

TEST(Launching, ReachesTheDefaultHandlerAndNothingWithoutADisplay) {
  const test::StubHandler stub({"x-scheme-handler/http", "text/plain"});
  const std::string doc = stub.dir() + "/notes.txt";
  test::write_file(doc, "notes\n");
  const Bytes url = bytes(std::string("http://example.test/a\0", 22));
  const Bytes by_alias = alias({{18, doc}}), by_uri = bytes("file://" + doc);
  const auto set_home_page = [] {
    platform::set_preference_value("WWWHomePage", std::make_shared<plist::String>("http://h.test/"),
                                   "com.apple.internetconfig", platform::PrefUser::Current,
                                   platform::PrefHost::Any);
  };
  const std::pair<std::function<void()>, std::string> steps[] = {
      {[&] { launch_URL(url.data(), 22); }, "http://example.test/a"},
      {[&] { launch_URL(url.data(), 21); }, "http://example.test/a"},
      {[&] { launch_file(by_alias.data(), uint32_t(by_alias.size())); }, doc},
      {[&] { launch_file(by_uri.data(), uint32_t(by_uri.size())); }, doc},
      {[] { launch_home_page_URL(); }, ""},  // none set: the browser's own
      {[&] { set_home_page(), launch_home_page_URL(); }, "http://h.test/"},
  };
  {
    const test::ScopedEnv no_display("DISPLAY", ""), no_wayland("WAYLAND_DISPLAY", "");
    testing::internal::CaptureStderr();
    for (const auto& step : steps) step.first();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  }
  platform::set_preference_value("WWWHomePage", nullptr, "com.apple.internetconfig",
                                 platform::PrefUser::Current, platform::PrefHost::Any);
  const test::ScopedEnv display("DISPLAY", ":0");  // only handed on to the stub
  std::string opened;
  for (std::size_t i = 0; i < std::size(steps); ++i) {
    steps[i].first();
    opened += "open:" + steps[i].second + "\n";
    EXPECT_EQ(stub.wait_for(i + 1), opened);
  }
}

}  // namespace
}  // namespace cx
