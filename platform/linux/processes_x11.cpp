#include "platform/linux/processes_x11.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/linux/processes_x11_display.h"
#include "platform/linux/processes_x11_front_watch.h"
#include "platform/linux/wm_icon.h"

namespace cx::platform {
namespace {

// Enough to remember the window of every process a user switches between.
constexpr std::size_t kWindowCacheLimit = 64;

std::optional<std::string> proc_comm(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/comm");
  std::string name;
  if (!in || !std::getline(in, name)) return std::nullopt;
  return name;
}

void store_pascal_name(const std::string& name, ProcessInfo& info) {
  const std::size_t length = std::min<std::size_t>(name.size(), 255);
  info.name[0] = static_cast<unsigned char>(length);
  std::memcpy(info.name.data() + 1, name.data(), length);
}

ProcessSerialNumber psn_of(pid_t pid) {
  return {0, static_cast<uint32_t>(pid)};
}

std::optional<pid_t> pid_of(const ProcessSerialNumber& psn) {
  if (psn.highLongOfPSN != 0 || psn.lowLongOfPSN == 0 ||
      psn.lowLongOfPSN > static_cast<uint32_t>(INT_MAX))
    return std::nullopt;
  return static_cast<pid_t>(psn.lowLongOfPSN);
}

class X11Processes final : public Processes {
 public:
  OSErr front_process(ProcessSerialNumber& psn) override {
    const xcb_window_t window = display_.active_window();
    if (window == XCB_NONE) return procNotFound;
    const pid_t pid = display_.window_pids({&window, 1}).front();
    if (pid <= 0) return procNotFound;
    remember(pid, window);
    psn = psn_of(pid);
    return noErr;
  }

  OSErr process_information(const ProcessSerialNumber& psn, ProcessInfo& info) override {
    const std::optional<pid_t> pid_or = pid_of(psn);
    if (!pid_or) return procNotFound;
    const pid_t pid = *pid_or;
    read_participants();
    const std::optional<uint32_t> signature = signature_of(pid);
    std::string name;
    uint32_t mode = signature ? kModeHighLevelEventAware : 0;
    if (const auto facts = window_facts_of(pid)) {
      name = !facts->wm_class.empty() ? facts->wm_class : proc_comm(pid).value_or(std::string());
    } else if (signature) {
      // On the bus without a window: a background-only process, or one that
      // has exited since the directory last heard of it.
      const auto comm = proc_comm(pid);
      if (!comm) return procNotFound;
      name = *comm;
      mode |= kModeOnlyBackground;
    } else {
      return procNotFound;
    }
    info.psn = psn;
    store_pascal_name(name, info);
    info.type = kApplicationType;
    info.signature = signature.value_or(kUnknownSignature);
    info.mode = mode;
    info.pid = pid;
    return noErr;
  }

  OSErr next_process(ProcessSerialNumber& psn) override {
    // A walk reads the list once, at its start, and sees a consistent list.
    if (psn == kNoProcess) snapshot_ = build_list();
    auto it = snapshot_.begin();
    if (psn != kNoProcess) {
      it = std::find(snapshot_.begin(), snapshot_.end(), psn);
      if (it == snapshot_.end()) {
        snapshot_ = build_list();
        it = std::find(snapshot_.begin(), snapshot_.end(), psn);
        if (it == snapshot_.end()) return paramErr;
      }
      ++it;
    }
    if (it == snapshot_.end()) {
      psn = kNoProcess;
      return procNotFound;
    }
    psn = *it;
    return noErr;
  }

