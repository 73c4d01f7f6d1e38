// The menu-extra helper loaded with dlopen as the agent loads it, on a private session bus,
// with the test playing the status-notifier watcher and the panel that shows the menu.
#include <dlfcn.h>
#include <gio/gio.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/apple_events_glib.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace cx {
namespace {

constexpr const char* kItemPath = "/StatusNotifierItem";
constexpr const char* kItem = "org.kde.StatusNotifierItem";
constexpr const char* kMenu = "com.canonical.dbusmenu";
constexpr const char* kWatcherName = "org.kde.StatusNotifierWatcher";

using Variant = platform::dbus_ae::VariantPtr;

Variant child(GVariant* value, gsize index) {
  return Variant(g_variant_get_child_value(value, index));
}

// The helper's entry points, looked up as the agent does.
struct Helper {
  void* handle = nullptr;
  void (*initialize)(int (*)(int)) = nullptr;
  void (*update)() = nullptr;
  void (*cleanup)() = nullptr;
  void (*set_visible)(int) = nullptr;

  bool load() {
    handle = dlopen(CX_MENU_EXTRA_PATH, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) return false;
    initialize = reinterpret_cast<void (*)(int (*)(int))>(dlsym(handle, "initializeBundle"));
    update = reinterpret_cast<void (*)()>(dlsym(handle, "update"));
    cleanup = reinterpret_cast<void (*)()>(dlsym(handle, "cleanup"));
    set_visible = reinterpret_cast<void (*)(int)>(dlsym(handle, "setVisible"));
    return initialize && update && cleanup && set_visible;
  }
  void unload() {
    dlclose(handle);
    *this = Helper{};
  }
};

Helper g_helper;
GDBusConnection* g_host = nullptr;  // the panel's and the watcher's connection
bool g_hold_registration_replies = false;
std::vector<GDBusMethodInvocation*> g_held_replies;
std::vector<std::pair<std::string, std::string>> g_registrations;  // sender, service
std::vector<std::pair<std::string, std::string>> g_signals;  // sender, "PATH MEMBER PARAMETERS"
// The agent's side: the driver's horizontal-scrolling bit and the commands received.
int g_scrolling = 0;
int g_queries = 0;
std::vector<int> g_commands;

int agent_callback(int command) {
  if (command == -1) {
    ++g_queries;
    return g_scrolling;
  }
  g_commands.push_back(command);
  if (command == 1) {
    g_scrolling ^= 1;
    g_helper.update();  // the agent refreshes the menu extra right away
  }
  return 0;
}

bool spin_until(const std::function<bool()>& done, gint64 timeout_ms = 5000) {
  const gint64 end = g_get_monotonic_time() + timeout_ms * 1000;
  while (!done() && g_get_monotonic_time() < end) {
    if (!g_main_context_iteration(nullptr, FALSE)) g_usleep(1000);
  }
  return done();
}

void spin_for(gint64 ms) {
  spin_until([] { return false; }, ms);
}

struct Reply {
  Variant value;
  std::string error;
};

// Asynchronous, so that the helper (served by this same main context) can answer.
Reply call(const std::string& destination, const char* path, const char* interface,
           const char* method, GVariant* parameters) {
  struct Pending {
    bool done = false;
    Reply reply;
  } pending;
  g_dbus_connection_call(
      g_host, destination.c_str(), path, interface, method, parameters, nullptr,
      G_DBUS_CALL_FLAGS_NONE, 4000, nullptr,
      [](GObject* connection, GAsyncResult* result, gpointer data) {
        auto* waiting = static_cast<Pending*>(data);
        GError* error = nullptr;
        waiting->reply.value.reset(
            g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error));
        if (error != nullptr) waiting->reply.error = error->message;
        g_clear_error(&error);
        waiting->done = true;
      },
      &pending);
  spin_until([&] { return pending.done; }, 10000);
  return std::move(pending.reply);
}

Reply menu_call(const std::string& name, const char* method, GVariant* parameters) {
  return call(name, "/MenuBar", kMenu, method, parameters);
}

// A property of the item, or with `interface` kMenu of the menu.
Variant property(const std::string& name, const char* property, const char* interface = kItem) {
  Reply reply =
      call(name, interface == kItem ? kItemPath : "/MenuBar", "org.freedesktop.DBus.Properties",
           "Get", g_variant_new("(ss)", interface, property));
  EXPECT_EQ(reply.error, "") << property;
  if (!reply.value) return nullptr;
  return Variant(g_variant_get_variant(child(reply.value.get(), 0).get()));
}

