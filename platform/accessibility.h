// What the desktop's accessibility tree says about an application: the
// address of the page its active window shows. Browsers on Linux answer no
// Apple events, but they describe their pages to assistive technology.
#pragma once

#include <sys/types.h>

#include <string>

namespace cx::platform {

class Accessibility {
 public:
  virtual ~Accessibility() = default;
  // The address of the document in the active window of the application
  // with process ID `pid`; false when accessibility is off, the application
  // is not in the tree, or it shows no document.
  virtual bool document_address(pid_t pid, std::string& address) = 0;
};

// The process-wide service: the desktop's, unless a test installed another.
Accessibility& accessibility();
// Installs `a` (not owned; null restores the desktop's).
void set_accessibility(Accessibility* a);

}  // namespace cx::platform
