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

#include "tests/platform/private_session_bus.h"

namespace cx {
namespace {

constexpr const char* kItemPath = "/StatusNotifierItem";
constexpr const char* kItemInterface = "org.kde.StatusNotifierItem";
constexpr const char* kMenuInterface = "com.canonical.dbusmenu";
constexpr const char* kWatcherName = "org.kde.StatusNotifierWatcher";
constexpr const char* kWatcherPath = "/StatusNotifierWatcher";

struct VariantUnref {
  void operator()(GVariant* value) const { g_variant_unref(value); }
};
using Variant = std::unique_ptr<GVariant, VariantUnref>;

Variant child(GVariant* value, gsize index) {
  return Variant(g_variant_get_child_value(value, index));
}

Variant lookup(GVariant* dictionary, const char* key) {
  return Variant(g_variant_lookup_value(dictionary, key, nullptr));
}

std::string text(const Variant& value) {
  return value ? g_variant_get_string(value.get(), nullptr) : "<none>";
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

struct Registration {
  std::string sender;
  std::string service;
};

struct Signal {
  std::string sender;
  std::string path;
  std::string member;
  Variant parameters;
};

Helper g_helper;
GDBusConnection* g_host = nullptr;  // the panel's and the watcher's connection
bool g_watcher_owned = false;
bool g_hold_registration_replies = false;
std::vector<GDBusMethodInvocation*> g_held_replies;
std::vector<Registration> g_registrations;
std::vector<Signal> g_signals;
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

bool spin_until(const std::function<bool()>& done, guint timeout_ms = 5000) {
  bool expired = false;
  const guint timer = g_timeout_add(
      timeout_ms,
      [](gpointer flag) -> gboolean {
        *static_cast<bool*>(flag) = true;
        return G_SOURCE_REMOVE;
      },
      &expired);
  while (!done() && !expired) g_main_context_iteration(nullptr, TRUE);
  if (!expired) g_source_remove(timer);
  return done();
}

void spin_for(guint ms) {
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
        if (error != nullptr) {
          waiting->reply.error = error->message;
          g_error_free(error);
        }
        waiting->done = true;
      },
      &pending);
  spin_until([&] { return pending.done; }, 10000);
  return std::move(pending.reply);
}

Variant property(const std::string& destination, const char* path, const char* interface,
                 const char* name) {
  Reply reply = call(destination, path, "org.freedesktop.DBus.Properties", "Get",
                     g_variant_new("(ss)", interface, name));
  EXPECT_EQ(reply.error, "") << name;
  if (!reply.value) return nullptr;
  Variant boxed = child(reply.value.get(), 0);
  return Variant(g_variant_get_variant(boxed.get()));
}

void bus_call(const char* method, GVariant* parameters) {
  GVariant* reply = g_dbus_connection_call_sync(
      g_host, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
      parameters, nullptr, G_DBUS_CALL_FLAGS_NONE, 4000, nullptr, nullptr);
  if (reply != nullptr) g_variant_unref(reply);
}

void own_watcher() {
  if (g_watcher_owned) return;
  bus_call("RequestName", g_variant_new("(su)", kWatcherName, 4u));  // DO_NOT_QUEUE
  g_watcher_owned = true;
}

void release_watcher() {
  if (!g_watcher_owned) return;
  bus_call("ReleaseName", g_variant_new("(s)", kWatcherName));
  g_watcher_owned = false;
}

bool name_has_owner(const std::string& name) {
  GVariant* reply = g_dbus_connection_call_sync(
      g_host, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
      "NameHasOwner", g_variant_new("(s)", name.c_str()), nullptr, G_DBUS_CALL_FLAGS_NONE, 4000,
      nullptr, nullptr);
  gboolean owned = FALSE;
  if (reply != nullptr) {
    g_variant_get(reply, "(b)", &owned);
    g_variant_unref(reply);
  }
  return owned;
}

void on_register_item(GDBusConnection*, const gchar* sender, const gchar*, const gchar*,
                      const gchar*, GVariant* parameters, GDBusMethodInvocation* invocation,
                      gpointer) {
  const gchar* service = nullptr;
  g_variant_get(parameters, "(&s)", &service);
  g_registrations.push_back({sender, service});
  if (g_hold_registration_replies) {
    g_held_replies.push_back(invocation);
  } else {
    g_dbus_method_invocation_return_value(invocation, nullptr);
  }
}

void on_signal(GDBusConnection*, const gchar* sender, const gchar* path, const gchar* interface,
               const gchar* member, GVariant* parameters, gpointer) {
  const std::string_view from(interface);
  if (from != kItemInterface && from != kMenuInterface) return;
  g_signals.push_back({sender, path, member, Variant(g_variant_ref(parameters))});
}

std::vector<const Signal*> signals_named(const std::string& sender, const std::string& member) {
  std::vector<const Signal*> found;
  for (const Signal& signal : g_signals) {
    if (signal.sender == sender && signal.member == member) found.push_back(&signal);
  }
  return found;
}

// One menu item as GetLayout returns it.
struct Node {
  gint32 id = -1;
  Variant properties;
  std::vector<Node> children;
};

Node parse_layout(GVariant* layout) {
  Node node;
  node.id = g_variant_get_int32(child(layout, 0).get());
  node.properties = child(layout, 1);
  const Variant children = child(layout, 2);
  for (gsize i = 0; i < g_variant_n_children(children.get()); ++i) {
    const Variant boxed = child(children.get(), i);
    const Variant inner(g_variant_get_variant(boxed.get()));
    node.children.push_back(parse_layout(inner.get()));
  }
  return node;
}

class MenuExtraTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    bus_ = std::make_unique<testing::PrivateSessionBus>();
    if (bus_->address().empty()) return;
    setenv("DBUS_SESSION_BUS_ADDRESS", bus_->address().c_str(), 1);
    g_host = g_dbus_connection_new_for_address_sync(
        bus_->address().c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    if (g_host == nullptr) return;
    watcher_info_ = g_dbus_node_info_new_for_xml(
        "<node><interface name='org.kde.StatusNotifierWatcher'>"
        "<method name='RegisterStatusNotifierItem'><arg type='s' direction='in'/></method>"
        "</interface></node>",
        nullptr);
    static const GDBusInterfaceVTable vtable = {&on_register_item, nullptr, nullptr, {}};
    g_dbus_connection_register_object(g_host, kWatcherPath, watcher_info_->interfaces[0], &vtable,
                                      nullptr, nullptr, nullptr);
    g_dbus_connection_signal_subscribe(g_host, nullptr, nullptr, nullptr, nullptr, nullptr,
                                       G_DBUS_SIGNAL_FLAGS_NONE, &on_signal, nullptr, nullptr);
    g_helper.load();
  }

