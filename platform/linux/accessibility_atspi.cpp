// The accessibility tree over AT-SPI: the session bus names the
// accessibility bus (org.a11y.Bus), whose registry lists the applications
// that describe themselves. An application is matched to a process by its
// connection's pid; its active frame's showing document gives the address
// (Firefox's "DocURL", Chromium's "URI"), else the first entry with text
// outside the documents (the address bar).
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "platform/accessibility.h"
#include "platform/linux/apple_events_glib.h"

namespace cx::platform {
namespace {

using dbus_ae::ConnectionPtr;
using dbus_ae::VariantPtr;

constexpr char kAccessible[] = "org.a11y.atspi.Accessible";
constexpr char kRegistry[] = "org.a11y.atspi.Registry";
constexpr char kRoot[] = "/org/a11y/atspi/accessible/root";
// A tree that answers this slowly is not worth waiting for: one call each.
constexpr int kCallMsec = 1000;
// Browser chrome is a few hundred objects; documents are not walked into.
constexpr int kObjectBudget = 600;

// Roles and states of the AT-SPI enumerations.
constexpr guint32 kRoleFrame = 23;
constexpr guint32 kRoleEntry = 79;
constexpr guint32 kRoleText = 61;  // GTK's entries
constexpr guint32 kRoleDocumentFrame = 82;
constexpr guint32 kRoleDocumentWeb = 95;
constexpr guint32 kStateActive = 1;
constexpr guint32 kStateShowing = 25;
constexpr guint32 kStateSingleLine = 26;
constexpr const char* kAddressAttributes[] = {"DocURL", "URI"};

struct Node {
  std::string bus_name;
  std::string path;
};

class Tree {
 public:
  explicit Tree(GDBusConnection* bus) : bus_(bus) {}

  VariantPtr call(const Node& node, const char* interface, const char* method, GVariant* args,
                  const char* reply_type) {
    if (failed_) {
      if (args != nullptr) g_variant_unref(g_variant_ref_sink(args));
      return nullptr;
    }
    GError* raw_error = nullptr;
    VariantPtr reply(g_dbus_connection_call_sync(
        bus_, node.bus_name.c_str(), node.path.c_str(), interface, method, args,
        G_VARIANT_TYPE(reply_type), G_DBUS_CALL_FLAGS_NO_AUTO_START, kCallMsec, nullptr,
        &raw_error));
    const dbus_ae::ErrorPtr error(raw_error);
    // An object may lack an interface; an application that hangs or leaves
    // ends the walk.
    failed_ = error && (g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_TIMED_OUT) ||
                        g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CLOSED) ||
                        g_error_matches(error.get(), G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY) ||
                        g_error_matches(error.get(), G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
                        g_error_matches(error.get(), G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER));
    return reply;
  }

  std::vector<Node> children(const Node& node) {
    std::vector<Node> out;
    const VariantPtr reply = call(node, kAccessible, "GetChildren", nullptr, "(a(so))");
    if (!reply) return out;
    GVariantIter* iter = nullptr;
    g_variant_get(reply.get(), "(a(so))", &iter);
    const char* name = nullptr;
    const char* path = nullptr;
    while (g_variant_iter_next(iter, "(&s&o)", &name, &path)) out.push_back({name, path});
    g_variant_iter_free(iter);
    return out;
  }

  guint32 role(const Node& node) {
    const VariantPtr reply = call(node, kAccessible, "GetRole", nullptr, "(u)");
    guint32 value = 0;
    if (reply) g_variant_get(reply.get(), "(u)", &value);
    return value;
  }

  bool has_state(const Node& node, guint32 state) {
    const VariantPtr reply = call(node, kAccessible, "GetState", nullptr, "(au)");
    if (!reply) return false;
    const VariantPtr words(g_variant_get_child_value(reply.get(), 0));
    gsize count = 0;
    const auto* bits = static_cast<const guint32*>(
        g_variant_get_fixed_array(words.get(), &count, sizeof(guint32)));
    return state / 32 < count && (bits[state / 32] >> (state % 32) & 1) != 0;
  }

  std::string string_reply(const Node& node, const char* interface, const char* method,
                           GVariant* args) {
    const VariantPtr reply = call(node, interface, method, args, "(s)");
    const char* text = nullptr;
    if (reply) g_variant_get(reply.get(), "(&s)", &text);
    return text != nullptr ? text : "";
  }