  std::optional<AppIcon> application_icon(const ProcessSerialNumber& psn, uint32_t size) override {
    const std::optional<pid_t> pid = pid_of(psn);
    const auto facts = pid ? window_facts_of(*pid) : std::nullopt;
    if (!facts) return std::nullopt;
    if (auto icon = pick_wm_icon(display_.wm_icon(window_of_.at(*pid)), size)) return icon;
    // Themes name most applications' icons after their window class.
    if (facts->wm_class.empty()) return std::nullopt;
    AppIcon themed;
    std::transform(facts->wm_class.begin(), facts->wm_class.end(),
                   std::back_inserter(themed.theme_name),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return themed;
  }

  OSErr window_title(const ProcessSerialNumber& psn, std::string& title) override {
    const std::optional<pid_t> pid_or = pid_of(psn);
    if (!pid_or) return procNotFound;
    const pid_t pid = *pid_or;
    // The active window when it is the process's, else the one seen last for it.
    xcb_window_t window = display_.active_window();
    if (window == XCB_NONE || display_.window_pids({&window, 1}).front() != pid) {
      if (!window_facts_of(pid)) return procNotFound;
      window = window_of_.at(pid);
    }
    title = display_.window_name(window);
    return noErr;
  }

  EventSourceHandle watch_front(std::function<void()> on_change) override {
    return watch_active_window(std::move(on_change));
  }

  OSErr set_front_process(const ProcessSerialNumber& psn) override {
    if (psn.highLongOfPSN != 0 || psn.lowLongOfPSN == 0) return procNotFound;
    const auto pid = static_cast<pid_t>(psn.lowLongOfPSN);
    // The topmost window of the process, so it comes up as the user left it.
    std::vector<xcb_window_t> windows = display_.client_list(true);
    if (windows.empty()) windows = display_.client_list(false);
    const std::vector<pid_t> pids = display_.window_pids(windows);
    for (std::size_t i = windows.size(); i-- > 0;) {
      if (pids[i] == pid) return display_.activate(windows[i]) ? noErr : procNotFound;
    }
    return procNotFound;
  }

 private:
  void read_participants() {
    participants_.clear();
    if (SignatureDirectory* directory = signature_directory())
      directory->participants(participants_);
  }

  std::optional<uint32_t> signature_of(pid_t pid) const {
    for (const SignedProcess& p : participants_)
      if (p.pid == pid) return p.signature;
    return std::nullopt;
  }

  void remember(pid_t pid, xcb_window_t window) {
    if (window_of_.size() >= kWindowCacheLimit) window_of_.clear();
    window_of_[pid] = window;
  }

  // The facts of a window of `pid`: first the window seen last for it (one
  // round trip, the usual case for the front process), else from the list.
  std::optional<X11Display::WindowFacts> window_facts_of(pid_t pid) {
    if (auto it = window_of_.find(pid); it != window_of_.end()) {
      X11Display::WindowFacts facts = display_.window_facts(it->second);
      if (facts.pid == pid) return facts;
      window_of_.erase(it);
    }
    windowed_processes();
    if (auto it = window_of_.find(pid); it != window_of_.end()) {
      X11Display::WindowFacts facts = display_.window_facts(it->second);
      if (facts.pid == pid) return facts;
    }
    return std::nullopt;
  }

  // Windowed processes in mapping order of their first window; refreshes the
  // window cache on the way.
  std::vector<ProcessSerialNumber> windowed_processes() {
    const std::vector<xcb_window_t> windows = display_.client_list(false);
    const std::vector<pid_t> pids = display_.window_pids(windows);
    window_of_.clear();
    std::vector<ProcessSerialNumber> list;
    auto listed = [&list](pid_t pid) {
      return std::find(list.begin(), list.end(), psn_of(pid)) != list.end();
    };
    for (std::size_t i = 0; i < windows.size(); ++i) {
      if (pids[i] <= 0 || listed(pids[i])) continue;
      list.push_back(psn_of(pids[i]));
      if (window_of_.size() < kWindowCacheLimit) window_of_[pids[i]] = windows[i];
    }
    return list;
  }

  // The windowed processes, then the participants without a window.
  std::vector<ProcessSerialNumber> build_list() {
    std::vector<ProcessSerialNumber> list = windowed_processes();
    auto listed = [&list](pid_t pid) {
      return std::find(list.begin(), list.end(), psn_of(pid)) != list.end();
    };
    read_participants();
    for (const SignedProcess& p : participants_)
      if (p.pid > 0 && !listed(p.pid)) list.push_back(psn_of(p.pid));
    return list;
  }

  X11Display display_;
  std::unordered_map<pid_t, xcb_window_t> window_of_;
  std::vector<SignedProcess> participants_;
  std::vector<ProcessSerialNumber> snapshot_;
};

}  // namespace

std::unique_ptr<Processes> make_x11_processes() {
  return std::make_unique<X11Processes>();
}

}  // namespace cx::platform
