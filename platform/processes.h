// The Process Manager's view of running applications: the front process,
// the process list and each process's name, signature, type and mode.
// A process serial number here is { 0, Unix process ID }, the same number the
// Apple-event transport gives a process on the bus.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// ProcessSerialNumber, OSType, OSErr and the Process Manager's results
// (noErr, paramErr, procNotFound) are shared with the Apple-event model.
#include "platform/apple_events.h"
#include "platform/event_loop.h"

namespace cx::platform {

// Starts a walk of the process list; GetNextProcess ends with it too.
inline constexpr ProcessSerialNumber kNoProcess{0, 0};

inline constexpr OSType kApplicationType = fourcc("APPL");
inline constexpr OSType kUnknownSignature = fourcc("????");  // no creator code

// Process mode flags.
inline constexpr uint32_t kModeOnlyBackground = 0x400;      // no windows of its own
inline constexpr uint32_t kModeHighLevelEventAware = 0x80;  // takes Apple events

// An application's icon: `width` x `height` pixels of non-premultiplied
// ARGB, row by row from the top; without pixels, the name of an icon in the
// desktop's icon theme that may show the application.
struct AppIcon {
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<uint32_t> argb;
  std::string theme_name;
};

struct ProcessInfo {
  ProcessSerialNumber psn;
  std::array<unsigned char, 256> name;  // Pascal string: length byte, then up to 255 bytes
  OSType type;
  OSType signature;
  uint32_t mode;
  pid_t pid;
};

class Processes {
 public:
  virtual ~Processes() = default;
  virtual OSErr front_process(ProcessSerialNumber& psn) = 0;
  virtual OSErr process_information(const ProcessSerialNumber& psn, ProcessInfo& info) = 0;
  // The process after `psn` in the list (the first after kNoProcess). At the
  // end: procNotFound and `psn` set to kNoProcess.
  virtual OSErr next_process(ProcessSerialNumber& psn) = 0;
  virtual OSErr set_front_process(const ProcessSerialNumber& psn) = 0;
  // The icon the process shows for itself, near `size` pixels square; none
  // when it shows none.
  virtual std::optional<AppIcon> application_icon(const ProcessSerialNumber& psn, uint32_t size) {
    static_cast<void>(psn), static_cast<void>(size);
    return std::nullopt;
  }
  // The title of the process's front window; procNotFound when it has none
  // the desktop can name.
  virtual OSErr window_title(const ProcessSerialNumber& psn, std::string& title) {
    static_cast<void>(psn);
    static_cast<void>(title);
    return procNotFound;
  }
  // Calls `on_change` from the main loop soon after the front process may
  // have changed; null when the desktop cannot say, and callers poll.
  virtual EventSourceHandle watch_front(std::function<void()> on_change) {
    static_cast<void>(on_change);
    return nullptr;
  }
};

// The process-wide service: the desktop's, unless a test installed another.
Processes& processes();
// Installs `p` (not owned; null restores the desktop's).
void set_processes(Processes* p);

// Processes that take part in Apple events and the signatures they own. The
// Apple-event service fills this in; without it every application has the
// signature '????'. It is asked on every process-information call, several
// times a second, so it must answer from memory.
struct SignedProcess {
  OSType signature;
  pid_t pid;
};

class SignatureDirectory {
 public:
  virtual ~SignatureDirectory() = default;
  // Every participant, in a stable order (a process with several signatures
  // appears once per signature; the first one counts).
  virtual void participants(std::vector<SignedProcess>& out) = 0;
};

// Installs `d` (not owned; null removes it).
void set_signature_directory(SignatureDirectory* d);
SignatureDirectory* signature_directory();

// The Process Manager names, over processes().
inline OSErr GetFrontProcess(ProcessSerialNumber* psn) {
  return processes().front_process(*psn);
}
inline OSErr GetProcessInformation(const ProcessSerialNumber* psn, ProcessInfo* info) {
  return processes().process_information(*psn, *info);
}
inline OSErr GetNextProcess(ProcessSerialNumber* psn) {
  return processes().next_process(*psn);
}
inline OSErr SetFrontProcess(const ProcessSerialNumber* psn) {
  return processes().set_front_process(*psn);
}
// This process: {0, its pid}.
OSErr GetCurrentProcess(ProcessSerialNumber* psn);

}  // namespace cx::platform