Variant bus_call(const char* method, GVariant* parameters) {
  return Variant(g_dbus_connection_call_sync(
      g_host, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
      parameters, nullptr, G_DBUS_CALL_FLAGS_NONE, 4000, nullptr, nullptr));
}

void own_watcher() {
  bus_call("RequestName", g_variant_new("(su)", kWatcherName, 4u));  // DO_NOT_QUEUE
}
void release_watcher() {
  bus_call("ReleaseName", g_variant_new("(s)", kWatcherName));
}

std::string print(GVariant* value) {
  if (value == nullptr) return "<none>";
  gchar* printed = g_variant_print(value, TRUE);
  std::string result(printed);
  g_free(printed);
  return result;
}
std::string print(const Reply& reply) {
  return reply.error.empty() ? print(reply.value.get()) : "error";
}

// The signals `sender` sent so far, one a line.
std::string signals_text(const std::string& sender) {
  std::string lines;
  for (const auto& [from, line] : g_signals)
    if (from == sender) lines += line + "\n";
  return lines;
}

class MenuExtraTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    bus_ = std::make_unique<test::PrivateSessionBus>();
    if (bus_->address().empty()) return;
    g_host = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (g_host == nullptr) return;
    watcher_info_.reset(g_dbus_node_info_new_for_xml(
        "<node><interface name='org.kde.StatusNotifierWatcher'>"
        "<method name='RegisterStatusNotifierItem'><arg type='s' direction='in'/></method>"
        "</interface></node>",
        nullptr));
    static const GDBusInterfaceVTable vtable = {
        [](GDBusConnection*, const gchar* sender, const gchar*, const gchar*, const gchar*,
           GVariant* parameters, GDBusMethodInvocation* invocation, gpointer) {
          const gchar* service = nullptr;
          g_variant_get(parameters, "(&s)", &service);
          g_registrations.emplace_back(sender, service);
          if (g_hold_registration_replies)
            g_held_replies.push_back(invocation);
          else
            g_dbus_method_invocation_return_value(invocation, nullptr);
        },
        nullptr,
        nullptr,
        {}};
    g_dbus_connection_register_object(g_host, "/StatusNotifierWatcher",
                                      watcher_info_->interfaces[0], &vtable, nullptr, nullptr,
                                      nullptr);
    g_dbus_connection_signal_subscribe(
        g_host, nullptr, nullptr, nullptr, nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        [](GDBusConnection*, const gchar* sender, const gchar* path, const gchar* interface,
           const gchar* member, GVariant* parameters, gpointer) {
          const std::string_view from(interface);
          if (from == kItem || from == kMenu)
            g_signals.emplace_back(sender,
                                   std::string(path) + " " + member + " " + print(parameters));
        },
        nullptr, nullptr);
    g_helper.load();
  }

  static void TearDownTestSuite() {
    if (g_helper.handle != nullptr) g_helper.unload();
    if (g_host != nullptr) {
      g_dbus_connection_close_sync(g_host, nullptr, nullptr);
      g_clear_object(&g_host);
    }
    watcher_info_.reset();
    bus_.reset();
  }

  void SetUp() override {
    ASSERT_FALSE(bus_->address().empty()) << "dbus-daemon did not start";
    ASSERT_NE(g_host, nullptr);
    ASSERT_NE(g_helper.handle, nullptr) << dlerror();
    g_registrations.clear();
    g_signals.clear();
    g_scrolling = g_queries = 0;
    g_commands.clear();
  }

  void TearDown() override {
    if (g_helper.cleanup != nullptr) g_helper.cleanup();
    release_watcher();
  }

  // Starts the helper with a watcher running; its bus name as it registered itself.
  static std::string start() {
    own_watcher();
    const size_t before = g_registrations.size();
    g_helper.initialize(&agent_callback);
    EXPECT_TRUE(spin_until([&] { return g_registrations.size() > before; }));
    return g_registrations.size() > before ? g_registrations.back().second : "";
  }

  // GetLayout's answer without its revision, or "error".
  static std::string layout(const std::string& name, gint32 parent, gint32 depth,
                            std::vector<const char*> properties = {}) {
    properties.push_back(nullptr);
    Reply reply =
        menu_call(name, "GetLayout", g_variant_new("(ii^as)", parent, depth, properties.data()));
    return reply.value ? print(child(reply.value.get(), 1).get()) : print(reply);
  }

  static Reply event(const std::string& name, gint32 id, const char* event_id) {
    return menu_call(name, "Event",
                     g_variant_new("(isvu)", id, event_id, g_variant_new_int32(0), 0u));
  }

  static inline std::unique_ptr<test::PrivateSessionBus> bus_;
  static inline platform::dbus_ae::NodeInfoPtr watcher_info_{nullptr, &g_dbus_node_info_unref};
};

