// Buttons: every button of a set goes to the driver as one run of response
// blocks, and comes back from one fetched run.
#include <cstdio>
#include <vector>

#include "driver/driver_connection.h"
#include "driver/response_requests.h"
#include "prefs/app_set_buffer.h"
#include "prefs/pref_leaf.h"
#include "prefs/pref_schema.h"
#include "responses/resp_work.h"

namespace cx {
namespace {

// One response of the fetched run, as the walk from the run's start meets
// it; the walk ends after the first block that fails validation.
struct fetched_block {
  const uint8_t* at = nullptr;
  uint32_t left = 0;
  const uint8_t* payload = nullptr;  // null: the block failed validation
  uint32_t payload_length = 0;
};

// The responses fetched for a write pass, validated once for all buttons:
// each button's own walk would checksum every block before its own.
struct fetched_responses {
  std::vector<fetched_block> blocks;
};

std::vector<fetched_block> walk_blocks(const uint8_t* at, uint32_t left) {
  std::vector<fetched_block> blocks;
  while (left > 0) {
    fetched_block& b = blocks.emplace_back();
    b.at = at;
    b.left = left;
    b.payload = CXTransferValidate(at, left, &b.payload_length);
    if (!b.payload) break;
    const uint32_t length = CXTransferBlockLength(at);
    at += length;
    left -= length;
  }
  return blocks;
}

constexpr uint8_t kAllButtonsEnd = 25;
// Each retry follows a buffer that grew to what the driver asked for; a
// driver that keeps asking for more is not followed further.
constexpr int kMaxSendAttempts = 8;

const plist::Dictionary* default_response(const pref_item_info& self) {
  const auto* first = element_at(self.default_elements, 0);
  return first ? plist::as<plist::Dictionary>(*first) : nullptr;
}

resp_work work_for(pref_item_info* self, uint8_t button) {
  resp_work work;
  work.header[response_header::button_id] = button;
  work.pref_flags = &self->flags;
  return work;
}

void send_buttons(PrefNode* node, CXTransferContext* transfer) {
  for (int attempt = 0; attempt < kMaxSendAttempts; ++attempt) {
    uint32_t capacity = 0;
    SetResponseDataStart(transfer, &capacity);
    call_children(node, 0);
    const uint32_t length = CXTransferEnd(transfer);
    if (length > capacity) {
      if (ResizeInputSharedMemory(length)) continue;
      std::fprintf(stderr, "read_buttons_data() - could not resize Input memory to length %ld\n",
                   static_cast<long>(length));
      return;
    }
    uint32_t reply_length = 0;
    const int16_t result = SetResponseData(&reply_length);
    if (result == driver_status::reply_too_large) {
      if (ResizeOutputSharedMemory(reply_length)) continue;
      std::fprintf(stderr, "read_buttons_data() - could not resize Output memory to length %ld\n",
                   static_cast<long>(reply_length));
      return;
    }
    if (result < 0) std::fprintf(stderr, "read_buttons_data() - test returned error %d\n", result);
    return;
  }
}

}  // namespace

void read_buttons_data(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  if (self->flags & pref_flag::tree_only) {
    if (get_pref(node)) call_children(node, 0);
    return;
  }
  if (!app_set_selected(node)) return;
  CXTransferContext transfer;
  self->scratch = &transfer;
  if (get_pref(node)) send_buttons(node, &transfer);
  self->scratch = nullptr;
}

void write_buttons_data(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  refresh_from_dictionaries(node);
  int16_t status = 0;
  uint32_t length = 0;
  const uint8_t* run = GetResponses(0, kAllButtonsEnd, 0, 0, &length, &status);
  if (!run) {
    keep_user_value(self);
    return;
  }
  fetched_responses fetched{walk_blocks(run, length)};
  self->scratch = &fetched;
  call_children(node, 1);
  self->scratch = nullptr;
}

void read_a_button_data(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  if (!setup_arrays(node) || (self->flags & pref_flag::tree_only)) return;
  auto* transfer = parent_scratch<CXTransferContext>(node);
  if (!transfer) return;
  const uint8_t button = button_number(self->key);
  const plist::Dictionary* fallback = default_response(*self);
  if (!self->user_elements.empty() && !restoring_defaults) {
    for (size_t i = 0; i < self->user_elements.size(); ++i) {
      const auto* response = plist::as<plist::Dictionary>(self->user_elements[i]);
      if (!response) {
        std::fprintf(stderr,
                     "Corvex Background: response %zu of \"%s\" is not a dictionary; ignored\n", i,
                     self->key.c_str());
        continue;
      }
      resp_work work = work_for(self, button);
      work.transfer = transfer;
      get_resp_data(&work, response, fallback);
    }
  } else if (fallback) {
    resp_work work = work_for(self, button);
    work.transfer = transfer;
    get_resp_data(&work, fallback, nullptr);
  }
}

void write_a_button_data(PrefNode* node) {
  pref_item_info* self = get_object_info(node);
  const auto* fetched = parent_scratch<fetched_responses>(node);
  if (!fetched) return;
  const uint8_t button = button_number(self->key);
  const fetched_block* found = nullptr;
  for (size_t i = 0; i < fetched->blocks.size() && !found; ++i) {
    const fetched_block& b = fetched->blocks[i];
    if (!b.payload) {
      std::fprintf(stderr,
                   "CXBackGroundApp - write_a_button_data(): Response Block #%d: <invalid>\n",
                   static_cast<int>(i + 1));
      keep_user_value(self);
      return;
    }
    if (b.payload_length > 0 && b.payload[0] == button) found = &b;
  }
  resp_work work = work_for(self, button);
  if (!found || !start_resp_read(&work, found->at, static_cast<int32_t>(found->left))) {
    std::fprintf(stderr, "CXBackGroundApp - write_a_button_data(): Block not found\n");
    keep_user_value(self);
    return;
  }
  // Unknown keys of the saved response survive; the conversion replaces its
  // own keys whole, so the values below them can be shared.
  std::shared_ptr<plist::Dictionary> target;
  if (const auto* first = element_at(self->user_elements, 0))
    if (const auto* saved = plist::as<plist::Dictionary>(*first))
      target = plist::make_dictionary(saved->entries());
  put_resp_data(&work, &target, default_response(*self));
  // The button's elements are unpacked, so it is stored or removed whole.
  if (self->flags & pref_flag::changed) {
    auto responses = plist::make_array();
    responses->append(target);
    self->user_value = responses;
    put_top_pref(node);
    self->flags |= pref_flag::changed;
  } else if (self->flags & pref_flag::user_present) {
    del_top_pref(node);
  }
}

}  // namespace cx
