#include "agent/lifecycle.h"

#include <array>
#include <cstdio>
#include <memory>
#include <vector>

#include "agent/agent_callbacks.h"
#include "agent/agent_state.h"
#include "agent/driver_events.h"
#include "agent/driver_relink.h"
#include "agent/fast_user_switch.h"
#include "agent/foreground_app.h"
#include "agent/menu_extra.h"
#include "agent/user_sessions.h"
#include "cpanel/cx_ae_mgr.h"
#include "diag/diag_config.h"
#include "diag/diag_log_file.h"
#include "diag/diag_writers.h"
#include "driver/device_requests.h"
#include "driver/driver_connection.h"
#include "model/opaque_records.h"
#include "platform/event_loop.h"
#include "platform/user_client.h"
#include "prefs/pref_files.h"
#include "util/byte_order.h"

namespace cx {
namespace {

using platform::fourcc;

constexpr uint32_t kReportLevel = 0x20000;
constexpr uint32_t kTraceLevel = 0x1ffff;
constexpr platform::OSType kSuiteClass = fourcc("cxvx");
constexpr platform::OSType kAgentSignature = fourcc("VCVX");

// The driver's messages reach the main loop through the notifier's
// descriptor; the watch is the run-loop source.
struct notification_port {
  std::unique_ptr<platform::InterestNotifier> notifier;
  platform::EventSourceHandle source;
};

platform::UserClientService* cx_masterPort = nullptr;
std::unique_ptr<notification_port> cx_notifyPort;

void deliver_driver_messages() {
  std::vector<platform::InterestMessage> messages;
  const bool alive = cx_notifyPort->notifier->read_pending(messages);
  for (const platform::InterestMessage& m : messages)
    agent_routines.driver_notify(nullptr, vcx_service, m.type, m.argument);
  if (!alive) driver_link_lost();
}

struct handler_entry {
  platform::OSType event_class;
  platform::OSType event_id;
  platform::AEEventHandlerProc handler;
  const char* exception_line;
};

// Only these six are served; the other members of CXAEMgr stay unbound.
const std::array<handler_entry, 6>& served_events() {
  static const std::array<handler_entry, 6> events{{
      {platform::kCoreEventClass, platform::kAEQuitApplication, agent_routines.quit, nullptr},
      {kSuiteClass, fourcc("mnex"), agent_routines.menu_extra, nullptr},
      {kSuiteClass, fourcc("wprf"), CXAEMgr::WritePrefsEventHandler,
       "CXAEMgr::WritePrefsEventHandler - Exception occurred\n"},
      {kSuiteClass, fourcc("rdpf"), CXAEMgr::RestoreDefaultPrefsEventHandler,
       "CXAEMgr::RestoreDefaultPrefsEventHandler - Exception occurred\n"},
      {kSuiteClass, fourcc("gbac"), CXAEMgr::GetBackgroundAppActiveEventHandler,
       "CXAEMgr::GetBackgroundAppActiveEventHandler - Exception occurred\n"},
      {kSuiteClass, fourcc("minf"), CXAEMgr::GetMouseInfoEventHandler,
       "CXAEMgr::GetMouseInfoEventHandler - Exception occurred\n"},
  }};
  return events;
}

void write_report_header() {
  diag_line(" ", kReportLevel);
  diag_line("===============================", kReportLevel);
  diag_line("Corvex Background.app Diagnostic Report", kReportLevel);
  diag_timestamp(kReportLevel);
  diag_line(" ", kReportLevel);
  diag_line("------------------", kTraceLevel);
  diag_line("Connecting to Driver", kTraceLevel);
}

void write_report_trailer() {
  diag_line(" ", kReportLevel);
  diag_timestamp(kReportLevel);
  diag_line("End of Corvex Background.app Diagnostic Report", kReportLevel);
  diag_line(">>>>>>>>>>>>>>>><<<<<<<<<<<<<<<", kReportLevel);
}

}  // namespace

int check_driver_version() {
  mouse_version_info info{};
  store_be16(info.bytes.data(), static_cast<uint16_t>(mouse_version_info::kSize));
  GetMouseInfo(info);
  const uint16_t version = load_be16(info.bytes.data() + 2);
  const uint8_t revision = info.bytes[4];
  if (version == kDriverInterfaceVersion && revision == kDriverInterfaceRevision) return 0;
  std::fprintf(stderr,
               "Corvex Background: Driver version mismatch.\n\t\t\tDriver Version: 0x%x(0x%x)\n"
               "    App Version: 0x%x(0x%x)\n",
               version, revision, kDriverInterfaceVersion, kDriverInterfaceRevision);
  return setup_status::version_mismatch;
}

namespace {

// The control panel finds the agent by its signature on the bus. Two agents
// of one session would both act on every press, so the second one leaves.
int serve_agent_events() {
  const platform::AEServeResult result = platform::apple_events().serve(kAgentSignature);
  if (result == platform::AEServeResult::no_transport)
    std::fprintf(stderr, "Corvex Background: no session bus, the control panel cannot reach us\n");
  if (result != platform::AEServeResult::signature_taken) return 0;
  std::fprintf(stderr, "Corvex Background: another agent already serves this session, leaving\n");
  return setup_status::agent_already_running;
}

}  // namespace

int register_event_notifications() {
  // The user-client service is always there; it stands in for the master
  // port, and the port object cannot fail to be made.
  cx_masterPort = &platform::user_client_service();
  cx_notifyPort = std::make_unique<notification_port>();
  if (vcx_service.empty()) {
    std::fprintf(stderr, "Corvex Background: Unable to get service for notifications\n");
    return setup_status::no_service;
  }
  if (cx_masterPort->open_interest(vcx_service, cx_notifyPort->notifier) !=
          platform::kIOReturnSuccess ||
      !cx_notifyPort->notifier) {
    std::fprintf(stderr, "Corvex Background: Unable to setup interest notification\n");
    return setup_status::no_interest_notification;
  }
  cx_notifyPort->source =
      platform::event_loop().watch_fd(cx_notifyPort->notifier->fd(), deliver_driver_messages);
  return 0;
}

void release_event_notifications() {
  cx_notifyPort.reset();
  cx_masterPort = nullptr;
}

int setup_driver_link() {
  if (!ConnectToDriver()) {
    std::fprintf(stderr, "Corvex Background: could not connect to driver\n");
    return setup_status::no_driver;
  }
  // Presses queued while no agent listened are stale: drop them.
  poll_driver_events(false);
  if (const int status = register_event_notifications(); status != 0) return status;

  diag_line("Checking driver version", kTraceLevel);
  return check_driver_version();
}

int install_apple_event_handlers() {
  platform::AEHandlerTable& table = platform::apple_events().handlers();
  for (const handler_entry& e : served_events()) {
    // The suite's handlers get their own event ID as reference constant.
    const intptr_t refcon = e.event_class == kSuiteClass ? static_cast<intptr_t>(e.event_id) : 0;
    const platform::OSErr status =
        table.install(e.event_class, e.event_id, e.handler, refcon, e.exception_line);
    if (status != platform::noErr) return status;
  }
  return 0;
}

int setup_backgroundapp() {
  cc_diag_set_window_info("Corvex Background Diagnostics", "/Users/Shared/CXBkgnd_Diags.txt", 100,
                          300, 700, 300, 500, 0, 1);
  cc_diag_read_info("com.velcorra.corvex.background.diags");
  write_report_header();
  // Before the driver is touched: a second agent must not even drain the
  // first one's queue. Events are dispatched only once the loop runs.
  if (const int status = serve_agent_events(); status != 0) return status;

  if (const int status = setup_driver_link(); status != 0) return status;
  watch_driver_link();

  diag_line("Initializing AE Handlers", kTraceLevel);
  if (const int status = install_apple_event_handlers(); status != 0) return status;

  learn_user_session();
  // The settings follow when the driver confirms this user.
  if (user_session_active) set_active_uid(true);

  diag_line("Installing Appset Timer", kTraceLevel);
  installForegroundAppTimer();
  setupMenuExtraBundle();
  return 0;
}

void cleanup_backgroundapp() {
  unloadMenuExtraBundle();
  removeForegroundAppTimer();
  unwatch_driver_link();
  if (cx_notifyPort && (background_app_active || user_session_active)) set_active_uid(false);
  release_event_notifications();
  DisconnectFromDriver();
  pref_data.reset();
  write_report_trailer();
  close_diagnostic_window();
}

platform::OSErr QuitAppleEventHandler(const platform::AppleEvent&, platform::AppleEvent&,
                                      intptr_t) {
  platform::event_loop().quit();
  return platform::noErr;
}

platform::OSErr MenuExtraAppleEventHandler(const platform::AppleEvent& event, platform::AppleEvent&,
                                           intptr_t) {
  int16_t visible = 0;
  if (event.get_shor(fourcc("data"), visible) != platform::noErr) visible = 0;
  setVisibleMenuExtraBundle(visible);
  return platform::noErr;
}

}  // namespace cx
