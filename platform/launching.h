// Launch Services: opening a document, a folder, a program or a URL the way
// the desktop opens it when the user double-clicks it.
#pragma once

#include <cstdint>
#include <string_view>

namespace cx::platform {

// Launch Services results (with the File Manager's and the Memory Manager's
// for a missing file and a missing target).
namespace ls_status {
inline constexpr int32_t file_not_found = -43;            // fnfErr
inline constexpr int32_t no_target = -50;                 // paramErr
inline constexpr int32_t launch_failed = -10810;          // kLSUnknownErr
inline constexpr int32_t application_not_found = -10814;  // kLSApplicationNotFoundErr
}  // namespace ls_status

class Launcher {
 public:
  virtual ~Launcher() = default;
  // `target` is a URL with a scheme ("http:", "file:", ...) or a file path,
  // a relative one taken from the working folder. 0, or a negative status.
  virtual int32_t open(std::string_view target) = 0;
  // Starts the desktop's default web browser on its own start page.
  virtual int32_t open_default_browser() = 0;
};

// The process-wide service: the desktop's, unless a test installed another.
Launcher& launcher();
// Installs `l` (not owned; null restores the desktop's).
void set_launcher(Launcher* l);

// LSOpenCFURLRef, with the URL given as text; the launched application is
// not reported.
inline int32_t LSOpenCFURLRef(std::string_view url) {
  return launcher().open(url);
}

}  // namespace cx::platform
