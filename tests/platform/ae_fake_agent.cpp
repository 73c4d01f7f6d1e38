// A stand-in agent for the bus tests: serves the agent's suite through the
// handler table on the session bus and writes what it received to stdout.
// Usage: ae_fake_agent [SIGNATURE]   (default VCVX)
#include <glib.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

#include "platform/apple_events.h"
#include "tests/support/golden.h"
#include "util/byte_order.h"

namespace {

using namespace cx::platform;

constexpr OSType kData = fourcc("data");

GMainLoop* main_loop = nullptr;
OSType own_signature = fourcc("VCVX");

// Logs the event and its data; answers 1, except that acceleration (rdpf 2)
// is never restored, and minf with the record of two mice.
OSErr on_agent_event(const AppleEvent& event, AppleEvent& reply, intptr_t) {
  std::string line = fourcc_text(event.event_id());
  int16_t data = 0;
  if (event.get_shor(kData, data) == noErr) line += " " + std::to_string(data);
  std::printf("%s reply=%s\n", line.c_str(), reply.is_null() ? "null" : "aevt");
  if (event.event_id() == fourcc("minf"))
    return reply.put_param(fourcc("mous"),
                           make_bytes_desc(typeWildCard, cx::test::read_hex("mouse_info.hex")));
  return reply.put_shor(keyDirectObject, data == 2 ? 0 : 1);
}

OSErr on_quit(const AppleEvent&, AppleEvent&, intptr_t) {
  std::printf("quit\n");
  g_main_loop_quit(main_loop);
  return noErr;
}

// Sends every parameter back, plus the refcon and who answered.
OSErr on_echo(const AppleEvent& event, AppleEvent& reply, intptr_t refcon) {
  for (const auto& [keyword, desc] : event.parameters()) reply.put_param(keyword, desc);
  reply.put_long(fourcc("refc"), static_cast<int32_t>(refcon));
  return reply.put_param(fourcc("sign"), make_signature_desc(own_signature));
}

// Failures: fail answers its data as the error, thrw throws, slow takes two
// seconds, die! exits mid-call.
OSErr on_trouble(const AppleEvent& event, AppleEvent&, intptr_t) {
  switch (event.event_id()) {
    case fourcc("thrw"):
      throw std::runtime_error("thrw");
    case fourcc("slow"):
      g_usleep(2 * G_USEC_PER_SEC);
      return noErr;
    case fourcc("die!"):
      _exit(0);
  }
  int16_t error = 0;
  event.get_shor(kData, error);
  return error;
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);  // each line reaches the test at once
  if (argc > 1 && std::strlen(argv[1]) == 4) {
    own_signature = cx::load_be32(reinterpret_cast<const uint8_t*>(argv[1]));
  }
  AEHandlerTable& table = apple_events().handlers();
  table.install(kCoreEventClass, kAEQuitApplication, on_quit, 0);
  for (const OSType id :
       {fourcc("mnex"), fourcc("wprf"), fourcc("rdpf"), fourcc("gbac"), fourcc("minf")})
    table.install(fourcc("cxvx"), id, on_agent_event, 0);
  constexpr OSType kTestSuite = fourcc("cxts");
  table.install(kTestSuite, fourcc("echo"), on_echo, 0x1234);
  for (const OSType id : {fourcc("fail"), fourcc("slow"), fourcc("die!")})
    table.install(kTestSuite, id, on_trouble, 0);
  table.install(kTestSuite, fourcc("thrw"), on_trouble, 0, "fake thrw - Exception occurred\n");

  if (apple_events().serve(own_signature) != AEServeResult::ok) {
    std::fprintf(stderr, "ae_fake_agent: cannot serve %s\n", fourcc_text(own_signature).c_str());
    return 1;
  }
  std::printf("ready\n");
  main_loop = g_main_loop_new(nullptr, FALSE);
  g_main_loop_run(main_loop);
  g_main_loop_unref(main_loop);
  return 0;
}
