// Capturing the front browser's page: a browser on a private session bus
// answers each route's events, an accessibility tree stands in for Firefox,
// the page lands in the button's menu in the reference driver and in the
// saved file, and the notice stays as long as the driver keeps the entry
// fresh. Without a desktop every part gives up quietly.
#include <unistd.h>

#include <functional>
#include <map>
#include <optional>

#include "actions/browser_url.h"
#include "actions/driver_actions.h"
#include "actions/url_capture.h"
#include "driver/device_requests.h"
#include "model/act_item.h"
#include "platform/accessibility.h"
#include "platform/apple_event_lists.h"
#include "platform/linux/apple_events_wire.h"
#include "tests/prefs/pref_fixture.h"
#include "tests/support/child_process.h"
#include "tests/support/dbus_service.h"
#include "tests/support/fake_processes.h"
#include "tests/support/golden.h"
#include "tests/support/scoped_env.h"

namespace cx::test {
namespace {

using namespace platform;
const std::string kPad(33, '-');
const auto* const kCapture = reinterpret_cast<const uint8_t*>("\0\x13");

const PrivateSessionBus kBus;
using Answer = std::function<GVariant*(std::string_view path, std::string_view method, GVariant*)>;

// A peer that owns `name` and answers every call made to it with the body `answer` gives.
std::unique_ptr<DbusService> peer(const std::string& name, const Answer& answer) {
  const auto filter = [](GDBusConnection* c, GDBusMessage* call, gboolean incoming, gpointer a) {
    if (!incoming || g_dbus_message_get_message_type(call) != G_DBUS_MESSAGE_TYPE_METHOD_CALL)
      return call;
    GVariant* body = (*static_cast<const Answer*>(a))(g_dbus_message_get_path(call),
                                                      g_dbus_message_get_member(call),
                                                      g_dbus_message_get_body(call));
    GDBusMessage* reply = g_dbus_message_new_method_reply(call);
    g_dbus_message_set_body(reply, body);
    g_dbus_connection_send_message(c, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    g_object_unref(reply);
    g_object_unref(call);
    return static_cast<GDBusMessage*>(nullptr);
  };
  auto service = std::make_unique<DbusService>(kBus.address(), name, [&](GDBusConnection* c) {
    return g_dbus_connection_add_filter(c, filter, const_cast<Answer*>(&answer), nullptr) != 0;
  });
  EXPECT_EQ(service->error(), "");
  return service;
}

std::vector<uint8_t> property(const char (&element)[5], const char (&name)[5]) {
  return make_property_specifier(fourcc(element), 1, fourcc(name)).data;
}

// The browser answers `getd` from its page; Spyglass lists window 7 and describes it.
GVariant* browse(const std::map<std::vector<uint8_t>, std::string>& page, GVariant* args) {
  guint32 suite = 0, id = 0;
  GVariant* params = nullptr;
  g_variant_get(args, "(uu@a(uuay))", &suite, &id, &params);
  AppleEvent event(suite, id, {}), reply = AppleEvent::make_reply();
  dbus_ae::add_parameters_from_variant(params, event);
  g_variant_unref(params);
  const AEDesc list[] = {make_long_desc(7), make_text_desc("http://w.test/"),
                         make_text_desc("0123456789Page")};
  const AEDesc* direct = event.find_param(keyDirectObject);
  const auto it = direct != nullptr ? page.find(direct->data) : page.end();
  if (id == fourcc("getd") && it == page.end()) reply.put_long(keyErrorNumber, -1728);
  reply.put_param(keyDirectObject, id == fourcc("LSTW") ? make_list_desc({list, 1})
                                   : id == fourcc("WNFO")
                                       ? make_list_desc({list + 1, 2})
                                       : make_text_desc(it == page.end() ? "" : it->second));
  return g_variant_new("(@a(uuay))", dbus_ae::parameters_to_variant(reply.parameters()));
}

struct A11yObject {
  std::string path;
  guint32 role, states;
  std::vector<std::string> children;
  std::string text;  // a document's "DocURL", an entry's contents
};

GVariant* describe(const std::vector<A11yObject>& tree, std::string_view path,
                   std::string_view method, GVariant* args) {
  const A11yObject& o =
      *std::find_if(tree.begin(), tree.end(), [&](auto& x) { return x.path == path; });
  GVariantBuilder children;
  g_variant_builder_init(&children, G_VARIANT_TYPE("a(so)"));
  for (const std::string& child : o.children)
    g_variant_builder_add(&children, "(so)", "org.a11y.atspi.Registry", child.c_str());
  const guint32 words[2] = {o.states, 0};
  const char* attribute = "DocURL";
  if (method == "GetAttributeValue") g_variant_get(args, "(&s)", &attribute);
  if (method == "GetChildren") return g_variant_new("(a(so))", &children);
  g_variant_builder_clear(&children);
  if (method == "GetRole") return g_variant_new("(u)", o.role);
  if (method == "GetState")
    return g_variant_new("(@au)", g_variant_new_fixed_array(G_VARIANT_TYPE_UINT32, words, 2, 4));
  return g_variant_new("(s)", std::string_view(attribute) == "DocURL" ? o.text.c_str() : "");
}

struct Desktop : testing::FakeProcesses {
  std::string title;
  OSErr window_title(const ProcessSerialNumber&, std::string& out) override {
    out = title;
    return title.empty() ? procNotFound : noErr;
  }
};

struct Notices : Dialogs {
  struct Window : DialogWindow {
    explicit Window(Notices* n) : owner(n) {}
    void pause(int t) override { owner->on_pause(owner->ticks += t); }
    Notices* owner;
  };
  std::unique_ptr<DialogWindow> open_capture_notice(const CaptureNotice& notice) override {
    shown.push_back(notice);
    ticks = 0;
    return refuse ? nullptr : std::make_unique<Window>(this);
  }
  bool refuse = false;
  int ticks = 0;
  std::vector<CaptureNotice> shown;
  std::function<void(int)> on_pause;
};

class CaptureTest : public PrefStoreTest {
 protected:
  void SetUp() override {
    PrefStoreTest::SetUp();
    bundle_.emplace("CORVEX_BUNDLE", CX_AGENT_BUNDLE);
    set_processes(&desktop_);
    set_dialogs(&notices_);
  }
  void TearDown() override {
    set_processes(nullptr);
    set_dialogs(nullptr);
    PrefStoreTest::TearDown();
  }
  std::string captured(const std::string& name, OSType signature = fourcc("????")) {
    desktop_.list = {{{0, static_cast<uint32_t>(getpid())}, signature, name}};
    std::string url, title;
    const OSErr err = get_top_URL_info(url, title);
    return err != noErr ? std::to_string(err) : url + " " + title;
  }

  std::optional<ScopedEnv> bundle_;
  Desktop desktop_;
  Notices notices_;
  std::map<std::vector<uint8_t>, std::string> page_ = {
      {property("cwin", "pnam"), "Title" + kPad},
      {property("cwin", "curl"), "http://m.test/"},
      {property("Owbc", "Owas"), "http://o.test/"},
      {property("docu", "pURL"), "http://s.test/"}};
  void open_browser() { browser_ = peer(dbus_ae::bus_name_for_signature(fourcc("WWWb")), browse_); }
  Answer browse_ = [this](auto, auto, GVariant* args) { return browse(page_, args); };
  std::unique_ptr<DbusService> browser_;
};

TEST_F(CaptureTest, EachRouteAsksTheFrontBrowser) {
  open_browser();
  EXPECT_EQ(property("cwin", "pnam"), read_hex("property_specifier.hex"));
  EXPECT_EQ(captured("Mozilla Safari"), "http://m.test/ Title");
  EXPECT_EQ(captured("Netscape 6"), "http://m.test/ Title" + kPad.substr(13));
  EXPECT_EQ(captured("OmniWeb"), "http://o.test/ Title" + kPad);
  EXPECT_EQ(captured("Safari"), "http://s.test/ Title" + kPad);
  EXPECT_EQ(captured("iCab"), "http://w.test/ 0123456789Page");
  EXPECT_EQ(captured("NCSA Mosaic", fourcc("MOSS")), "http://w.test/ Page");
  page_.erase(property("docu", "pURL"));
  EXPECT_EQ(captured("Safari"), "-1728");
  get_cur_URL(kCapture, 2);
  EXPECT_TRUE(notices_.shown.empty());
}

TEST_F(CaptureTest, EntryLandsInTheMenuAndTheFileWhileTheNoticeWaitsForThePress) {
  open_browser();
  captured("Safari");
  load();
  const struct {
    bool refuse;
    int press_at, ticks;  // the driver clears the mark at the first pause that reaches press_at
  } cases[] = {{false, 1000, 602}, {false, 0, 182}, {false, 302, 302}, {true, 0, 0}};
  for (const auto& c : cases) {
    const std::string url = "http://s.test/" + std::to_string(c.press_at);
    page_[property("docu", "pURL")] = url;
    notices_.shown.clear();
    notices_.refuse = c.refuse;
    notices_.on_pause = [&](int ticks) {
      if (ticks >= c.press_at) driver_.mutable_state().global_record(90)[3] &= 0xFE;
    };
    // As the dispatch hands it over: in the driver's reply buffer, which the capture's own
    // requests reuse.
    driver_.mutable_state().events.push(3, std::span(kCapture, 2));
    uint32_t length = 0;
    int16_t code = 0;
    const uint8_t* data = GetNextBackgroundEvent(&length, &code);
    get_cur_URL(data, length);
    EXPECT_EQ(notices_.ticks, c.ticks);
    ASSERT_EQ(notices_.shown.size(), 1U);
    EXPECT_EQ(notices_.shown[0].headline, "Button 2 now opens this page from its menu:");
    EXPECT_EQ(notices_.shown[0].url, "(" + url + ")");
    auto& state = driver_.mutable_state();
    const auto* entry = state.response(state.apps.global(), refdriver::response_key(0, 0x13, 1));
    const auto* text =
        state.dataspaces.find(state.apps.global(), decode_act_item(entry->items.data()).ch12);
    EXPECT_EQ(std::string(text->begin(), text->end()), url + '\0');
    EXPECT_NE(user_file_bytes().find(url), std::string::npos) << c.press_at;
  }
  EXPECT_EQ(global_record(90), (std::vector<uint8_t>{0, 0, 0, 1}));  // left by the refused one
  get_cur_URL(kCapture, 3);
  EXPECT_EQ(notices_.shown.size(), 1U);
}

TEST(CaptureNotice, CutsTitleAndAddressToTheirRoomAndListsRefuseMalformedData) {
  std::string e32;
  for (int i = 0; i < 32; ++i) e32 += "\u00e9";
  const std::string a31(31, 'a'), u48(48, 'u');
  EXPECT_EQ(capture_notice(2, u48, a31).url + capture_notice(2, u48, a31).title,
            "(" + u48 + ")" + a31);
  EXPECT_EQ(capture_notice(2, u48 + "v", a31 + "b").url + capture_notice(2, "", a31 + "b").title,
            "(" + u48.substr(1) + "\u2026)" + a31.substr(3) + "\u2026");
  EXPECT_EQ(capture_notice(2, "", e32).title, e32.substr(0, 56) + "\u2026");
  std::vector<AEDesc> items;
  for (const std::vector<uint8_t>& data : std::vector<std::vector<uint8_t>>{
           {0, 0, 0},
           {0, 0, 0, 2, 1, 1, 1, 1, 0, 0, 0, 0},
           {0, 0, 0, 1, 1, 1, 1, 1, 0, 0, 0, 9, 1},
           {0, 0, 0, 0, 7}})  // no count, a count or a length beyond the data, bytes left over
    EXPECT_EQ(list_items(AEDesc{typeAEList, data}, items), errAECorruptData);
}

TEST_F(CaptureTest, FirefoxPageFromItsWindowAndAccessibilityTree) {
  const ScopedEnv a11y_bus("AT_SPI_BUS_ADDRESS", kBus.address());
  std::vector<A11yObject> tree = {
      {"/org/a11y/atspi/accessible/root", 14, 0, {"/app"}, ""},
      {"/app", 75, 0, {"/dialog", "/frame"}, ""},
      {"/dialog", 23, 0, {}, ""},
      {"/frame", 23, 1U << 1, {"/bar", "/tab1", "/tab2"}, ""},  // active
      {"/bar", 79, 0, {}, "typed.test"},
      {"/tab1", 95, 0, {}, "http://hidden.test/"},
      {"/tab2", 95, 1U << 25, {}, "http://shown.test/"},  // showing
  };
  const Answer answer = [&](auto path, auto method, GVariant* args) {
    return describe(tree, path, method, args);
  };
  const auto registry = peer("org.a11y.atspi.Registry", answer);
  desktop_.title = "Shown \u2014 Mozilla Firefox";
  // Each round takes the address found away, and the next finds the one after.
  for (const std::string expected : {"http://shown.test/", "http://hidden.test/", "typed.test"}) {
    EXPECT_EQ(captured("firefox"), expected + " Shown");
    tree[tree.size() - (expected[7] == 's' ? 1 : 2)].text.clear();
  }
  desktop_.title.clear();
  EXPECT_EQ(captured("firefox"), "-600");
}

TEST(CaptureHeadless, EveryPartGivesUpQuietly) {
  const ScopedEnv no_display("DISPLAY", ""), no_wayland("WAYLAND_DISPLAY", ""),
      bundle("CORVEX_BUNDLE", CX_AGENT_BUNDLE);
  ::testing::internal::CaptureStderr();
  std::string url, title;
  EXPECT_EQ(get_top_URL_info(url, title), procNotFound);  // no front process
  get_cur_URL(kCapture, 2);
  EXPECT_EQ(dialogs().open_capture_notice({}), nullptr);
  EXPECT_FALSE(accessibility().document_address(getpid(), url));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace cx::test
