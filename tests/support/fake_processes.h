// A process list for tests: each entry is a serial number, a signature and a
// name; the first entry is the front process.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "platform/processes.h"

namespace cx::testing {

class FakeProcesses : public platform::Processes {
 public:
  struct Entry {
    platform::ProcessSerialNumber psn;
    platform::OSType signature;
    std::string name;
  };
  std::vector<Entry> list;

  platform::OSErr front_process(platform::ProcessSerialNumber& psn) override {
    if (list.empty()) return platform::procNotFound;
    psn = list.front().psn;
    return platform::noErr;
  }

  platform::OSErr process_information(const platform::ProcessSerialNumber& psn,
                                      platform::ProcessInfo& info) override {
    const auto it = find(psn);
    if (it == list.end()) return platform::procNotFound;
    info = platform::ProcessInfo{};
    info.psn = it->psn;
    const size_t n = std::min<size_t>(it->name.size(), 255);
    info.name[0] = static_cast<unsigned char>(n);
    std::copy_n(it->name.begin(), n, info.name.begin() + 1);
    info.type = platform::kApplicationType;
    info.signature = it->signature;
    info.pid = static_cast<pid_t>(it->psn.lowLongOfPSN);
    return platform::noErr;
  }

  platform::OSErr next_process(platform::ProcessSerialNumber& psn) override {
    auto it = psn == platform::kNoProcess ? list.begin() : find(psn);
    if (it != list.end() && psn != platform::kNoProcess) ++it;
    if (it == list.end()) {
      psn = platform::kNoProcess;
      return platform::procNotFound;
    }
    psn = it->psn;
    return platform::noErr;
  }

  platform::OSErr set_front_process(const platform::ProcessSerialNumber& psn) override {
    const auto it = find(psn);
    if (it == list.end()) return platform::procNotFound;
    std::rotate(list.begin(), it, it + 1);
    return platform::noErr;
  }

 private:
  std::vector<Entry>::iterator find(const platform::ProcessSerialNumber& psn) {
    return std::find_if(list.begin(), list.end(), [&](const Entry& e) { return e.psn == psn; });
  }
};

}  // namespace cx::testing
