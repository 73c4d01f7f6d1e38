// Apple events between real processes on a private session bus: the fake
// agent serves the agent's suite, corvexctl and gdbus call drive it.
#include <glib.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "platform/apple_events.h"
#include "platform/linux/apple_events_glib.h"
#include "platform/processes.h"
#include "tests/support/child_process.h"
#include "tests/support/golden.h"
#include "tests/support/temp_dir.h"

namespace cx::platform {
namespace {

using test::BackgroundProcess;
using test::CommandResult;
using test::eventually;
using test::run_command;

constexpr OSType kAgent = fourcc("VCVX");
constexpr OSType kControlPanel = fourcc("VCXT");
constexpr OSType kTestSuite = fourcc("cxts");

class PrivateBusEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    bus_ = std::make_unique<test::PrivateSessionBus>();
    ASSERT_FALSE(bus_->address().empty()) << "dbus-daemon";
  }
  void TearDown() override { bus_.reset(); }
  std::unique_ptr<test::PrivateSessionBus> bus_;
};
const auto* const bus_environment = ::testing::AddGlobalTestEnvironment(new PrivateBusEnvironment);

CommandResult corvexctl(std::vector<std::string> args) {
  args.insert(args.begin(), CX_CORVEXCTL);
  return run_command(args);
}

// gdbus call to the agent's Dispatch; the reply as gdbus prints it.
std::string gdbus_dispatch(const std::string& event_class, const std::string& event_id,
                           const std::string& params) {
  CommandResult r =
      run_command({"gdbus", "call", "--session", "--dest", "com.velcorra.corvex.sig.S56435658",
                   "--object-path", "/com/velcorra/corvex/AppleEvents", "--method",
                   "com.velcorra.corvex.AppleEvents.Dispatch", event_class, event_id, params});
  return r.exit_status == 0 ? r.out : "exit " + std::to_string(r.exit_status) + ": " + r.err;
}

bool wait_for_participant(OSType signature, pid_t pid) {
  return eventually([&] {
    ProcessSerialNumber psn{};
    return apple_events().find_process_by_signature(signature, psn) == noErr &&
           psn.lowLongOfPSN == static_cast<uint32_t>(pid);
  });
}

std::unique_ptr<BackgroundProcess> start_fake(const char* signature = "VCVX") {
  auto fake =
      std::make_unique<BackgroundProcess>(std::vector<std::string>{CX_AE_FAKE_AGENT, signature});
  EXPECT_TRUE(fake->wait_for_output("ready\n"));
  return fake;
}

AppleEvent to_agent(OSType event_class, const char (&id)[5]) {
  return AppleEvent(event_class, fourcc(id), make_signature_desc(kAgent));
}

TEST(AppleEventBus, CorvexctlCommandsReachTheAgentWithTheirData) {
  const auto fake = start_fake();
  struct Row {
    std::vector<std::string> args;
    std::string out;
    int exit_status;
  };
  // The fake never restores acceleration: an answer of 0 is a failed event.
  // Usage errors (exit 2) send nothing.
  const Row rows[] = {
      {{"status"}, "active\n", 0},
      {{"save"}, "save result: 1\n", 0},
      {{"restore", "buttons"}, "restore result: 1\n", 0},
      {{"restore", "acceleration"}, "restore result: 0\n", 3},
      {{"restore", "everything"}, "", 2},
      {{"menu-extra", "show"}, "", 0},
      {{"menu-extra", "hide"}, "", 0},
      {{"menu-extra"}, "", 2},
      {{"mouse-info"}, test::read_text("corvexctl_mouse_info.txt"), 0},
      {{"quit"}, "", 0},
  };
  for (const auto& [args, out, exit_status] : rows) {
    const CommandResult r = corvexctl(args);
    EXPECT_EQ(r.exit_status, exit_status) << args[0] << r.err;
    EXPECT_EQ(r.out, out) << args[0];
  }
  EXPECT_EQ(fake->wait_exit(), 0);
  EXPECT_EQ(fake->output(),
            "ready\ngbac reply=aevt\nwprf reply=aevt\nrdpf 1 reply=aevt\nrdpf 2 reply=aevt\n"
            "mnex 1 reply=aevt\nmnex 0 reply=aevt\nminf reply=aevt\nquit\n");
}

