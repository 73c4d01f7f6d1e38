#include "cpanel/ae_exception_lines.h"

#include <array>

#include "cpanel/cx_ae_mgr.h"

namespace cx {
namespace {

struct handler_line {
  platform::AEEventHandlerProc handler;
  const char* line;
};

// The first keeps its own wording (no dash, lower-case "exception").
constexpr std::array kLines{
    handler_line{&CXAEMgr::AccessDataEventHandler,
                 "CXAEMgr::AccessDataEventHandler exception occurred\n"},
    handler_line{&CXAEMgr::AccessGlobalDataEventHandler,
                 "CXAEMgr::AccessGlobalDataEventHandler - Exception occurred\n"},
    handler_line{&CXAEMgr::AccessAppDataEventHandler,
                 "CXAEMgr::AccessAppDataEventHandler - Exception occurred\n"},
    handler_line{&CXAEMgr::GetActionListEventHandler,
                 "CXAEMgr::GetActionListEventHandler - Exception occurred\n"},
    handler_line{&CXAEMgr::GetActionNameEventHandler,
                 "CXAEMgr::GetActionNameEventHandler - Exception occurred\n"},
    handler_line{&CXAEMgr::GetDataSizeEventHandler,
                 "CXAEMgr::GetDataSizeEventHandler - Exception occurred\n"},
    handler_line{&CXAEMgr::SetActionListEventHandler,
                 "CXAEMgr::SetActionListEventHandler - Exception occurred\n"},
    handler_line{&CXAEMgr::SetActionNameEventHandler,
                 "CXAEMgr::SetActionNameEventHandler - Exception occurred\n"},
};

}  // namespace

const char* ae_exception_line(platform::AEEventHandlerProc handler) {
  for (const handler_line& entry : kLines) {
    if (entry.handler == handler) return entry.line;
  }
  return nullptr;
}

}  // namespace cx
