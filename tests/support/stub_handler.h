// A desktop application registered through the XDG MIME database as the
// default handler of some types and schemes; it only writes down each
// command line it is started with. Set up before the first GIO lookup of
// the process: GIO reads the database once.
#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <string>
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
    std::string defaults = "[Default Applications]\n";
    for (const std::string& t : types) defaults += t + "=cx-stub.desktop\n";
    write_file(dir_.file("mimeapps.list"), defaults);
    std::filesystem::create_directory(dir_.file("applications"));
    write_file(dir_.file("applications/cx-stub.desktop"),
               "[Desktop Entry]\nType=Application\nName=Stub\nExec=" + script + " %u\n");
  }

  const std::string& dir() const { return dir_.path(); }

  // Every line written so far, once there are `count` (or after 5 s).
  std::string wait_for(std::size_t count) const {
    std::string text;
    eventually([&] {
      text = read_file(log_);
      return count_of(text, "\n") >= static_cast<int>(count);
    });
    return text;
  }

 private:
  TempDir dir_{"cxstub"};
  std::string log_ = dir_.file("opened.log");
  ScopedEnv data_{"XDG_DATA_HOME", dir_.path()};
  ScopedEnv config_{"XDG_CONFIG_HOME", dir_.path()};
};

}  // namespace cx::test
