// corvex-driverd: the reference driver. Serves the mouse driver (and
// optionally ADBID32Mouse instances) in the service directory, keeps the
// live settings, and takes simulation commands from corvex-driverctl.
#include <signal.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "refdriver/control_commands.h"
#include "refdriver/control_socket.h"
#include "refdriver/driver_sink.h"
#include "refdriver/driver_state.h"
#include "refdriver/event_codes.h"
#include "refdriver/input/evdev_backend.h"
#include "refdriver/logind_sessions.h"
#include "refdriver/request_handler.h"
#include "refdriver/simulator.h"
#include "refdriver/transport_server.h"

namespace {

using namespace cx::refdriver;

TransportServer* g_server = nullptr;

void on_signal(int) {
  if (g_server) g_server->stop();
}

void print_line(FILE* out, std::string_view text) {
  char stamp[32];
  const std::time_t now = std::time(nullptr);
  std::strftime(stamp, sizeof stamp, "%H:%M:%S", std::localtime(&now));
  std::fprintf(out, "%s %.*s\n", stamp, static_cast<int>(text.size()), text.data());
  std::fflush(out);
}

class DaemonSink : public DriverSink {
 public:
  void notify(uint32_t code, uint64_t argument) override {
    char line[96];
    std::snprintf(line, sizeof line, "message %u (0x%08x) argument %llu", code, message_type(code),
                  static_cast<unsigned long long>(argument));
    print_line(stdout, line);
    if (server) server->post_interest(message_type(code), argument);
  }
  void log(std::string_view line) override { print_line(stdout, line); }

  TransportServer* server = nullptr;
};

// Only the daemon's own user (or root) may drive the simulation.
class ControlHandler : public LineHandler {
 public:
  ControlHandler(Simulator& simulator, DriverState& state) : simulator_(simulator), state_(state) {}
  std::string line(const ClientPeer& peer, std::string_view text) override {
    if (peer.uid != getuid() && peer.uid != 0) return "error: not the driver's user\n";
    return run_control_command(simulator_, state_, text);
  }

 private:
  Simulator& simulator_;
  DriverState& state_;
};

struct Options {
  std::string directory;
  uint32_t adb_instances = 0;
  std::vector<uint32_t> attached;
  bool attached_given = false;
  uint32_t low_battery_interval = 300;
  uint32_t interface_version = kDriverVersion;
  uint32_t interface_revision = kDriverRevision;
  bool verbose = false;
  bool evdev = false;
};

bool parse_number(const char* text, uint32_t& out, int base = 10) {
  std::string_view s(text);
  if (base == 16 && (s.starts_with("0x") || s.starts_with("0X"))) s.remove_prefix(2);
  const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), out, base);
  return ec == std::errc{} && end == s.data() + s.size() && !s.empty();
}

void usage(FILE* out) {
  std::fprintf(out,
               "usage: corvex-driverd [--adb-instances N] [--attach UNIQUE-ID]...\n"
               "                      [--low-battery-interval SECONDS] [--verbose]\n"
               "                      [--interface-version HEX] [--interface-revision N]\n"
               "                      [--evdev]\n"
               "Serves the mouse driver in $CORVEX_IOKIT_DIR (default %s).\n"
               "--evdev: takes the machine's mice and acts through a uinput device.\n",
               kDefaultServiceDirectory.data());
}

bool parse_options(int argc, char** argv, Options& o) {
  const char* dir = std::getenv(kServiceDirectoryVariable.data());
  o.directory = dir && *dir ? dir : std::string(kDefaultServiceDirectory);
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i];
    const bool has_value = i + 1 < argc;
    uint32_t value = 0;
    if (arg == "--verbose" || arg == "-v") {
      o.verbose = true;
    } else if (arg == "--evdev") {
      o.evdev = true;
    } else if (arg == "--adb-instances" && has_value && parse_number(argv[++i], value)) {
      o.adb_instances = value;
    } else if (arg == "--attach" && has_value && parse_number(argv[++i], value)) {
      o.attached.push_back(value);
      o.attached_given = true;
    } else if (arg == "--low-battery-interval" && has_value && parse_number(argv[++i], value)) {
      o.low_battery_interval = value;
    } else if (arg == "--interface-version" && has_value && parse_number(argv[++i], value, 16)) {
      o.interface_version = value;
    } else if (arg == "--interface-revision" && has_value && parse_number(argv[++i], value)) {
      o.interface_revision = value;
    } else if (arg == "--help" || arg == "-h") {
      usage(stdout);
      std::exit(0);
    } else {
      return false;
    }
  }
  return o.adb_instances <= 64 && o.interface_version <= 0xFFFF && o.interface_revision <= 0xFF;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!parse_options(argc, argv, options)) {
    usage(stderr);
    return 2;
  }
  DriverState state;
  state.low_battery_interval = options.low_battery_interval;
  if (options.attached_given) state.devices.set_attached(options.attached);
  state.devices.interface_version = static_cast<uint16_t>(options.interface_version);
  state.devices.interface_revision = static_cast<uint8_t>(options.interface_revision);
  DaemonSink sink;
  LogindSessions sessions;
  RequestHandler handler(state, sink, options.verbose, &sessions);
  Simulator simulator(state, sink);
  ControlHandler control(simulator, state);

  std::string error;
  std::unique_ptr<TransportServer> server =
      TransportServer::create(options.directory, options.adb_instances, handler, error);
  if (!server || !server->add_line_socket(std::string(kControlSocketName), 0600, control, error)) {
    std::fprintf(stderr, "corvex-driverd: %s\n", error.c_str());
    return 1;
  }
  sink.server = server.get();
  g_server = server.get();
  std::unique_ptr<EvdevBackend> evdev;
  if (options.evdev && !(evdev = EvdevBackend::create(*server, state, sink, error))) {
    std::fprintf(stderr, "corvex-driverd: %s\n", error.c_str());
    return 1;
  }

  struct sigaction action {};
  action.sa_handler = on_signal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
  signal(SIGPIPE, SIG_IGN);

  print_line(stdout, "serving " + options.directory + " (" + std::to_string(options.adb_instances) +
                         " ADBID32Mouse instances)");
  server->run();
  evdev.reset();  // releases the grabs and the output's held buttons
  g_server = nullptr;
  sink.server = nullptr;
  server.reset();  // removes the sockets
  print_line(stdout, "stopped");
  return 0;
}
