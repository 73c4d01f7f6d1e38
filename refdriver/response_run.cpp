#include "refdriver/response_run.h"

#include <algorithm>

#include "driver/transfer_block.h"
#include "model/act_item.h"
#include "model/action_codes.h"
#include "model/response_block.h"
#include "refdriver/limits.h"
#include "util/byte_order.h"

namespace cx::refdriver {
namespace {

// One transfer block at the front of `bytes`: its payload, and its total
// length through `length`; empty when invalid.
std::span<const uint8_t> take_block(std::span<const uint8_t> bytes, uint32_t& length) {
  uint32_t payload_length = 0;
  const uint32_t capacity = static_cast<uint32_t>(std::min<size_t>(bytes.size(), UINT32_MAX));
  const uint8_t* payload = CXTransferValidate(bytes.data(), capacity, &payload_length);
  if (!payload) return {};
  length = CXTransferBlockLength(bytes.data());
  return {payload, payload_length};
}

bool parse_block(std::span<const uint8_t> payload, ParsedResponse& r) {
  namespace h = response_header;
  if (payload.size() < h::size) return false;
  r.button = payload[h::button_id];
  r.mods = payload[h::mods];
  const int16_t menuidx = static_cast<int16_t>(load_be16(&payload[h::menuidx]));
  if (menuidx < 0 || menuidx > kMaxMenuEntry) return false;
  r.entry = static_cast<uint16_t>(menuidx);
  r.name = payload.subspan(h::name, kNameRecordSize);
  const size_t n = load_be16(&payload[h::num_actions]);
  const size_t m = load_be16(&payload[h::num_dataspaces]);
  if (n > kMaxListItems || m > kMaxListItems) return false;
  std::span<const uint8_t> rest = payload.subspan(h::size);
  if (rest.size() < n * kItemSize) return false;
  r.items = rest.first(n * kItemSize);
  rest = rest.subspan(n * kItemSize);
  r.dataspaces.clear();
  for (size_t i = 0; i < m; ++i) {
    uint32_t length = 0;
    const std::span<const uint8_t> ds = take_block(rest, length);
    if (ds.size() < dataspace_header::size) return false;
    const uint16_t index = load_be16(&ds[dataspace_header::ds_index]);
    const uint16_t ds_length = load_be16(&ds[dataspace_header::ds_length]);
    if (ds.size() != dataspace_header::size + ds_length || ds_length > kMaxDataspaceSize) {
      return false;
    }
    if (r.dataspace(index)) return false;
    r.dataspaces.push_back({index, ds.subspan(dataspace_header::size)});
    rest = rest.subspan(length);
  }
  if (!rest.empty()) return false;
  bool named = true;
  for_each_data_index(r.items, [&](uint16_t index) { named = named && r.dataspace(index); });
  return named;
}

}  // namespace

const ParsedDataspace* ParsedResponse::dataspace(uint16_t index) const {
  const auto it = std::find_if(dataspaces.begin(), dataspaces.end(),
                               [index](const ParsedDataspace& d) { return d.index == index; });
  return it == dataspaces.end() ? nullptr : &*it;
}

bool parse_response_run(std::span<const uint8_t> run, std::vector<ParsedResponse>& out) {
  out.clear();
  while (!run.empty()) {
    uint32_t length = 0;
    const std::span<const uint8_t> payload = take_block(run, length);
    if (payload.empty() || !parse_block(payload, out.emplace_back())) return false;
    run = run.subspan(length);
  }
  return true;
}

void append_response_block(std::vector<uint8_t>& out, uint8_t button, uint8_t mods, uint16_t entry,
                           const StoredResponse& response, const DataspaceLookup& lookup) {
  namespace h = response_header;
  std::vector<uint8_t> items = response.items;
  // Driver index -> block-local index, in order of first use.
  std::vector<std::pair<uint16_t, const std::vector<uint8_t>*>> used;
  for (size_t at = 0; at < items.size(); at += kItemSize) {
    const act_item item = decode_act_item(&items[at]);
    if (!is_data_carrying(item.act)) continue;
    auto it =
        std::find_if(used.begin(), used.end(), [&](const auto& u) { return u.first == item.ch12; });
    uint16_t local = kMissingDataspace;
    if (it != used.end()) {
      local = static_cast<uint16_t>(it - used.begin());
    } else if (const std::vector<uint8_t>* data = lookup(item.ch12)) {
      local = static_cast<uint16_t>(used.size());
      used.emplace_back(item.ch12, data);
    }
    store_le16(&items[at + 2], local);
  }

  size_t size = kTransferOverhead + h::size + items.size();
  for (const auto& u : used) size += kTransferOverhead + dataspace_header::size + u.second->size();
  const size_t start = out.size();
  out.resize(start + size);
  CXTransferContext ctx;
  CXTransferStart(&ctx, &out[start], static_cast<uint32_t>(size));
  uint8_t* header = CXTransferTakeSpace(&ctx, h::size);
  header[h::button_id] = button;
  header[h::mods] = mods;
  store_be16(&header[h::menuidx], entry);
  std::copy(response.name.begin(), response.name.end(), &header[h::name]);
  store_be16(&header[h::num_actions], static_cast<uint16_t>(response.item_count()));
  store_be16(&header[h::num_dataspaces], static_cast<uint16_t>(used.size()));
  CXTransferAdd(&ctx, items.data(), static_cast<uint32_t>(items.size()));
  for (size_t i = 0; i < used.size(); ++i) {
    CXTransferContext ds;
    uint32_t avail = 0;
    uint8_t* at = CXTransferAvailSpace(&ctx, &avail);
    CXTransferStart(&ds, at, avail);
    uint8_t* ds_header = CXTransferTakeSpace(&ds, dataspace_header::size);
    store_be16(&ds_header[dataspace_header::ds_index], static_cast<uint16_t>(i));
    store_be16(&ds_header[dataspace_header::ds_length],
               static_cast<uint16_t>(used[i].second->size()));
    CXTransferAdd(&ds, used[i].second->data(), static_cast<uint32_t>(used[i].second->size()));
    CXTransferTakeSpace(&ctx, CXTransferEnd(&ds));
  }
  CXTransferEnd(&ctx);
}

}  // namespace cx::refdriver
