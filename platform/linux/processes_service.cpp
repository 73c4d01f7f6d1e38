#include <unistd.h>

#include <memory>

#include "platform/linux/processes_x11.h"
#include "platform/processes.h"

namespace cx::platform {
namespace {

SignatureDirectory* g_directory = nullptr;
Processes* g_installed = nullptr;

}  // namespace

Processes& processes() {
  if (g_installed != nullptr) return *g_installed;
  // Opened on first use, so a process that never asks never touches X.
  static const std::unique_ptr<Processes> desktop = make_x11_processes();
  return *desktop;
}

void set_processes(Processes* p) {
  g_installed = p;
}

OSErr GetCurrentProcess(ProcessSerialNumber* psn) {
  *psn = {0, static_cast<uint32_t>(getpid())};
  return noErr;
}

void set_signature_directory(SignatureDirectory* d) {
  g_directory = d;
}
SignatureDirectory* signature_directory() {
  return g_directory;
}

}  // namespace cx::platform
