#include "agent/driver_relink.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "agent/agent_state.h"
#include "agent/lifecycle.h"
#include "agent/user_sessions.h"
#include "diag/diag_timestamp.h"
#include "diag/diag_writers.h"
#include "driver/driver_connection.h"
#include "platform/event_loop.h"

namespace cx {
namespace {

bool link_down = false;
std::chrono::milliseconds next_delay = kFirstRelinkDelay;
platform::EventSourceHandle pending_loss;
platform::EventSourceHandle retry;

// The requests run on with a dead connection until their caller returns, so
// the connection is only released once the current callback is over.
void request_found_driver_gone() {
  if (link_down || pending_loss) return;
  pending_loss = platform::event_loop().add_one_shot(std::chrono::milliseconds(0), [] {
    const platform::EventSourceHandle self = std::move(pending_loss);
    driver_link_lost();
  });
}

// Asked before the set-up so that a driver still away costs no messages.
bool driver_listens() {
  platform::UserClientService& service = platform::user_client_service();
  std::vector<std::string> services;
  std::unique_ptr<platform::UserClientConnection> probe;
  return service.matching_services(kDriverClassName, services) == platform::kIOReturnSuccess &&
         !services.empty() && service.open(services.front(), probe) == platform::kIOReturnSuccess &&
         probe;
}

void drop_link() {
  release_event_notifications();
  DisconnectFromDriver();
}

void schedule_retry();

void try_relink() {
  const platform::EventSourceHandle self = std::move(retry);
  if (!driver_listens() || setup_driver_link() != 0) {
    drop_link();
    next_delay = std::min(next_delay * 2, kLongestRelinkDelay);
    schedule_retry();
    return;
  }
  link_down = false;
  std::fprintf(stderr, "Corvex Background: the driver is back\n");
  diag_printf("%s:Corvex Background: Driver connection restored\n", timestamp());
  // Activation, with the settings, the device table and the front
  // application, follows when the driver confirms this user.
  if (user_session_active) set_active_uid(true);
}

void schedule_retry() {
  retry = platform::event_loop().add_one_shot(next_delay, try_relink);
}

}  // namespace

void watch_driver_link() {
  set_driver_gone_handler(request_found_driver_gone);
}

void unwatch_driver_link() {
  set_driver_gone_handler(nullptr);
  pending_loss.reset();
  retry.reset();
  link_down = false;
  next_delay = kFirstRelinkDelay;
}

void driver_link_lost() {
  if (link_down) return;
  link_down = true;
  pending_loss.reset();
  std::fprintf(stderr, "Corvex Background: lost the driver, reconnecting\n");
  diag_printf("%s:Corvex Background: Driver connection lost, reconnecting\n", timestamp());
  drop_link();
  // A driver that comes back knows nothing of this agent: the next
  // activation must send everything again.
  background_app_active = 0;
  initialized_devices = 0;
  active_app_sig = 0;
  next_delay = kFirstRelinkDelay;
  schedule_retry();
}

}  // namespace cx