TEST_F(MenuExtraTest, RegistersItsOwnBusNameAndDescribesTheItem) {
  const std::string name = start();
  ASSERT_EQ(g_registrations.size(), 1u);
  EXPECT_EQ(name, g_registrations[0].first);
  EXPECT_EQ(name.front(), ':');
  const std::pair<const char*, const char*> item[] = {
      {"Category", "'Hardware'"},
      {"Id", "'corvex-menu-extra'"},
      {"Title", "'Corvex'"},
      {"Status", "'Passive'"},
      {"Menu", "objectpath '/MenuBar'"},
      {"ItemIsMenu", "true"},
      {"ToolTip", "('input-mouse', @a(iiay) [], 'Corvex', 'Horizontal scrolling is off')"},
      {"IconName", "'input-mouse'"},
  };
  for (const auto& [key, value] : item) EXPECT_EQ(print(property(name, key).get()), value) << key;
  const std::pair<const char*, const char*> menu[] = {
      {"Version", "uint32 3"}, {"TextDirection", "'ltr'"}, {"Status", "'normal'"}};
  for (const auto& [key, value] : menu)
    EXPECT_EQ(print(property(name, key, kMenu).get()), value) << key;
}

TEST_F(MenuExtraTest, LayoutShowsBothItemsWithTheDriversToggleState) {
  g_scrolling = 1;
  const std::string name = start();
  EXPECT_EQ(layout(name, 0, -1),
            "(0, {'children-display': <'submenu'>}, [<(1, {'label': <'Horizontal Scrolling'>, "
            "'toggle-type': <'checkmark'>, 'toggle-state': <1>}, @av [])>, "
            "<(2, {'label': <'Open Corvex Preferences...'>}, @av [])>])");
  // Depth 0 stops at the parent; a property list filters every item.
  EXPECT_EQ(layout(name, 0, 0), "(0, {'children-display': <'submenu'>}, @av [])");
  EXPECT_EQ(layout(name, 0, 1, {"toggle-state"}),
            "(0, @a{sv} {}, [<(1, {'toggle-state': <1>}, @av [])>, <(2, @a{sv} {}, @av [])>])");
  EXPECT_EQ(layout(name, 2, -1), "(2, {'label': <'Open Corvex Preferences...'>}, @av [])");
  EXPECT_EQ(layout(name, 7, -1), "error");

  EXPECT_EQ(
      print(menu_call(name, "GetGroupProperties", g_variant_new_parsed("([2, 9], ['label'])"))),
      "([(2, {'label': <'Open Corvex Preferences...'>})],)");
  EXPECT_EQ(print(menu_call(name, "GetProperty", g_variant_new("(is)", 1, "toggle-state"))),
            "(<1>,)");
  EXPECT_EQ(print(menu_call(name, "GetProperty", g_variant_new("(is)", 2, "toggle-state"))),
            "error");
}

TEST_F(MenuExtraTest, ClickingTheItemsRunsTheAgentsCommands) {
  const std::string name = start();
  EXPECT_EQ(print(event(name, 1, "clicked")), "()");
  EXPECT_EQ(g_commands, std::vector<int>{1});
  // The agent's callback updated the helper from inside the click: the checkmark follows.
  ASSERT_TRUE(spin_until([&] { return test::count_of(signals_text(name), "NewToolTip") == 1; }));
  EXPECT_EQ(signals_text(name),
            "/MenuBar ItemsPropertiesUpdated ([(1, {'label': <'Horizontal Scrolling'>, "
            "'toggle-type': <'checkmark'>, 'toggle-state': <1>})], @a(ias) [])\n"
            "/MenuBar LayoutUpdated (uint32 2, 0)\n/StatusNotifierItem NewToolTip ()\n");
  EXPECT_EQ(layout(name, 1, 0),
            "(1, {'label': <'Horizontal Scrolling'>, 'toggle-type': <'checkmark'>, 'toggle-state': "
            "<1>}, @av [])");

  EXPECT_EQ(print(event(name, 2, "clicked")), "()");
  EXPECT_EQ(print(event(name, 1, "hovered")), "()");
  EXPECT_EQ(print(event(name, 0, "clicked")), "()");
  EXPECT_EQ(print(event(name, 42, "clicked")), "error");
  EXPECT_EQ(g_commands, (std::vector<int>{1, 2}));
  // EventGroup answers the ids it does not know.
  EXPECT_EQ(print(menu_call(
                name, "EventGroup",
                g_variant_new_parsed("([(2, 'clicked', <0>, @u 0), (5, 'clicked', <0>, 0)],)"))),
            "([5],)");
  EXPECT_EQ(g_commands, (std::vector<int>{1, 2, 2}));
}

