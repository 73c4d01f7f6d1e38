#include "refdriver/logind_sessions.h"

#include <string>

#include "platform/linux/logind.h"

namespace cx::refdriver {
namespace {

using platform::dbus_ae::ErrorPtr;
using platform::dbus_ae::VariantPtr;

}  // namespace

bool LogindSessions::connect() {
  if (connection_ && !g_dbus_connection_is_closed(connection_.get())) return true;
  connection_ = platform::logind::connect_system_bus();
  return connection_ != nullptr;
}

VariantPtr LogindSessions::call(const char* path, const char* interface, const char* method,
                                GVariant* parameters, const GVariantType* reply_type,
                                Answer& failure) {
  ErrorPtr error;
  VariantPtr reply(platform::logind::call(connection_.get(), platform::logind::kName, path,
                                          interface, method, parameters, reply_type, error));
  if (!reply)
    failure = platform::logind::no_answer(error.get()) ? Answer::Unreachable : Answer::NotActive;
  return reply;
}

ConsoleSessions::Answer LogindSessions::process_is_active(int32_t pid, uint32_t uid) {
  // Pid 0 would ask about the driver's own process.
  if (pid <= 0) return Answer::NotActive;
  if (!connect()) return Answer::Unreachable;
  Answer failure = Answer::NotActive;
  const VariantPtr session(call(platform::logind::kManagerPath, platform::logind::kManager,
                                "GetSessionByPID", g_variant_new("(u)", static_cast<guint32>(pid)),
                                G_VARIANT_TYPE("(o)"), failure));
  std::string path;
  if (session) {
    const gchar* found = nullptr;
    g_variant_get(session.get(), "(&o)", &found);
    path = found;
  } else if (failure == Answer::NotActive) {
    ErrorPtr error;
    path = platform::logind::user_display(connection_.get(), uid, error);
    if (error && platform::logind::no_answer(error.get())) return Answer::Unreachable;
  }
  if (path.empty()) return failure;
  const VariantPtr reply(call(path.c_str(), platform::logind::kProperties, "GetAll",
                              g_variant_new("(s)", platform::logind::kSession),
                              G_VARIANT_TYPE("(a{sv})"), failure));
  if (!reply) return failure;
  const platform::logind::SessionPlace place = platform::logind::session_place(reply.get());
  return place.active && place.on_seat ? Answer::Active : Answer::NotActive;
}

}  // namespace cx::refdriver