  static void TearDownTestSuite() {
    if (g_helper.handle != nullptr) g_helper.unload();
    if (g_host != nullptr) {
      g_dbus_connection_close_sync(g_host, nullptr, nullptr);
      g_clear_object(&g_host);
    }
    if (watcher_info_ != nullptr) g_dbus_node_info_unref(watcher_info_);
    bus_.reset();
  }

  void SetUp() override {
    ASSERT_FALSE(bus_->address().empty()) << "dbus-daemon did not start";
    ASSERT_NE(g_host, nullptr);
    ASSERT_NE(g_helper.handle, nullptr) << dlerror();
    g_registrations.clear();
    g_signals.clear();
    g_scrolling = 0;
    g_queries = 0;
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
    return g_registrations.size() > before ? g_registrations.back().service : "";
  }

  static Node layout(const std::string& name, gint32 parent, gint32 depth,
                     std::vector<const char*> properties = {}) {
    properties.push_back(nullptr);
    Reply reply = call(name, "/MenuBar", kMenuInterface, "GetLayout",
                       g_variant_new("(ii^as)", parent, depth, properties.data()));
    EXPECT_EQ(reply.error, "");
    if (!reply.value) return {};
    return parse_layout(child(reply.value.get(), 1).get());
  }

  static Reply event(const std::string& name, gint32 id, const char* event_id) {
    return call(name, "/MenuBar", kMenuInterface, "Event",
                g_variant_new("(isvu)", id, event_id, g_variant_new_int32(0), 0u));
  }

  static std::unique_ptr<testing::PrivateSessionBus> bus_;
  static GDBusNodeInfo* watcher_info_;
};

