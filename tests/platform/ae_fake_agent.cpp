// A stand-in agent for the bus tests: serves the agent's suite through the
// handler table on the session bus and writes what it received to stdout.
// Usage: ae_fake_agent [SIGNATURE]   (default VCVX)
#include <glib.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "platform/apple_events.h"
#include "util/byte_order.h"

namespace {

using namespace cx::platform;
using cx::load_be32;
using cx::store_be16;
using cx::store_be32;

constexpr OSType kSuite = fourcc("cxvx");
constexpr OSType kTestSuite = fourcc("cxts");
constexpr OSType kData = fourcc("data");

GMainLoop* main_loop = nullptr;
OSType own_signature = fourcc("VCVX");

const char* kind(const AppleEvent& reply) {
  return reply.is_null() ? "null" : "aevt";
}

int16_t data_or_zero(const AppleEvent& event) {
  int16_t value = 0;
  event.get_shor(kData, value);
  return value;
}

// Two devices: a five-button ring-and-wheel trackball and a wireless three-button mouse.
std::vector<uint8_t> mouse_info_record() {
  std::vector<uint8_t> r(180);
  store_be16(&r[0], 180);
  store_be16(&r[2], 0x0300);
  r[4] = 1;
  r[5] = 2;
  store_be16(&r[6], 5);
  const uint32_t ids[] = {0x00C0FFEE, 0x12345678};
  const uint32_t caps[] = {0x0605, 0x1D03};
  for (size_t i = 0; i < 2; ++i) {
    uint8_t* entry = &r[12 + 24 * i];
    store_be32(entry, ids[i]);
    store_be32(entry + 4, caps[i]);
    for (size_t f = 0; f < 7; ++f)
      store_be16(entry + 8 + 2 * f, static_cast<uint16_t>(10 * i + f + 1));
  }
  return r;
}

OSErr on_gbac(const AppleEvent&, AppleEvent& reply, intptr_t) {
  std::printf("gbac reply=%s\n", kind(reply));
  return reply.put_shor(keyDirectObject, 1);
}

OSErr on_wprf(const AppleEvent&, AppleEvent& reply, intptr_t) {
  std::printf("wprf reply=%s\n", kind(reply));
  return reply.put_shor(keyDirectObject, 1);
}

OSErr on_rdpf(const AppleEvent& event, AppleEvent& reply, intptr_t) {
  std::printf("rdpf %d reply=%s\n", data_or_zero(event), kind(reply));
  return reply.put_shor(keyDirectObject, data_or_zero(event) == 1 ? 1 : 0);
}

OSErr on_minf(const AppleEvent&, AppleEvent& reply, intptr_t) {
  std::printf("minf reply=%s\n", kind(reply));
  if (reply.is_null()) return errAEDescNotFound;
  return reply.put_param(fourcc("mous"), make_bytes_desc(typeWildCard, mouse_info_record()));
}

OSErr on_mnex(const AppleEvent& event, AppleEvent& reply, intptr_t) {
  std::printf("mnex %d reply=%s\n", data_or_zero(event), kind(reply));
  return noErr;
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

OSErr on_fail(const AppleEvent& event, AppleEvent&, intptr_t) {
  return data_or_zero(event);
}

OSErr on_throw(const AppleEvent&, AppleEvent&, intptr_t) {
  throw std::runtime_error("thrw");
}

OSErr on_slow(const AppleEvent&, AppleEvent&, intptr_t) {
  g_usleep(2 * G_USEC_PER_SEC);
  return noErr;
}

OSErr on_die(const AppleEvent&, AppleEvent&, intptr_t) {
  _exit(0);
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);  // each line reaches the test at once
  if (argc > 1 && std::strlen(argv[1]) == 4) {
    own_signature = load_be32(reinterpret_cast<const uint8_t*>(argv[1]));
  }
  AEHandlerTable& table = apple_events().handlers();
  table.install(kCoreEventClass, kAEQuitApplication, on_quit, 0);
  const OSType ids[] = {fourcc("mnex"), fourcc("wprf"), fourcc("rdpf"), fourcc("gbac"),
                        fourcc("minf")};
  const AEEventHandlerProc procs[] = {on_mnex, on_wprf, on_rdpf, on_gbac, on_minf};
  for (size_t i = 0; i < 5; ++i) table.install(kSuite, ids[i], procs[i], ids[i]);
  table.install(kTestSuite, fourcc("echo"), on_echo, 0x1234);
  table.install(kTestSuite, fourcc("fail"), on_fail, 0);
  table.install(kTestSuite, fourcc("thrw"), on_throw, 0, "fake thrw - Exception occurred\n");
  table.install(kTestSuite, fourcc("slow"), on_slow, 0);
  table.install(kTestSuite, fourcc("die!"), on_die, 0);

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
