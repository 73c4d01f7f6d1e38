#include "model/response_printer.h"

#include <cstring>

#include "driver/transfer_block.h"
#include "model/act_item.h"
#include "model/response_block.h"
#include "util/byte_order.h"

namespace cx {
namespace {

constexpr uint32_t kDumpBytesPerLine = 16;

void display_dataspace_data(FILE* out, const uint8_t* data, uint32_t length) {
  std::fputs("            < ", out);
  for (uint32_t i = 0; i < length; ++i) {
    if (i > 0 && i % kDumpBytesPerLine == 0) std::fputs("\n              ", out);
    std::fprintf(out, "%2x ", data[i]);
  }
  std::fputs(" >\n", out);
}

void display_dataspace(FILE* out, long number, const uint8_t* payload, uint32_t length) {
  namespace d = dataspace_header;
  if (length < d::size) {
    std::fprintf(out, "        Dataspace #%ld: Buffer too small (%ld) for header\n", number,
                 static_cast<long>(length));
    return;
  }
  const uint16_t ds_length = load_be16(payload + d::ds_length);
  const uint32_t data_length = length - d::size;
  std::fprintf(out, "        Dataspace #%ld: ds_index=%d, ds_length=%d\n", number,
               static_cast<int16_t>(load_be16(payload + d::ds_index)), ds_length);
  if (data_length != ds_length) {
    std::fprintf(out, "            Remaining block length (%ld) mismatches ds_length.\n",
                 static_cast<long>(data_length));
  }
  display_dataspace_data(out, payload + d::size, data_length);
}

void display_extra_space(FILE* out, uint32_t remaining) {
  if (remaining > 0) {
    std::fprintf(out, "        Extra space (%ld bytes) in response block\n",
                 static_cast<long>(remaining));
  }
}

}  // namespace

void display_set_response_request(const uint8_t* buffer, uint32_t length) {
  display_set_response_request(stderr, buffer, length);
}

void display_response_blocks(const uint8_t* buffer, uint32_t length) {
  display_response_blocks(stderr, buffer, length);
}

void display_response_block(const uint8_t* payload, uint32_t length) {
  display_response_block(stderr, payload, length);
}

void display_set_response_request(FILE* out, const uint8_t* buffer, uint32_t length) {
  uint32_t data_length = 0;
  uint32_t code = 0;
  const uint8_t* data = CXTransferValidateWithRequest(buffer, length, &data_length, &code);
  if (!data) {
    std::fputs("    Response request invalid\n", out);
    return;
  }
  std::fprintf(out, "    API code = %ld\n", static_cast<long>(code));
  display_response_blocks(out, data, data_length);
}

void display_response_blocks(FILE* out, const uint8_t* buffer, uint32_t length) {
  uint32_t pos = 0;
  for (int number = 1; pos < length; ++number) {
    uint32_t payload_length = 0;
    const uint8_t* payload = CXTransferValidate(buffer + pos, length - pos, &payload_length);
    if (!payload) {
      std::fprintf(out, "    Response Block #%d: <invalid>\n", number);
      return;
    }
    std::fprintf(out, "    Response Block #%d:\n", number);
    display_response_block(out, payload, payload_length);
    pos += CXTransferBlockLength(buffer + pos);
  }
}

void display_response_block(FILE* out, const uint8_t* payload, uint32_t length) {
  namespace h = response_header;
  if (length < h::size) {
    std::fprintf(out, "        Buffer length (%ld) less than block header size\n",
                 static_cast<long>(length));
    return;
  }
  const uint16_t num_actions = load_be16(payload + h::num_actions);
  const uint16_t num_dataspaces = load_be16(payload + h::num_dataspaces);
  const auto* name = reinterpret_cast<const char*>(payload + h::name);
  std::fprintf(out, "        Button ID=%d, Mods=0x%x, Menuidx=%d\n", payload[h::button_id],
               payload[h::mods], static_cast<int16_t>(load_be16(payload + h::menuidx)));
  // The name field may lack its NUL in a damaged block: stay inside it.
  std::fprintf(out, "        Response Name: %.*s\n", static_cast<int>(strnlen(name, h::name_size)),
               name);
  std::fprintf(out, "        Response Flags=0x%x, Shortcut ID=%d\n", load_be16(payload + h::flags),
               payload[h::shortcut_id]);
  std::fprintf(out, "        Num Actions=%d, Num Dataspaces = %d\n", num_actions, num_dataspaces);

  const uint32_t after_header = length - h::size;
  if (after_header < uint32_t{num_actions} * kActItemWireSize) {
    std::fprintf(out, "        Remaining Buffer length (%ld) less than action list size\n",
                 static_cast<long>(after_header));
    return;
  }
  uint32_t pos = h::size;
  for (long number = 1; number <= num_actions; ++number, pos += kActItemWireSize) {
    const act_item item = decode_act_item(payload + pos);
    std::fprintf(out,
                 "        Action #%ld: act=%d, act_seq=%d, ch12=0x%x, mods=0x%x, "
                 "extra_info=0x%lx\n",
                 number, item.act, item.act_seq, item.ch12, item.mods,
                 static_cast<unsigned long>(item.extra_info));
  }
  for (long number = 1; number <= num_dataspaces; ++number) {
    uint32_t block_length = 0;
    const uint8_t* block = CXTransferValidate(payload + pos, length - pos, &block_length);
    if (!block) {
      std::fprintf(out, "        Dataspace #%ld: <invalid>\n", number);
      display_extra_space(out, length - pos);
      return;
    }
    display_dataspace(out, number, block, block_length);
    pos += CXTransferBlockLength(payload + pos);
  }
  display_extra_space(out, length - pos);
}

}  // namespace cx
