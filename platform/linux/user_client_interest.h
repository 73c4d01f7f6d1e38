// The agent's end of an interest-notification socket: after the greeting the
// driver only sends NOTIFY frames, read without blocking from the main loop.
#pragma once

#include "platform/linux/uc_frame.h"
#include "platform/linux/user_client_fd.h"
#include "platform/user_client.h"

namespace cx::uc {

class SocketNotifier final : public platform::InterestNotifier {
 public:
  // `fd` has already been greeted and accepted.
  explicit SocketNotifier(UniqueFd fd);

  int fd() const override { return fd_.get(); }
  bool read_pending(std::vector<platform::InterestMessage>& out) override;

 private:
  UniqueFd fd_;
  FrameAssembler frames_;
  bool gone_ = false;
};

}  // namespace cx::uc