std::unique_ptr<testing::PrivateSessionBus> MenuExtraTest::bus_;
GDBusNodeInfo* MenuExtraTest::watcher_info_ = nullptr;

TEST_F(MenuExtraTest, RegistersItsOwnBusNameAndDescribesTheItem) {
  const std::string name = start();
  ASSERT_EQ(g_registrations.size(), 1u);
  EXPECT_EQ(name, g_registrations[0].sender);
  EXPECT_EQ(name.front(), ':');

  EXPECT_EQ(text(property(name, kItemPath, kItemInterface, "Category")), "Hardware");
  EXPECT_EQ(text(property(name, kItemPath, kItemInterface, "Id")), "corvex-menu-extra");
  EXPECT_EQ(text(property(name, kItemPath, kItemInterface, "Title")), "Corvex");
  EXPECT_EQ(text(property(name, kItemPath, kItemInterface, "Status")), "Passive");
  EXPECT_NE(text(property(name, kItemPath, kItemInterface, "IconName")), "");
  const Variant is_menu = property(name, kItemPath, kItemInterface, "ItemIsMenu");
  ASSERT_TRUE(is_menu);
  EXPECT_TRUE(g_variant_get_boolean(is_menu.get()));
  const Variant menu = property(name, kItemPath, kItemInterface, "Menu");
  ASSERT_TRUE(menu);
  ASSERT_TRUE(g_variant_is_of_type(menu.get(), G_VARIANT_TYPE_OBJECT_PATH));
  EXPECT_STREQ(g_variant_get_string(menu.get(), nullptr), "/MenuBar");
  const Variant tool_tip = property(name, kItemPath, kItemInterface, "ToolTip");
  ASSERT_TRUE(tool_tip);
  EXPECT_STREQ(g_variant_get_type_string(tool_tip.get()), "(sa(iiay)ss)");
  EXPECT_EQ(text(child(tool_tip.get(), 3)), "Horizontal scrolling is off");

  const Variant version = property(name, "/MenuBar", kMenuInterface, "Version");
  ASSERT_TRUE(version);
  EXPECT_EQ(g_variant_get_uint32(version.get()), 3u);
  EXPECT_EQ(text(property(name, "/MenuBar", kMenuInterface, "TextDirection")), "ltr");
  EXPECT_EQ(text(property(name, "/MenuBar", kMenuInterface, "Status")), "normal");
}

TEST_F(MenuExtraTest, LayoutShowsBothItemsWithTheDriversToggleState) {
  g_scrolling = 1;
  const std::string name = start();

  const Node root = layout(name, 0, -1);
  EXPECT_EQ(root.id, 0);
  EXPECT_EQ(text(lookup(root.properties.get(), "children-display")), "submenu");
  ASSERT_EQ(root.children.size(), 2u);
  const Node& scrolling = root.children[0];
  EXPECT_EQ(scrolling.id, 1);
  EXPECT_EQ(text(lookup(scrolling.properties.get(), "label")), "Horizontal Scrolling");
  EXPECT_EQ(text(lookup(scrolling.properties.get(), "toggle-type")), "checkmark");
  const Variant state = lookup(scrolling.properties.get(), "toggle-state");
  ASSERT_TRUE(state);
  EXPECT_EQ(g_variant_get_int32(state.get()), 1);
  const Node& preferences = root.children[1];
  EXPECT_EQ(preferences.id, 2);
  EXPECT_EQ(text(lookup(preferences.properties.get(), "label")), "Open Corvex Preferences...");
  EXPECT_FALSE(lookup(preferences.properties.get(), "toggle-type"));

  // Depth 0 stops at the parent; a property list filters every item.
  EXPECT_TRUE(layout(name, 0, 0).children.empty());
  const Node filtered = layout(name, 0, 1, {"toggle-state"});
  ASSERT_EQ(filtered.children.size(), 2u);
  EXPECT_EQ(g_variant_n_children(filtered.children[0].properties.get()), 1u);
  EXPECT_EQ(g_variant_n_children(filtered.children[1].properties.get()), 0u);
  EXPECT_EQ(layout(name, 2, -1).id, 2);

  const char* all[] = {nullptr};
  Reply unknown =
      call(name, "/MenuBar", kMenuInterface, "GetLayout", g_variant_new("(ii^as)", 7, -1, all));
  EXPECT_NE(unknown.error, "");

  const gint32 ids[] = {2, 9};
  const char* label_only[] = {"label", nullptr};
  Reply group =
      call(name, "/MenuBar", kMenuInterface, "GetGroupProperties",
           g_variant_new("(@ai^as)",
                         g_variant_new_fixed_array(G_VARIANT_TYPE_INT32, ids, 2, sizeof(gint32)),
                         label_only));
  ASSERT_EQ(group.error, "");
  const Variant entries = child(group.value.get(), 0);
  ASSERT_EQ(g_variant_n_children(entries.get()), 1u);
  const Variant entry = child(entries.get(), 0);
  EXPECT_EQ(g_variant_get_int32(child(entry.get(), 0).get()), 2);
  EXPECT_EQ(text(lookup(child(entry.get(), 1).get(), "label")), "Open Corvex Preferences...");

  Reply single = call(name, "/MenuBar", kMenuInterface, "GetProperty",
                      g_variant_new("(is)", 1, "toggle-state"));
  ASSERT_EQ(single.error, "");
  const Variant single_value(g_variant_get_variant(child(single.value.get(), 0).get()));
  EXPECT_EQ(g_variant_get_int32(single_value.get()), 1);
  EXPECT_NE(call(name, "/MenuBar", kMenuInterface, "GetProperty",
                 g_variant_new("(is)", 2, "toggle-state"))
                .error,
            "");
}

