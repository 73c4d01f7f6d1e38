// Response dictionaries to a run of response blocks and back, as the
// preference tree drives the conversion for one button.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "driver/transfer_block.h"
#include "plist/value.h"
#include "responses/resp_work.h"

namespace cx::test {

using Bytes = std::vector<uint8_t>;

// The blocks that get_resp_data adds for `button`, without the framing of
// the transfer block they were added to. The buffer starts zeroed, so the
// unwritten pad byte of each header reads 0.
inline Bytes build_run(uint8_t button, const plist::Dictionary* user,
                       const plist::Dictionary* defaults = nullptr) {
  Bytes buffer(4096, 0);
  CXTransferContext transfer;
  CXTransferStart(&transfer, buffer.data(), static_cast<uint32_t>(buffer.size()));
  resp_work work;
  work.header[0] = button;
  work.transfer = &transfer;
  get_resp_data(&work, user, defaults);
  return Bytes(buffer.begin() + 4, buffer.begin() + transfer.used);
}

struct ReadBack {
  std::shared_ptr<plist::Dictionary> dict;
  uint32_t flags = 0;
  int32_t left = 0;  // bytes after the read position
};

// put_resp_data on the first block of `run`; dict stays null when no valid
// block starts the run.
inline ReadBack read_back(const Bytes& run, const plist::Dictionary* defaults = nullptr,
                          uint32_t flags = 0) {
  ReadBack out;
  out.flags = flags;
  resp_work work;
  work.pref_flags = &out.flags;
  const auto size = static_cast<int32_t>(run.size());
  out.left = size;
  if (!start_resp_read(&work, run.data(), size)) return out;
  put_resp_data(&work, &out.dict, defaults);
  out.left = work.remaining;
  return out;
}

}  // namespace cx::test
