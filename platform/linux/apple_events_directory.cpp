// The Apple-event participants on the session bus, answered from memory: one
// look at the bus on first use, then the bus daemon's NameOwnerChanged signals
// for com.velcorra.corvex.sig.* keep the list current from the main loop.
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/apple_events.h"
#include "platform/linux/apple_events_glib.h"
#include "platform/linux/apple_events_wire.h"
#include "platform/processes.h"

namespace cx::platform {
namespace {

using namespace dbus_ae;

constexpr char kBusService[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";
constexpr char kNamespace[] = "com.velcorra.corvex.sig";

// The signature a participant's bus name stands for; false for any other name.
bool signature_of(const std::string& name, OSType& signature) {
  const std::string prefix = kSignatureNamePrefix;
  if (name.size() != prefix.size() + 8 || name.compare(0, prefix.size(), prefix) != 0) return false;
  const std::string hex = name.substr(prefix.size());
  if (hex.find_first_not_of("0123456789ABCDEF") != std::string::npos) return false;
  signature = static_cast<OSType>(std::strtoul(hex.c_str(), nullptr, 16));
  return true;
}

class BusDirectory final : public SignatureDirectory {
 public:
  ~BusDirectory() override {
    if (subscription_ != 0) g_dbus_connection_signal_unsubscribe(bus_.get(), subscription_);
  }

  void participants(std::vector<SignedProcess>& out) override {
    start();
    out.clear();
    for (const Entry& entry : entries_) out.push_back(SignedProcess{entry.signature, entry.pid});
  }

 private:
  struct Entry {
    std::string name;
    OSType signature;
    pid_t pid;
  };

  void start() {
    if (started_) return;
    started_ = true;
    bus_.reset(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    if (!bus_) return;
    // Subscribed before listing, so that no owner change is missed in between.
    subscription_ = g_dbus_connection_signal_subscribe(
        bus_.get(), kBusService, kBusService, "NameOwnerChanged", kBusPath, kNamespace,
        G_DBUS_SIGNAL_FLAGS_MATCH_ARG0_NAMESPACE, on_owner_changed, this, nullptr);
    const VariantPtr names(g_dbus_connection_call_sync(
        bus_.get(), kBusService, kBusPath, kBusService, "ListNames", nullptr, nullptr,
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    if (!names) return;
    GVariantIter* iter = nullptr;
    g_variant_get(names.get(), "(as)", &iter);
    const char* name = nullptr;
    while (g_variant_iter_next(iter, "&s", &name)) add(name);
    g_variant_iter_free(iter);
  }

  void add(const std::string& name) {
    OSType signature = 0;
    if (!signature_of(name, signature)) return;
    const VariantPtr answer(g_dbus_connection_call_sync(
        bus_.get(), kBusService, kBusPath, kBusService, "GetConnectionUnixProcessID",
        g_variant_new("(s)", name.c_str()), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    if (!answer) return;
    guint32 pid = 0;
    g_variant_get(answer.get(), "(u)", &pid);
    remove(name);
    entries_.push_back(Entry{name, signature, static_cast<pid_t>(pid)});
  }

  void remove(const std::string& name) {
    std::erase_if(entries_, [&](const Entry& entry) { return entry.name == name; });
  }

  static void on_owner_changed(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                               const gchar*, GVariant* parameters, gpointer user_data) {
    auto* self = static_cast<BusDirectory*>(user_data);
    const char* name = nullptr;
    const char* old_owner = nullptr;
    const char* new_owner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, &old_owner, &new_owner);
    if (*new_owner == '\0') {
      self->remove(name);
    } else {
      self->add(name);
    }
  }

  ConnectionPtr bus_;
  guint subscription_ = 0;
  bool started_ = false;
  std::vector<Entry> entries_;  // in the order the participants appeared
};

}  // namespace

SignatureDirectory& participant_directory() {
  static BusDirectory directory;
  return directory;
}

}  // namespace cx::platform
