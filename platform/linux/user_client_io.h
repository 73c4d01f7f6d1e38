// Blocking socket steps of the agent's side of the user-client link: connect,
// send a whole frame, receive exactly one reply frame.
#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "platform/linux/user_client_fd.h"

namespace cx::uc {

// A stream socket connected to `path`; empty when nothing listens there.
UniqueFd connect_socket(const std::string& path);

// Sends every byte of `iov`, across partial writes and signals, never raising
// SIGPIPE. False when the peer is gone.
bool send_all(int fd, iovec* iov, std::size_t count);

enum class ReplyStatus { Ok, PeerGone, Malformed };

// Receives one frame with `opcode` into `buffer`, whose size is the largest
// reply the request may have: a longer frame, another opcode or bytes after
// the frame are malformed. With `passed` set, a descriptor sent with the
// frame is stored there (more than one is malformed).
ReplyStatus receive_reply(int fd, std::span<uint8_t> buffer, uint32_t opcode,
                          std::span<const uint8_t>& frame, UniqueFd* passed = nullptr);

}  // namespace cx::uc
