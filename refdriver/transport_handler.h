// What the transport hands to the driver's core: the requests that carry data
// in the two shared buffers of a connection, and the ADBID32Mouse method.
#pragma once

#include <cstdint>
#include <span>

#include "platform/user_client.h"

namespace cx::refdriver {

// A connected client, as the kernel tells it (SO_PEERCRED).
struct ClientPeer {
  uint64_t connection;  // never 0, never reused while the daemon runs
  uint32_t uid;
  int32_t pid;
};

// Both buffers are shared with the client, which may change them at any
// moment: read each field of the request once, and validate before use.
class TransportHandler {
 public:
  virtual ~TransportHandler() = default;

  // Selector 4: `request` holds one transfer block. Writes the reply block at
  // the start of `reply` when its length is less than reply.size(), and
  // returns that full length in every case, or a negative driver status.
  virtual int64_t transfer(const ClientPeer& peer, std::span<const uint8_t> request,
                           std::span<uint8_t> reply) = 0;

  // Selector 2: `request` starts with a flattened record; the answer is
  // written as one at the start of `reply`. Negative refuses the record.
  virtual int32_t flattened(const ClientPeer& peer, std::span<const uint8_t> request,
                            std::span<uint8_t> reply) = 0;

  // Structure method 0 of ADBID32Mouse instance `instance` (".N").
  virtual platform::kern_return_t adb_method(const ClientPeer& peer, uint32_t instance,
                                             std::span<const uint8_t, 4> input) = 0;

  // A user-client connection has closed and its buffers are freed.
  virtual void closed(const ClientPeer& peer) = 0;
};

}  // namespace cx::refdriver
