// A process list held in memory, for tests of code that follows the front
// application or looks processes up by signature.
#pragma once

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "platform/processes.h"

namespace cx::test {

class FakeProcesses final : public platform::Processes {
 public:
  std::vector<platform::ProcessInfo> list;                     // in process-list order
  platform::ProcessSerialNumber front = platform::kNoProcess;  // kNoProcess: none
  std::vector<platform::ProcessSerialNumber> brought_to_front;
  int front_queries = 0;

  static platform::ProcessInfo make(pid_t pid, std::string_view name,
                                    uint32_t signature = platform::kUnknownSignature,
                                    uint32_t mode = 0) {
    platform::ProcessInfo info{};
    info.psn = {0, static_cast<uint32_t>(pid)};
    const std::size_t length = std::min<std::size_t>(name.size(), 255);
    info.name[0] = static_cast<unsigned char>(length);
    std::memcpy(info.name.data() + 1, name.data(), length);
    info.type = platform::kApplicationType;
    info.signature = signature;
    info.mode = mode;
    info.pid = pid;
    return info;
  }

  platform::OSErr front_process(platform::ProcessSerialNumber& psn) override {
    ++front_queries;
    if (front == platform::kNoProcess) return platform::procNotFound;
    psn = front;
    return platform::noErr;
  }

  platform::OSErr process_information(const platform::ProcessSerialNumber& psn,
                                      platform::ProcessInfo& info) override {
    const auto it = find(psn);
    if (it == list.end()) return platform::procNotFound;
    info = *it;
    return platform::noErr;
  }

  platform::OSErr next_process(platform::ProcessSerialNumber& psn) override {
    auto it = list.begin();
    if (psn != platform::kNoProcess) {
      it = find(psn);
      if (it == list.end()) return platform::paramErr;
      ++it;
    }
    if (it == list.end()) {
      psn = platform::kNoProcess;
      return platform::procNotFound;
    }
    psn = it->psn;
    return platform::noErr;
  }

  platform::OSErr set_front_process(const platform::ProcessSerialNumber& psn) override {
    if (find(psn) == list.end()) return platform::procNotFound;
    brought_to_front.push_back(psn);
    front = psn;
    return platform::noErr;
  }

 private:
  std::vector<platform::ProcessInfo>::iterator find(const platform::ProcessSerialNumber& psn) {
    return std::find_if(list.begin(), list.end(),
                        [&](const platform::ProcessInfo& p) { return p.psn == psn; });
  }
};

}  // namespace cx::test
