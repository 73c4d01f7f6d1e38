// corvex-showcase: what the control panel will do for the main job until
// the preference store lands: binds buttons in the driver with the agent's
// response blocks, and prints property lists with the agent's dumper.
//
//   corvex-showcase bind URL TEXT   bind button 3 to URL and button 4 to
//                                   pasting TEXT, print both as stored
//   corvex-showcase dump FILE       print a property list in both dumper forms
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "diag/plist_describe.h"
#include "diag/plist_show.h"
#include "driver/driver_connection.h"
#include "driver/response_requests.h"
#include "driver/transfer_block.h"
#include "model/builtin_actlists.h"
#include "model/response_block.h"
#include "model/response_printer.h"
#include "plist/plist_io.h"

namespace {

using namespace cx;

int usage() {
  std::fprintf(stderr, "usage: corvex-showcase bind URL TEXT | dump FILE\n");
  return 2;
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

int bind(const char* url, const char* text) {
  if (!ConnectToDriver()) return 1;
  int16_t stored = upload_responses(url, text);
  std::printf("stored %d response(s)\n", stored);
  if (stored < 2) return 1;
  print_button(3);
  print_button(4);
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
  if (argc == 4 && std::strcmp(argv[1], "bind") == 0) return bind(argv[2], argv[3]);
  if (argc == 3 && std::strcmp(argv[1], "dump") == 0) return dump(argv[2]);
  return usage();
}