TEST(AppleEventBus, GdbusCallSpeaksTheWireForm) {
  const auto fake = start_fake();
  // gbac: reply '----' 'shor' 1.
  EXPECT_EQ(gdbus_dispatch("0x63787678", "0x67626163", "[]"),
            "([(uint32 757935405, uint32 1936224114, [byte 0x00, 0x01])],)\n");
  // Parameters come back in order, a repeated keyword replacing the earlier value (data),
  // empty ones too (none); refc is the handler's refcon 0x1234.
  EXPECT_EQ(gdbus_dispatch("0x63787473", "0x6563686f",
                           "[(0x62746e69, 0x54455854, [0x03]), (0x64617461, 0x73686f72, [0, 9]), "
                           "(0x6e6f6e65, 0x6e756c6c, []), (0x64617461, 0x6c6f6e67, [0, 0, 1, 0])]"),
            "([(uint32 1651797609, uint32 1413830740, [byte 0x03]), "
            "(1684108385, 1819242087, [0x00, 0x00, 0x01, 0x00]), (1852796517, 1853189228, []), "
            "(1919247971, 1819242087, [0x00, 0x00, 0x12, 0x34]), "
            "(1936287598, 1936287598, [0x56, 0x43, 0x56, 0x58])],)\n");
  // Nobody handles cxvx/none: errn -1708, never a D-Bus error.
  EXPECT_EQ(gdbus_dispatch("0x63787678", "0x6e6f6e65", "[]"),
            "([(uint32 1701999214, uint32 1819242087, [byte 0xff, 0xff, 0xf9, 0x54])],)\n");
}

TEST(AppleEventBus, NoReplySendsReachHandlersWithANullReply) {
  const auto fake = start_fake();
  AppleEvent mnex = to_agent(fourcc("cxvx"), "mnex");
  mnex.put_shor(fourcc("data"), 1);
  EXPECT_EQ(apple_events().send(mnex, nullptr, AESendMode::no_reply), noErr);
  // minf without a reply: its handler sees null and its error goes nowhere.
  EXPECT_EQ(apple_events().send(to_agent(fourcc("cxvx"), "minf"), nullptr, AESendMode::no_reply),
            noErr);
  ASSERT_TRUE(fake->wait_for_output("minf reply=null\n"));
  EXPECT_EQ(fake->output(), "ready\nmnex 1 reply=null\nminf reply=null\n");
}

TEST(AppleEventBus, HandlerErrorsExceptionsDeathAndTimeouts) {
  const auto fake = start_fake();
  AppleEvent fail = to_agent(kTestSuite, "fail");
  fail.put_shor(fourcc("data"), -43);
  AppleEvent reply;
  ASSERT_EQ(apple_events().send(fail, &reply, AESendMode::wait_reply), noErr);
  EXPECT_EQ(reply.parameters(),
            (std::vector<AppleEvent::Parameter>{{keyErrorNumber, make_long_desc(-43)}}));
  ASSERT_EQ(apple_events().send(to_agent(kTestSuite, "thrw"), &reply, AESendMode::wait_reply),
            noErr);
  EXPECT_EQ(*reply.find_param(keyErrorNumber), make_long_desc(errAEEventFailed));
  EXPECT_EQ(fake->output(), "ready\nfake thrw - Exception occurred\n");
  // -1712, then -609 when the target dies mid-call.
  EXPECT_EQ(apple_events().send(to_agent(kTestSuite, "slow"), &reply, AESendMode::wait_reply, 30),
            errAETimeout);
  EXPECT_EQ(apple_events().send(to_agent(kTestSuite, "die!"), &reply, AESendMode::wait_reply),
            connectionInvalid);
}

