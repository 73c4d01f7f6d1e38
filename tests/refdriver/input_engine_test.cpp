// Recorded input streams through the engine, compared with golden output:
// each stream is "TIME-MS TYPE CODE VALUE" lines (libevdev's names), "tick
// TIME-MS" (the chord timer fires), "keyboard TIME-MS KEY VALUE" (a key of
// a keyboard), "front NAME" or "unplug"; the golden file holds the
// output device's events, one frame a line, with the messages the agent
// gets and the background events left queued.
#include <libevdev/libevdev.h>
#include <linux/input-event-codes.h>

#include <functional>
#include <sstream>

#include "refdriver/input/acceleration.h"
#include "refdriver/input/pointer_engine.h"
#include "tests/refdriver/handler_harness.h"
#include "tests/support/golden.h"

namespace cx::refdriver::testing {
namespace {

constexpr uint32_t kMouse = 1;

class Transcript : public OutputSink, public DriverSink {
 public:
  void write(std::span<const OutputEvent> events) override {
    // An unended frame shows as a line without its newline.
    const char* gap = "";
    for (const OutputEvent& e : events) {
      if (e.type == EV_SYN) text << "\n";
      if (e.type != EV_SYN)
        text << gap << libevdev_event_code_get_name(e.type, e.code) << " " << e.value;
      gap = e.type == EV_SYN ? "" : " ";
    }
  }
  void notify(uint32_t code, uint64_t argument) override {
    text << "message " << code << " " << argument << "\n";
  }
  void log(std::string_view) override {}
  std::ostringstream text;
};

struct Rig {
  DriverState state;
  Transcript transcript;
  PointerOutput output{transcript};
  PointerEngine engine{state, transcript, output};

  void list(uint8_t button, std::span<const act_item> items, uint8_t mods = 0,
            AppSet* set = nullptr) {
    Bytes wire(items.size() * kItemSize);
    for (size_t i = 0; i < items.size(); ++i) encode_act_item(items[i], &wire[i * kItemSize]);
    AppSet& s = set ? *set : state.apps.global();
    ASSERT_EQ(state.store_list(s, response_key(mods, button, 0), wire), kDone);
  }
};

const act_item kShiftCmdA[] = {make_act_item(0x09, 0, 2, 0x0200, 0)};
const act_item kHeldCtrlZ[] = {make_act_item(0x02, 6, 1, 0x0200, 0)};
const act_item kMenuClick[] = {make_act_item(0x01, 5, 1, 0x0040, 0),
                               make_act_item(0x01, 5, 2, 0x0080, 0)};

struct Case {
  const char* name;
  std::function<void(Rig&)> setup;
};

const Case kCases[] = {
    {"click", [](Rig& r) { r.list(0, click_actlist); }},
    {"drag", [](Rig& r) { r.list(0, drag_actlist); }},
    {"double_click", [](Rig& r) { r.list(3, dclick_actlist); }},
    {"right_click", [](Rig& r) { r.list(2, rclick_actlist); }},
    {"keystrokes",
     [](Rig& r) {
       r.list(0, kShiftCmdA);
       r.list(1, kHeldCtrlZ);
       r.list(2, kMenuClick);
       r.list(0, rclick_actlist, 0x01);  // Shift held on the keyboard
     }},
    {"chord",
     [](Rig& r) {
       r.list(0, click_actlist);
       r.list(1, rclick_actlist);
       r.list(4, kShiftCmdA);
     }},
    {"background",
     [](Rig& r) {
       const std::string url = "http://a.example/";
       const int16_t ds = r.state.dataspaces.allocate_with(r.state.apps.global(), -1,
                                                           Bytes(url.begin(), url.end() + 1));
       r.list(0,
              std::array{make_act_item(0, static_cast<uint16_t>(ds), 2, act_code::launch_url, 0)});
       r.list(1, app_menu_actlist);
       r.list(2, home_page_actlist);
       r.list(3, scroll_up_actlist);
     }},
    {"front_application",
     [](Rig& r) {
       r.list(0, click_actlist);
       ASSERT_EQ(r.state.apps.select("com.example.edit", "TextEdit"), kDone);
       r.list(0, rclick_actlist, 0, &r.state.apps.edited());
       r.state.apps.set_front("TextEdit");
     }},
    {"acceleration",
     [](Rig& r) {
       ASSERT_EQ(r.state.globals.write(kAccelLevelsIndex, Bytes{0, 3, 0, 0, 0}), kDone);
       ASSERT_EQ(r.state.globals.write(kFirstAccelTableIndex + 1,
                                       cx::test::read_hex("input/mouse_table.hex")),
                 kDone);
     }},
    {"wheel",
     [](Rig& r) {
       ASSERT_EQ(r.state.apps.select("com.example.view", "Viewer"), kDone);
       ASSERT_EQ(r.state.apps.edited().data.write(72, Bytes{3, 0, 0, 2}), kDone);
       ASSERT_EQ(r.state.apps.global().data.write(72, Bytes{1, 0, 0, 4}), kDone);
       r.list(3, toggle_hscroll_actlist);
       r.list(2, mouse_scroll_actlist);
     }},
    {"unplug_mid_drag",
     [](Rig& r) {
       r.list(0, drag_actlist);
       r.list(1, kHeldCtrlZ);
     }},
    {"unassigned_and_noise", [](Rig&) {}},
};

void play(Rig& rig, const std::string& stream) {
  std::istringstream in(stream);
  for (std::string line; std::getline(in, line);) {
    std::istringstream words(line.substr(0, line.find('#')));
    std::string first, type, code;
    int32_t value = 0;
    if (!(words >> first)) continue;
    if (first == "unplug") {
      rig.engine.remove_device(kMouse);
    } else if (first == "tick") {
      words >> first;
      rig.engine.expire(std::stoull(first) * 1000);
    } else if (first == "keyboard") {
      ASSERT_TRUE(words >> first >> code >> value) << line;
      rig.engine.keyboard(
          {std::stoull(first) * 1000, EV_KEY,
           static_cast<uint16_t>(libevdev_event_code_from_name(EV_KEY, code.c_str())), value});
    } else if (first == "front") {
      std::getline(words >> std::ws, first);
      rig.state.apps.set_front(first);
    } else {
      ASSERT_TRUE(words >> type >> code >> value) << line;
      const int t = libevdev_event_type_from_name(type.c_str());
      const int c = libevdev_event_code_from_name(t, code.c_str());
      ASSERT_GE(c, 0) << line;
      rig.engine.handle(kMouse, {std::stoull(first) * 1000, static_cast<uint16_t>(t),
                                 static_cast<uint16_t>(c), value});
    }
  }
}

class InputEngine : public ::testing::TestWithParam<Case> {};

TEST_P(InputEngine, StreamGivesGoldenOutput) {
  Rig rig;
  rig.engine.add_device(kMouse, {0x2F1D, 0x0999, 5, true, true});
  GetParam().setup(rig);
  rig.transcript.text.str("");
  const std::string name = std::string("input/") + GetParam().name;
  play(rig, cx::test::read_text(name + ".events"));
  for (const auto& e : rig.state.events.all()) {
    const auto end = std::find(e.data.begin(), e.data.end(), 0);
    rig.transcript.text << "queued " << e.code << " " << std::string(e.data.begin(), end) << "\n";
  }
  EXPECT_EQ(rig.transcript.text.str(), cx::test::read_text(name + ".golden"));
  EXPECT_EQ(rig.output.held_count(), 0u) << "a button or key stays held";
}

INSTANTIATE_TEST_SUITE_P(Streams, InputEngine, ::testing::ValuesIn(kCases),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace cx::refdriver::testing
