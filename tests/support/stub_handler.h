// A desktop application registered through the XDG MIME database as the
// default handler of some types and schemes; it only writes down each
// command line it is started with. Set up before the first GIO lookup of
// the process: GIO reads the database once.
#pragma once

#include <unistd.h>

#include <sys/stat.h>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/scoped_env.h"
#include "tests/support/temp_dir.h"

namespace cx::test {

class StubHandler {
 public:
  explicit StubHandler(const std::vector<std::string>& types) {
    const std::string script = dir_.file("stub.sh");
    write_file(script, "#!/bin/sh\necho \"open:$*\" >> '" + log_ + "'\n");
    chmod(script.c_str(), 0755);
    mkdir(dir_.file("applications").c_str(), 0755);
    std::string mime = "[Default Applications]\n", list;
    for (const std::string& t : types) {
      mime += t + "=cx-stub.desktop\n";
      list += t + ";";
    }
    write_file(dir_.file("applications/cx-stub.desktop"),
               "[Desktop Entry]\nType=Application\nName=Stub\nExec=" + script +
                   " %u\nMimeType=" + list + "\n");
    write_file(dir_.file("mimeapps.list"), mime);
  }

  const std::string& dir() const { return dir_.path(); }

  // The command lines so far, once there are at least `count` (or after
  // five seconds).
  std::vector<std::string> wait_for(std::size_t count) const {
    std::vector<std::string> lines;
    for (int i = 0; i < 500; ++i) {
      lines = read_lines();
      if (lines.size() >= count) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return lines;
  }

 private:
  std::vector<std::string> read_lines() const {
    std::vector<std::string> lines;
    if (access(log_.c_str(), R_OK) != 0) return lines;
    const std::string text = read_file(log_);
    for (std::size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos; at = end + 1)
      lines.push_back(text.substr(at, end - at));
    return lines;
  }

  TempDir dir_{"cxstub"};
  std::string log_ = dir_.file("opened.log");
  ScopedEnv data_{"XDG_DATA_HOME", dir_.path()};
  ScopedEnv config_{"XDG_CONFIG_HOME", dir_.path()};
};

}  // namespace cx::test
