#include "refdriver/input/evdev_backend.h"

#include <fcntl.h>
#include <libevdev/libevdev.h>
#include <libudev.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>

#include "platform/linux/user_client_fd.h"
#include "refdriver/input/key_codes.h"
#include "refdriver/input/pointer_engine.h"
#include "refdriver/input/uinput_sink.h"

namespace cx::refdriver {
namespace {

constexpr std::string_view kEventNodePrefix = "/dev/input/event";
constexpr const char* kUdevdControl = "/run/udev/control";

struct FreeDevice {
  void operator()(libevdev* d) const { libevdev_free(d); }
};
struct UnrefUdev {
  void operator()(udev* u) const { udev_unref(u); }
};
struct UnrefMonitor {
  void operator()(udev_monitor* m) const { udev_monitor_unref(m); }
};
struct UnrefEnumerate {
  void operator()(udev_enumerate* e) const { udev_enumerate_unref(e); }
};
struct UnrefUdevDevice {
  void operator()(udev_device* d) const { udev_device_unref(d); }
};

// Read, never grabbed, for the modifier keys held while a button goes down.
bool is_keyboard(const libevdev* d) {
  return libevdev_has_event_code(d, EV_KEY, KEY_LEFTSHIFT) &&
         libevdev_has_event_code(d, EV_KEY, KEY_A);
}

bool is_pointer(const libevdev* d) {
  return libevdev_has_event_code(d, EV_REL, REL_X) && libevdev_has_event_code(d, EV_REL, REL_Y) &&
         libevdev_has_event_code(d, EV_KEY, BTN_LEFT);
}

PresentDevice present_device(const libevdev* d) {
  PresentDevice p;
  p.vendor = static_cast<uint16_t>(libevdev_get_id_vendor(d));
  p.product = static_cast<uint16_t>(libevdev_get_id_product(d));
  for (const MouseButton& b : mouse_buttons())
    if (libevdev_has_event_code(d, EV_KEY, b.code)) ++p.buttons;
  p.wheel = libevdev_has_event_code(d, EV_REL, REL_WHEEL);
  p.pan_wheel = libevdev_has_event_code(d, EV_REL, REL_HWHEEL);
  return p;
}

uint64_t monotonic_us() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return uint64_t(now.tv_sec) * 1000000 + uint64_t(now.tv_nsec) / 1000;
}

}  // namespace

struct EvdevBackend::Impl {
  struct Input {
    uint32_t id;  // 0 for a keyboard
    UniqueFd fd;
    std::unique_ptr<libevdev, FreeDevice> device;
  };

  Impl(TransportServer& loop, DriverState& state, DriverSink& driver_sink,
       std::unique_ptr<UinputSink> output_device)
      : server(loop),
        sink(driver_sink),
        uinput(std::move(output_device)),
        output(*uinput),
        engine(state, driver_sink, output) {}

  void open(const std::string& path);
  void close(const std::string& path);
  void read(const std::string& path);
  void hotplug();
  void arm_timer();
  void log(const char* fmt, auto... args) {
    char line[512];
    std::snprintf(line, sizeof line, fmt, args...);
    sink.log(line);
  }

  TransportServer& server;
  DriverSink& sink;
  std::unique_ptr<UinputSink> uinput;
  PointerOutput output;
  PointerEngine engine;
  std::unique_ptr<udev, UnrefUdev> udev_context;
  std::unique_ptr<udev_monitor, UnrefMonitor> monitor;
  UniqueFd timer;
  std::map<std::string, Input> inputs;
  uint32_t next_id = 1;
};

void EvdevBackend::Impl::open(const std::string& path) {
  if (!path.starts_with(kEventNodePrefix) || inputs.count(path) || path == uinput->devnode())
    return;
  UniqueFd fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (fd.get() < 0) {
    if (errno != ENOENT) log("evdev: cannot open %s: %s", path.c_str(), std::strerror(errno));
    return;
  }
  libevdev* raw = nullptr;
  if (libevdev_new_from_fd(fd.get(), &raw) != 0) return;
  std::unique_ptr<libevdev, FreeDevice> device(raw);
  if (std::string_view(libevdev_get_name(raw)) == kOutputDeviceName) return;
  if (!is_pointer(raw)) {
    if (!is_keyboard(raw)) return;
    log("evdev: reading the modifier keys of %s (%s)", path.c_str(), libevdev_get_name(raw));
    server.watch(fd.get(), [this, path] { read(path); });
    inputs.emplace(path, Input{0, std::move(fd), std::move(device)});
    return;
  }
  // Time stamps on the clock of the chord timer.
  libevdev_set_clock_id(raw, CLOCK_MONOTONIC);
  if (const int rc = libevdev_grab(raw, LIBEVDEV_GRAB); rc != 0) {
    log("evdev: cannot grab %s: %s", path.c_str(), std::strerror(-rc));
    return;
  }
  const PresentDevice present = present_device(raw);
  const uint32_t id = next_id++;
  log("evdev: grabbed %s (%s, vendor 0x%04x product 0x%04x, %u buttons%s%s)", path.c_str(),
      libevdev_get_name(raw), present.vendor, present.product, present.buttons,
      present.wheel ? ", wheel" : "", present.pan_wheel ? ", pan wheel" : "");
  server.watch(fd.get(), [this, path] { read(path); });
  inputs.emplace(path, Input{id, std::move(fd), std::move(device)});
  engine.add_device(id, present);
}

