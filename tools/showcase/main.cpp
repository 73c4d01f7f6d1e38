// corvex-showcase: drives the reference driver through the agent's own driver
// link, response blocks, diagnostic log and property-list dumper, so the
// pieces can be watched working together before the agent is assembled.
//
//   corvex-showcase setup URL TEXT   claim the driver, bind button 3 to URL and
//                                    button 4 to pasting TEXT, print the blocks
//   corvex-showcase events           take the queued events and log them
//   corvex-showcase dump FILE        print a property list in both dumper forms
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "diag/diag_config.h"
#include "diag/diag_log_file.h"
#include "diag/diag_writers.h"
#include "diag/plist_describe.h"
#include "diag/plist_show.h"
#include "driver/data_requests.h"
#include "driver/device_requests.h"
#include "driver/driver_connection.h"
#include "driver/response_requests.h"
#include "driver/transfer_block.h"
#include "model/builtin_actlists.h"
#include "model/opaque_records.h"
#include "model/response_block.h"
#include "model/response_printer.h"
#include "plist/plist_io.h"
#include "util/byte_order.h"

namespace {

using namespace cx;

constexpr uint32_t kTraceLevel = 0x1ffff;
constexpr int16_t kActiveUserIndex = 98;

int usage() {
  std::fprintf(stderr, "usage: corvex-showcase setup URL TEXT | events | dump FILE\n");
  return 2;
}

bool claim_driver() {
  uint8_t record[8] = {};
  store_be32(record, static_cast<uint32_t>(getuid()));
  store_be16(record + 4, 2);
  return CXAccessGlobalData(kActiveUserIndex, 1, record, sizeof record) > 0;
}

void print_driver_version() {
  mouse_version_info info{};
  store_be16(info.bytes.data(), static_cast<uint16_t>(info.bytes.size()));
  if (GetMouseInfo(info) > 0) {
    std::printf("driver version 0x%04x revision %u, %u device(s) attached\n",
                load_be16(info.bytes.data() + 2), info.bytes[4], info.bytes[5]);
  }
}

// Both responses go to the driver in one request, built in place in the
// shared request buffer.
int16_t upload_responses(const char* url, const char* text) {
  CXTransferContext ctx{};
  uint32_t capacity = 0;
  SetResponseDataStart(&ctx, &capacity);
  uint32_t avail = 0;
  uint8_t* at = CXTransferAvailSpace(&ctx, &avail);
  uint32_t n = build_launch_url_response_block(at, avail, 0, 3, 0, false, url);
  CXTransferTakeSpace(&ctx, n);
  at = CXTransferAvailSpace(&ctx, &avail);
  n = build_dataspace_response_block(at, avail, 0, 4, 0, false, paste_text_actlist.data(),
                                     static_cast<uint16_t>(paste_text_actlist.size()), text,
                                     static_cast<uint16_t>(std::strlen(text) + 1), 0, "Paste Text");
  CXTransferTakeSpace(&ctx, n);
  if (CXTransferEnd(&ctx) > capacity) return -101;
  uint32_t len = 0;
  return SetResponseData(&len);
}

void print_button(uint8_t button) {
  uint32_t len = 0;
  int16_t status = 0;
  const uint8_t* blocks = GetFullResponse(0, button, &len, &status);
  std::printf("button %u as the driver keeps it (%d block(s)):\n", button, status);
  std::fflush(stdout);
  if (blocks) display_response_blocks(stdout, blocks, len);
}

int setup(const char* url, const char* text) {
  if (!ConnectToDriver()) return 1;
  print_driver_version();
  if (!claim_driver()) {
    std::fprintf(stderr, "corvex-showcase: the driver refused this user\n");
    return 1;
  }
  int16_t stored = upload_responses(url, text);
  std::printf("stored %d response(s)\n", stored);
  if (stored < 2) return 1;
  print_button(3);
  print_button(4);
  DisconnectFromDriver();
  return 0;
}

struct EventName {
  int16_t code;
  const char* line;
  bool text_data;
};
constexpr EventName kEventNames[] = {
    {1, "Launching File", false},      {2, "Launching URL", true},
    {3, "Getting Current URL", false}, {5, "Updating Mice", false},
    {6, "Opening Home Page", false},   {7, "Chord Event", false},
    {9, "Paste Text", true},           {12, "Application Menu", false},
    {13, "Popup Menu", false},         {16, "Horizontal Scrolling Changed", false},
};

int events() {
  if (!ConnectToDriver()) return 1;
  cc_diag_set_window_info("Corvex Background Diagnostics", "/Users/Shared/CXBkgnd_Diags.txt", 100,
                          300, 700, 300, 500, 0, 1);
  cc_diag_read_info("com.velcorra.corvex.background.diags");
  int taken = 0;
  for (;;) {
    uint32_t len = 0;
    int16_t code = 0;
    const uint8_t* data = GetNextBackgroundEvent(&len, &code);
    if (!data || code == 0) break;
    ++taken;
    const EventName* name = nullptr;
    for (const auto& e : kEventNames) {
      if (e.code == code) name = &e;
    }
    std::string line = name ? name->line : "Event " + std::to_string(code);
    if (name && name->text_data && len > 0) {
      line += ": ";
      line.append(reinterpret_cast<const char*>(data),
                  strnlen(reinterpret_cast<const char*>(data), len));
    }
    std::printf("event %d (%u data bytes): %s\n", code, len, line.c_str());
    diag_line(line.c_str(), kTraceLevel);
  }
  std::printf("%d event(s) taken from the driver's queue\n", taken);
  close_diagnostic_window();
  DisconnectFromDriver();
  return 0;
}

int dump(const char* path) {
  plist::ReadResult r = plist::read_plist_file(path);
  if (!r.value) {
    std::fprintf(stderr, "corvex-showcase: %s\n", r.error.c_str());
    return 1;
  }
  auto title = plist::make_string(path);
  CXCFShow(r.value.get(), title.get(), 0);
  CXCFKeyShow(title.get(), r.value.get());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "setup") == 0) return setup(argv[2], argv[3]);
  if (argc == 2 && std::strcmp(argv[1], "events") == 0) return events();
  if (argc == 3 && std::strcmp(argv[1], "dump") == 0) return dump(argv[2]);
  return usage();
}
