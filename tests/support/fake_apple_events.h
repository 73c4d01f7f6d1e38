// An in-process stand-in for the Apple-event transport: "processes" are
// handler tables registered by signature and pid, sends are dispatched to them
// directly and recorded.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/apple_events.h"
#include "util/byte_order.h"

namespace cx::testing {

class FakeAppleEvents : public platform::AppleEventService {
 public:
  struct Process {
    platform::OSType signature;
    uint32_t pid;
    const platform::AEHandlerTable* handlers;  // null: runs but serves nothing
  };
  struct Sent {
    platform::AppleEvent event;
    platform::AESendMode mode;
    int32_t timeout;
    platform::OSErr result;
  };

  // What the code under test sent, in order, with the send results.
  std::vector<Sent> sent;
  // Signatures the code under test asked to serve.
  std::vector<platform::OSType> served;

  void add_process(platform::OSType signature, uint32_t pid,
                   const platform::AEHandlerTable* table) {
    processes_.push_back(Process{signature, pid, table});
  }

  platform::AEHandlerTable& handlers() override { return own_handlers_; }

  platform::AEServeResult serve(platform::OSType signature) override {
    served.push_back(signature);
    return platform::AEServeResult::ok;
  }

  platform::OSErr send(const platform::AppleEvent& event, platform::AppleEvent* reply,
                       platform::AESendMode mode, int32_t timeout) override {
    const Process* target = find_target(event.target());
    const platform::OSErr result = target == nullptr ? platform::procNotFound : platform::noErr;
    if (target != nullptr) {
      const bool wants_reply = mode == platform::AESendMode::wait_reply;
      platform::AppleEvent answer =
          wants_reply ? platform::AppleEvent::make_reply() : platform::AppleEvent();
      if (target->handlers != nullptr) {
        target->handlers->dispatch(event, answer);
      } else {
        answer.put_long(platform::keyErrorNumber, platform::errAEEventNotHandled);
      }
      if (wants_reply && reply != nullptr) *reply = answer;
    }
    sent.push_back(Sent{event, mode, timeout, result});
    return result;
  }

  platform::OSErr find_process_by_signature(platform::OSType signature,
                                            platform::ProcessSerialNumber& psn) override {
    psn = platform::ProcessSerialNumber{};
    for (const Process& p : processes_) {
      if (p.signature == signature) {
        psn.lowLongOfPSN = p.pid;
        return platform::noErr;
      }
    }
    return platform::procNotFound;
  }

 private:
  const Process* find_target(const platform::AEDesc& target) const {
    platform::ProcessSerialNumber psn{};
    for (const Process& p : processes_) {
      if (target.descriptorType == platform::typeApplSignature && target.data.size() == 4 &&
          load_be32(target.data.data()) == p.signature) {
        return &p;
      }
      if (platform::desc_to_psn(target, psn) == platform::noErr && psn.highLongOfPSN == 0 &&
          psn.lowLongOfPSN == p.pid) {
        return &p;
      }
    }
    return nullptr;
  }

  std::vector<Process> processes_;
  platform::AEHandlerTable own_handlers_;
};

}  // namespace cx::testing