  std::string document_address(const Node& document) {
    for (const char* attribute : kAddressAttributes) {
      std::string value = string_reply(document, "org.a11y.atspi.Document", "GetAttributeValue",
                                       g_variant_new("(s)", attribute));
      if (!value.empty()) return value;
    }
    return {};
  }

  std::string entry_text(const Node& entry) {
    return string_reply(entry, "org.a11y.atspi.Text", "GetText", g_variant_new("(ii)", 0, -1));
  }

  bool usable() const { return !failed_; }

 private:
  GDBusConnection* bus_;
  bool failed_ = false;
};

// The registry's application whose connection belongs to `pid`.
bool find_application(GDBusConnection* bus, Tree& tree, pid_t pid, Node& app) {
  for (Node& candidate : tree.children({kRegistry, kRoot})) {
    const VariantPtr reply(g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetConnectionUnixProcessID", g_variant_new("(s)", candidate.bus_name.c_str()),
        G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, kCallMsec, nullptr, nullptr));
    guint32 owner = 0;
    if (reply) g_variant_get(reply.get(), "(u)", &owner);
    if (reply && owner == static_cast<guint32>(pid)) {
      app = std::move(candidate);
      return true;
    }
  }
  return false;
}

// The active frame, else the first one.
bool find_frame(Tree& tree, const Node& app, Node& frame) {
  bool found = false;
  for (Node& child : tree.children(app)) {
    if (tree.role(child) != kRoleFrame) continue;
    if (tree.has_state(child, kStateActive)) {
      frame = std::move(child);
      return true;
    }
    if (!found) frame = child;
    found = true;
  }
  return found;
}

// Breadth first, so that the chrome's address bar and the page's document
// are met before anything deep.
std::string frame_address(Tree& tree, const Node& frame) {
  std::deque<Node> queue{frame};
  std::string entry;
  std::string hidden_document;
  for (int budget = kObjectBudget; budget > 0 && !queue.empty() && tree.usable(); --budget) {
    const Node node = std::move(queue.front());
    queue.pop_front();
    const guint32 role = tree.role(node);
    if (role == kRoleDocumentWeb || role == kRoleDocumentFrame) {
      // Background tabs keep their documents in the tree, not showing.
      if (tree.has_state(node, kStateShowing)) {
        if (std::string address = tree.document_address(node); !address.empty()) return address;
      } else if (hidden_document.empty()) {
        hidden_document = tree.document_address(node);
      }
      continue;
    }
    if (entry.empty() &&
        (role == kRoleEntry || (role == kRoleText && tree.has_state(node, kStateSingleLine))))
      entry = tree.entry_text(node);
    for (Node& child : tree.children(node)) queue.push_back(std::move(child));
  }
  return !hidden_document.empty() ? hidden_document : entry;
}

class AtspiAccessibility final : public Accessibility {
 public:
  bool document_address(pid_t pid, std::string& address) override {
    const ConnectionPtr bus = accessibility_bus();
    if (!bus) return false;
    Tree tree(bus.get());
    Node app, frame;
    if (find_application(bus.get(), tree, pid, app) && find_frame(tree, app, frame))
      address = frame_address(tree, frame);
    g_dbus_connection_close_sync(bus.get(), nullptr, nullptr);
    return !address.empty();
  }

 private:
  // A private connection to the accessibility bus: the one AT_SPI_BUS_ADDRESS
  // names, as for every AT-SPI client, else the one its launcher announces
  // when it runs. Nothing here starts the launcher, since that would turn
  // accessibility on.
  static ConnectionPtr accessibility_bus() {
    std::string address;
    if (const char* named = g_getenv("AT_SPI_BUS_ADDRESS")) address = named;
    const ConnectionPtr session(
        address.empty() ? g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr) : nullptr);
    const VariantPtr reply(session
                               ? g_dbus_connection_call_sync(
                                     session.get(), "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus",
                                     "GetAddress", nullptr, G_VARIANT_TYPE("(s)"),
                                     G_DBUS_CALL_FLAGS_NO_AUTO_START, kCallMsec, nullptr, nullptr)
                               : nullptr);
    const char* announced = nullptr;
    if (reply) g_variant_get(reply.get(), "(&s)", &announced);
    if (announced != nullptr) address = announced;
    if (address.empty()) return nullptr;
    return ConnectionPtr(g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr));
  }
};

Accessibility* g_installed = nullptr;

}  // namespace

Accessibility& accessibility() {
  if (g_installed != nullptr) return *g_installed;
  static AtspiAccessibility desktop;
  return desktop;
}

void set_accessibility(Accessibility* a) {
  g_installed = a;
}

}  // namespace cx::platform