void EvdevBackend::Impl::close(const std::string& path) {
  const auto it = inputs.find(path);
  if (it == inputs.end()) return;
  server.unwatch(it->second.fd.get());
  const uint32_t id = it->second.id;
  inputs.erase(it);  // the grab ends with the descriptor
  if (id == 0) return;
  log("evdev: released %s", path.c_str());
  engine.remove_device(id);
  arm_timer();
}

void EvdevBackend::Impl::read(const std::string& path) {
  const auto it = inputs.find(path);
  if (it == inputs.end()) return;
  libevdev* device = it->second.device.get();
  const uint32_t id = it->second.id;
  unsigned flags = LIBEVDEV_READ_FLAG_NORMAL;
  for (;;) {
    input_event ev{};
    const int rc = libevdev_next_event(device, flags, &ev);
    if (rc == LIBEVDEV_READ_STATUS_SYNC) {
      // Events were dropped: take the device's state as libevdev restores it.
      flags = LIBEVDEV_READ_FLAG_SYNC;
    } else if (rc == -EAGAIN && flags == LIBEVDEV_READ_FLAG_SYNC) {
      flags = LIBEVDEV_READ_FLAG_NORMAL;
      continue;
    } else if (rc != LIBEVDEV_READ_STATUS_SUCCESS) {
      if (rc != -EAGAIN) close(path);  // unplugged
      break;
    }
    const uint64_t time_us = uint64_t(ev.input_event_sec) * 1000000 + uint64_t(ev.input_event_usec);
    if (id == 0) {
      engine.keyboard({time_us, ev.type, ev.code, ev.value});
    } else {
      engine.handle(id, {time_us, ev.type, ev.code, ev.value});
    }
  }
  arm_timer();
}

void EvdevBackend::Impl::hotplug() {
  std::unique_ptr<udev_device, UnrefUdevDevice> device(udev_monitor_receive_device(monitor.get()));
  if (!device) return;
  const char* action = udev_device_get_action(device.get());
  const char* node = udev_device_get_devnode(device.get());
  if (!action || !node) return;
  if (std::strcmp(action, "add") == 0) open(node);
  if (std::strcmp(action, "remove") == 0) close(node);
}

void EvdevBackend::Impl::arm_timer() {
  itimerspec when{};
  if (const std::optional<uint64_t> deadline = engine.deadline()) {
    // Zero would disarm the timer: a deadline already past fires at once.
    const uint64_t at = std::max<uint64_t>(*deadline, 1);
    when.it_value.tv_sec = static_cast<time_t>(at / 1000000);
    when.it_value.tv_nsec = static_cast<long>(at % 1000000) * 1000;
  }
  timerfd_settime(timer.get(), TFD_TIMER_ABSTIME, &when, nullptr);
}

std::unique_ptr<EvdevBackend> EvdevBackend::create(TransportServer& server, DriverState& state,
                                                   DriverSink& sink, std::string& error) {
  std::unique_ptr<UinputSink> uinput = UinputSink::create(error);
  if (!uinput) return nullptr;
  auto impl = std::make_unique<Impl>(server, state, sink, std::move(uinput));
  impl->udev_context.reset(udev_new());
  impl->timer = UniqueFd(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
  if (!impl->udev_context || impl->timer.get() < 0) {
    error = "cannot reach udev";
    return nullptr;
  }
  Impl* self = impl.get();
  server.watch(impl->timer.get(), [self] {
    uint64_t expirations = 0;
    if (::read(self->timer.get(), &expirations, sizeof expirations) < 0) return;
    self->engine.expire(monotonic_us());
    self->arm_timer();
  });
  // Without a udev daemon (a container, an initramfs) the kernel's own
  // announcements are the only ones; its device nodes come from devtmpfs.
  const char* source = access(kUdevdControl, F_OK) == 0 ? "udev" : "kernel";
  impl->monitor.reset(udev_monitor_new_from_netlink(impl->udev_context.get(), source));
  if (impl->monitor) {
    udev_monitor_filter_add_match_subsystem_devtype(impl->monitor.get(), "input", nullptr);
    udev_monitor_enable_receiving(impl->monitor.get());
    server.watch(udev_monitor_get_fd(impl->monitor.get()), [self] { self->hotplug(); });
  } else {
    sink.log("evdev: udev gives no hot-plug events; only devices present now are used");
  }
  std::unique_ptr<udev_enumerate, UnrefEnumerate> list(
      udev_enumerate_new(impl->udev_context.get()));
  udev_enumerate_add_match_subsystem(list.get(), "input");
  udev_enumerate_scan_devices(list.get());
  udev_list_entry* entry = nullptr;
  udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(list.get())) {
    std::unique_ptr<udev_device, UnrefUdevDevice> device(
        udev_device_new_from_syspath(impl->udev_context.get(), udev_list_entry_get_name(entry)));
    if (const char* node = device ? udev_device_get_devnode(device.get()) : nullptr) {
      impl->open(node);
    }
  }
  return std::unique_ptr<EvdevBackend>(new EvdevBackend(std::move(impl)));
}

EvdevBackend::EvdevBackend(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

EvdevBackend::~EvdevBackend() {
  Impl& impl = *impl_;
  for (auto& [path, input] : impl.inputs) {
    impl.server.unwatch(input.fd.get());
    if (input.id == 0) continue;
    impl.output.release_device(input.id);
    libevdev_grab(input.device.get(), LIBEVDEV_UNGRAB);
  }
  impl.output.flush();
  impl.server.unwatch(impl.timer.get());
  if (impl.monitor) impl.server.unwatch(udev_monitor_get_fd(impl.monitor.get()));
}

}  // namespace cx::refdriver