TEST(AppleEventBus, MissingTargetIsProcNotFound) {
  ProcessSerialNumber psn{1, 1};
  EXPECT_EQ(apple_events().find_process_by_signature(kAgent, psn), procNotFound);
  EXPECT_EQ(psn, ProcessSerialNumber{});
  AppleEvent gbac = to_agent(fourcc("cxvx"), "gbac");
  AppleEvent reply;
  EXPECT_EQ(apple_events().send(gbac, &reply, AESendMode::wait_reply), procNotFound);
  EXPECT_EQ(apple_events().send(gbac, nullptr, AESendMode::no_reply), procNotFound);
  // A process that takes no part in Apple events (this one) has no serial number to address.
  AppleEvent to_self(fourcc("cxvx"), fourcc("gbac"),
                     make_psn_desc({0, static_cast<uint32_t>(getpid())}));
  EXPECT_EQ(apple_events().send(to_self, &reply, AESendMode::wait_reply), procNotFound);
  const CommandResult status = corvexctl({"status"});
  EXPECT_EQ(status.exit_status, 1);
  EXPECT_EQ(status.out, "");
  EXPECT_EQ(status.err, "corvexctl: the agent (VCVX) is not running (-600)\n");
}

// Runs the main loop until the directory lists exactly `expected`; false after five seconds.
bool directory_becomes(const std::vector<std::pair<OSType, pid_t>>& expected) {
  return eventually([&] {
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    std::vector<SignedProcess> listed;
    participant_directory().participants(listed);
    std::vector<std::pair<OSType, pid_t>> pairs;
    for (const SignedProcess& p : listed) pairs.emplace_back(p.signature, p.pid);
    return pairs == expected;
  });
}

TEST(AppleEventBus, PsnTargetsAndTheParticipantDirectoryFollowTheBus) {
  auto agent = start_fake("VCVX");
  EXPECT_TRUE(directory_becomes({{kAgent, agent->pid()}}));
  const auto host = start_fake("sprf");
  ASSERT_TRUE(directory_becomes({{kAgent, agent->pid()}, {fourcc("sprf"), host->pid()}}));
  for (const auto& [signature, pid] :
       {std::pair{kAgent, agent->pid()}, std::pair{fourcc("sprf"), host->pid()}}) {
    ProcessSerialNumber psn{};
    ASSERT_EQ(apple_events().find_process_by_signature(signature, psn), noErr);
    EXPECT_EQ(psn, (ProcessSerialNumber{0, static_cast<uint32_t>(pid)}));
    AppleEvent reply;
    ASSERT_EQ(apple_events().send(AppleEvent(kTestSuite, fourcc("echo"), make_psn_desc(psn)),
                                  &reply, AESendMode::wait_reply),
              noErr);
    ASSERT_NE(reply.find_param(fourcc("sign")), nullptr);
    EXPECT_EQ(*reply.find_param(fourcc("sign")), make_signature_desc(signature));
  }
  agent.reset();
  EXPECT_TRUE(directory_becomes({{fourcc("sprf"), host->pid()}}));
}

bool g_noted = false;
OSErr note_event(const AppleEvent&, AppleEvent&, intptr_t) {
  g_noted = true;
  return noErr;
}

