// Runs of response blocks, the form SetResponseData stores and the
// Get...Response requests answer. Inside a block, dataspaces are named by
// block-local indices (ds_index, and ch12 of the data-carrying items); the
// driver maps them to its own dataspaces when storing and numbers them
// 0, 1, ... in order of first use when answering, so a block the agent
// built comes back byte for byte.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "refdriver/app_set.h"

namespace cx::refdriver {

struct ParsedDataspace {
  uint16_t index;
  std::span<const uint8_t> data;
};

struct ParsedResponse {
  uint8_t button = 0;
  uint8_t mods = 0;
  uint16_t entry = 0;
  std::span<const uint8_t> name;   // header bytes 4..39, the name record
  std::span<const uint8_t> items;  // 16 bytes each
  std::vector<ParsedDataspace> dataspaces;

  // The block's dataspace that a data-carrying item names.
  const ParsedDataspace* dataspace(uint16_t index) const;
};

// Checks a whole run before anything is stored: every block a valid
// transfer block with a 44-byte header, its items and exactly its
// dataspace blocks; menu index 0 to 255; every data-carrying item naming
// one of the block's dataspaces, no index twice. False when any is wrong.
bool parse_response_run(std::span<const uint8_t> run, std::vector<ParsedResponse>& out);

// The driver's dataspace that an index of a stored list names, or null.
using DataspaceLookup = std::function<const std::vector<uint8_t>*(uint16_t)>;

// Appends one response block built from a stored response. A data-carrying
// item whose dataspace is gone gets ch12 0xFFFF and no dataspace block.
void append_response_block(std::vector<uint8_t>& out, uint8_t button, uint8_t mods, uint16_t entry,
                           const StoredResponse& response, const DataspaceLookup& lookup);

inline constexpr uint16_t kMissingDataspace = 0xFFFF;

}  // namespace cx::refdriver