TEST_F(MenuExtraTest, ClickingTheItemsRunsTheAgentsCommands) {
  const std::string name = start();

  EXPECT_EQ(event(name, 1, "clicked").error, "");
  EXPECT_EQ(g_commands, std::vector<int>{1});
  // The agent's callback updated the helper from inside the click: the checkmark follows.
  ASSERT_TRUE(spin_until([&] { return !signals_named(name, "NewToolTip").empty(); }));
  const auto updated = signals_named(name, "ItemsPropertiesUpdated");
  ASSERT_EQ(updated.size(), 1u);
  EXPECT_EQ(updated[0]->path, "/MenuBar");
  const Variant items = child(updated[0]->parameters.get(), 0);
  ASSERT_EQ(g_variant_n_children(items.get()), 1u);
  const Variant item = child(items.get(), 0);
  EXPECT_EQ(g_variant_get_int32(child(item.get(), 0).get()), 1);
  const Variant state = lookup(child(item.get(), 1).get(), "toggle-state");
  ASSERT_TRUE(state);
  EXPECT_EQ(g_variant_get_int32(state.get()), 1);
  EXPECT_EQ(signals_named(name, "LayoutUpdated").size(), 1u);
  const Variant now = lookup(layout(name, 1, 0).properties.get(), "toggle-state");
  ASSERT_TRUE(now);
  EXPECT_EQ(g_variant_get_int32(now.get()), 1);

  EXPECT_EQ(event(name, 2, "clicked").error, "");
  EXPECT_EQ(event(name, 1, "hovered").error, "");
  EXPECT_EQ(event(name, 0, "clicked").error, "");
  EXPECT_NE(event(name, 42, "clicked").error, "");
  EXPECT_EQ(g_commands, (std::vector<int>{1, 2}));

  Reply group =
      call(name, "/MenuBar", kMenuInterface, "EventGroup",
           g_variant_new_parsed("([(2, 'clicked', <0>, @u 0), (5, 'clicked', <0>, 0)],)"));
  ASSERT_EQ(group.error, "");
  const Variant id_errors = child(group.value.get(), 0);
  ASSERT_EQ(g_variant_n_children(id_errors.get()), 1u);
  EXPECT_EQ(g_variant_get_int32(child(id_errors.get(), 0).get()), 5);
  EXPECT_EQ(g_commands, (std::vector<int>{1, 2, 2}));
}