TEST_F(MenuExtraTest, SetVisibleSwitchesTheStatusAndSignalsEachChangeOnce) {
  const std::string name = start();
  g_helper.set_visible(1);
  ASSERT_TRUE(spin_until([&] { return test::count_of(signals_text(name), "NewStatus") == 1; }));
  EXPECT_EQ(print(property(name, "Status").get()), "'Active'");
  g_helper.set_visible(2);
  g_helper.set_visible(0);
  ASSERT_TRUE(spin_until([&] { return test::count_of(signals_text(name), "NewStatus") >= 2; }));
  EXPECT_EQ(print(property(name, "Status").get()), "'Passive'");
  EXPECT_EQ(
      signals_text(name),
      "/StatusNotifierItem NewStatus ('Active',)\n/StatusNotifierItem NewStatus ('Passive',)\n");
  EXPECT_TRUE(g_commands.empty());
}

TEST_F(MenuExtraTest, UpdateAndAboutToShowRereadTheToggleAndSignalOnlyChanges) {
  const std::string name = start();
  g_helper.update();
  EXPECT_EQ(g_queries, 2);  // once when it started
  g_scrolling = 1;
  g_helper.update();
  ASSERT_TRUE(spin_until([&] { return test::count_of(signals_text(name), "NewToolTip") == 1; }));
  EXPECT_EQ(test::count_of(signals_text(name), "ItemsPropertiesUpdated"), 1);
  EXPECT_EQ(print(child(property(name, "ToolTip").get(), 3).get()), "'Horizontal scrolling is on'");
  g_scrolling = 0;
  EXPECT_EQ(print(menu_call(name, "AboutToShow", g_variant_new("(i)", 0))), "(true,)");
  EXPECT_EQ(print(menu_call(name, "AboutToShow", g_variant_new("(i)", 0))), "(false,)");
  EXPECT_EQ(test::count_of(signals_text(name), "ItemsPropertiesUpdated"), 2);
  EXPECT_EQ(print(menu_call(name, "AboutToShow", g_variant_new("(i)", 8))), "error");
  EXPECT_TRUE(g_commands.empty());
}

TEST_F(MenuExtraTest, RegistersAgainWheneverAWatcherAppearsAndCleanupLeavesTheBus) {
  g_helper.initialize(&agent_callback);
  spin_for(200);
  EXPECT_TRUE(g_registrations.empty());
  own_watcher();
  ASSERT_TRUE(spin_until([] { return g_registrations.size() == 1; }));
  release_watcher();
  own_watcher();
  ASSERT_TRUE(spin_until([] { return g_registrations.size() == 2; }));
  const std::string first = g_registrations[1].second;
  EXPECT_EQ(g_registrations[0].second, first);

  g_helper.cleanup();
  EXPECT_EQ(print(bus_call("NameHasOwner", g_variant_new("(s)", first.c_str())).get()), "(false,)");
  g_helper.cleanup();
  const std::string second = start();
  EXPECT_NE(second, first);
  EXPECT_NE(layout(second, 0, -1), "error");
  EXPECT_EQ(event(second, 2, "clicked").error, "");
  EXPECT_EQ(g_commands, std::vector<int>{2});
}

TEST_F(MenuExtraTest, UnloadingWhileARegistrationIsUnansweredLeavesNothingPending) {
  g_hold_registration_replies = true;
  start();
  g_helper.cleanup();
  g_helper.unload();
  for (GDBusMethodInvocation* invocation : g_held_replies)
    g_dbus_method_invocation_return_value(invocation, nullptr);
  g_held_replies.clear();
  g_hold_registration_replies = false;
  spin_for(300);  // anything still queued for the unloaded code would run, and crash, here
  ASSERT_TRUE(g_helper.load()) << dlerror();
  EXPECT_NE(layout(start(), 0, -1), "error");
}

TEST_F(MenuExtraTest, WithoutASessionBusEveryCallIsANoOp) {
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/corvex-test-bus", 1);
  own_watcher();
  g_helper.cleanup();
  g_helper.initialize(&agent_callback);
  g_helper.update();
  g_helper.set_visible(1);
  g_helper.set_visible(0);
  spin_for(200);
  g_helper.cleanup();
  g_helper.cleanup();
  setenv("DBUS_SESSION_BUS_ADDRESS", bus_->address().c_str(), 1);
  EXPECT_EQ(g_queries, 0);
  EXPECT_TRUE(g_commands.empty());
  EXPECT_TRUE(g_registrations.empty());
  EXPECT_TRUE(g_signals.empty());
}

}  // namespace
}  // namespace cx