// This process serves the control panel's signature, and also owns many more
// participant names on a second connection that serves nothing: an event to
// the serial number found for the signature goes to the connection that owns
// the signature, whatever else the process owns.
TEST(AppleEventBus, APsnFoundBySignatureReachesTheOwnerOfThatName) {
  apple_events().handlers().install(kTestSuite, fourcc("note"), &note_event, 0);
  ASSERT_EQ(apple_events().serve(kControlPanel), AEServeResult::ok);
  GError* error = nullptr;
  const dbus_ae::ConnectionPtr decoys(g_dbus_connection_new_for_address_sync(
      std::getenv("DBUS_SESSION_BUS_ADDRESS"),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, &error));
  ASSERT_TRUE(decoys) << error->message;
  for (unsigned i = 0; i < 200; ++i) {
    char name[64];
    std::snprintf(name, sizeof name, "com.velcorra.corvex.sig.S%08X", 0x10000000u + i);
    const dbus_ae::VariantPtr granted(g_dbus_connection_call_sync(
        decoys.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", name, 4u), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
        nullptr, nullptr));
    ASSERT_TRUE(granted);
  }
  ProcessSerialNumber psn{};
  ASSERT_EQ(apple_events().find_process_by_signature(kControlPanel, psn), noErr);
  EXPECT_EQ(psn, (ProcessSerialNumber{0, static_cast<uint32_t>(::getpid())}));
  ASSERT_EQ(apple_events().send(AppleEvent(kTestSuite, fourcc("note"), make_psn_desc(psn)), nullptr,
                                AESendMode::no_reply),
            noErr);
  EXPECT_TRUE(eventually([] { return g_main_context_iteration(nullptr, FALSE), g_noted; }));
  // Waiting for our own reply would wait for ever: the handler answers at once.
  AppleEvent reply;
  EXPECT_EQ(apple_events().send(AppleEvent(kTestSuite, fourcc("note"), make_psn_desc(psn)), &reply,
                                AESendMode::wait_reply, 60),
            noErr);
}

// Starts `corvexctl monitor ARGS`, sends the notifications, returns the bdac
// answer; `printed` has each line's "YYYY-MM-DD HH:MM:SS.mmm " stamp as "T ".
int16_t run_monitor_session(const std::vector<std::string>& args, std::string& printed) {
  std::vector<std::string> argv{CX_CORVEXCTL, "monitor"};
  argv.insert(argv.end(), args.begin(), args.end());
  BackgroundProcess monitor(argv);
  EXPECT_TRUE(wait_for_participant(kControlPanel, monitor.pid()));
  for (const OSType id : {fourcc("UPDt"), fourcc("cord"), fourcc("bact")}) {
    AppleEvent note(fourcc("cxvx"), id, make_signature_desc(kControlPanel));
    EXPECT_EQ(apple_events().send(note, nullptr, AESendMode::no_reply, kNoTimeOut), noErr);
  }
  AppleEvent reply;
  int16_t answer = -1;
  EXPECT_EQ(apple_events().send(
                AppleEvent(fourcc("cxvx"), fourcc("bdac"), make_signature_desc(kControlPanel)),
                &reply, AESendMode::wait_reply, kNoTimeOut),
            noErr);
  EXPECT_EQ(reply.get_shor(keyDirectObject, answer), noErr);
  EXPECT_EQ(monitor.terminate(), 0);
  static const std::regex stamp(R"((^|\n)\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )");
  printed = std::regex_replace(monitor.output(), stamp, "$1T ");
  return answer;
}

TEST(AppleEventBus, MonitorPrintsNotificationsAndAnswersBdac) {
  std::string printed;
  EXPECT_EQ(run_monitor_session({"--save"}, printed), 1);
  EXPECT_EQ(printed,
            "T monitoring as VCXT; bdac will be answered 1 (save)\n"
            "T UPDt: the attached mice changed\n"
            "T cord: a chord was pressed\n"
            "T bact: the agent is active in this session\n"
            "T bdac: the agent is deactivating; answered 1 (save)\n");
  // Not saving is the default; --no-save itself is the two-session test's.
  EXPECT_EQ(run_monitor_session({}, printed), 0);
  EXPECT_NE(printed.find("\nT bdac: the agent is deactivating; answered 0 (do not save)\n"),
            std::string::npos);
  // A second monitor finds the signature taken.
  BackgroundProcess first({CX_CORVEXCTL, "monitor"});
  ASSERT_TRUE(wait_for_participant(kControlPanel, first.pid()));
  const CommandResult second = corvexctl({"monitor", "--save"});
  EXPECT_EQ(second.exit_status, 3);
  EXPECT_EQ(second.err, "corvexctl: another control panel (VCXT) is already running\n");
}

}  // namespace
}  // namespace cx::platform