TEST_F(MenuExtraTest, SetVisibleSwitchesTheStatusAndSignalsEachChangeOnce) {
  const std::string name = start();
  auto statuses = [&] {
    std::vector<std::string> seen;
    for (const Signal* signal : signals_named(name, "NewStatus")) {
      seen.push_back(text(child(signal->parameters.get(), 0)));
    }
    return seen;
  };

  g_helper.set_visible(1);
  ASSERT_TRUE(spin_until([&] { return statuses().size() == 1; }));
  EXPECT_EQ(text(property(name, kItemPath, kItemInterface, "Status")), "Active");
  g_helper.set_visible(2);
  g_helper.set_visible(0);
  ASSERT_TRUE(spin_until([&] { return statuses().size() >= 2; }));
  EXPECT_EQ(statuses(), (std::vector<std::string>{"Active", "Passive"}));
  EXPECT_EQ(text(property(name, kItemPath, kItemInterface, "Status")), "Passive");
  EXPECT_TRUE(g_commands.empty());
}

TEST_F(MenuExtraTest, UpdateAndAboutToShowRereadTheToggleAndSignalOnlyChanges) {
  const std::string name = start();
  const int queries = g_queries;
  g_helper.update();
  EXPECT_EQ(g_queries, queries + 1);
  g_scrolling = 1;
  g_helper.update();
  ASSERT_TRUE(spin_until([&] { return !signals_named(name, "NewToolTip").empty(); }));
  EXPECT_EQ(signals_named(name, "ItemsPropertiesUpdated").size(), 1u);
  EXPECT_EQ(text(child(property(name, kItemPath, kItemInterface, "ToolTip").get(), 3)),
            "Horizontal scrolling is on");

  g_scrolling = 0;
  auto about_to_show = [&] {
    Reply reply = call(name, "/MenuBar", kMenuInterface, "AboutToShow", g_variant_new("(i)", 0));
    EXPECT_EQ(reply.error, "");
    return reply.value && g_variant_get_boolean(child(reply.value.get(), 0).get());
  };
  EXPECT_TRUE(about_to_show());
  EXPECT_FALSE(about_to_show());
  EXPECT_EQ(signals_named(name, "ItemsPropertiesUpdated").size(), 2u);
  EXPECT_NE(call(name, "/MenuBar", kMenuInterface, "AboutToShow", g_variant_new("(i)", 8)).error,
            "");
  EXPECT_TRUE(g_commands.empty());
}

TEST_F(MenuExtraTest, RegistersAgainWheneverAWatcherAppears) {
  g_helper.initialize(&agent_callback);
  spin_for(200);
  EXPECT_TRUE(g_registrations.empty());

  own_watcher();
  ASSERT_TRUE(spin_until([] { return g_registrations.size() == 1; }));
  release_watcher();
  own_watcher();
  ASSERT_TRUE(spin_until([] { return g_registrations.size() == 2; }));
  EXPECT_EQ(g_registrations[0].service, g_registrations[1].service);
}

TEST_F(MenuExtraTest, CleanupLeavesTheBusAndInitializeStartsAgain) {
  const std::string first = start();
  g_helper.cleanup();
  EXPECT_FALSE(name_has_owner(first));
  g_helper.cleanup();

  const std::string second = start();
  EXPECT_NE(second, first);
  EXPECT_EQ(layout(second, 0, -1).children.size(), 2u);
  EXPECT_EQ(event(second, 2, "clicked").error, "");
  EXPECT_EQ(g_commands, std::vector<int>{2});
}

TEST_F(MenuExtraTest, UnloadingWhileARegistrationIsUnansweredLeavesNothingPending) {
  g_hold_registration_replies = true;
  start();
  g_helper.cleanup();
  g_helper.unload();
  for (GDBusMethodInvocation* invocation : g_held_replies) {
    g_dbus_method_invocation_return_value(invocation, nullptr);
  }
  g_held_replies.clear();
  g_hold_registration_replies = false;
  spin_for(300);  // anything still queued for the unloaded code would run, and crash, here
  ASSERT_TRUE(g_helper.load()) << dlerror();
  EXPECT_EQ(layout(start(), 0, -1).children.size(), 2u);
}

TEST_F(MenuExtraTest, WithoutASessionBusEveryCallIsANoOp) {
  const std::string address = getenv("DBUS_SESSION_BUS_ADDRESS");
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
  setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
  EXPECT_EQ(g_queries, 0);
  EXPECT_TRUE(g_commands.empty());
  EXPECT_TRUE(g_registrations.empty());
  EXPECT_TRUE(g_signals.empty());
}

}  // namespace
}  // namespace cx
