#include "tests/support/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include "tests/support/temp_dir.h"

extern char** environ;

namespace cx::test {
namespace {

std::string temp_file() {
  char path[] = "/tmp/cxout.XXXXXX";
  const int fd = mkstemp(path);
  if (fd >= 0) close(fd);
  return path;
}

int exit_status(int wait_status) {
  return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -1;
}

}  // namespace

PrivateSessionBus::PrivateSessionBus(const char* variable, const std::string& config) {
  const std::string configuration = config.empty() ? "--session" : "--config-file=" + config;
  int fds[2];
  if (pipe(fds) != 0) return;
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);  // a crashed test leaves no daemon behind
    // A parent that waits for its signals with them blocked must still be able to stop the daemon.
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    dup2(fds[1], STDOUT_FILENO);
    close(fds[0]);
    close(fds[1]);
    execlp("dbus-daemon", "dbus-daemon", configuration.c_str(), "--nofork", "--print-address=1",
           static_cast<char*>(nullptr));
    _exit(127);
  }
  close(fds[1]);
  char c = 0;
  while (read(fds[0], &c, 1) == 1 && c != '\n') address_ += c;
  close(fds[0]);
  if (c != '\n') address_.clear();
  if (!address_.empty()) setenv(variable, address_.c_str(), 1);
}

PrivateSessionBus::~PrivateSessionBus() {
  if (pid_ <= 0) return;
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
}

std::string write_open_bus_config(const std::string& dir) {
  write_file(dir + "/bus.conf", "<busconfig>\n  <listen>unix:path=" + dir + "/bus_socket</listen>" +
                                    R"(
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/><allow own="*"/><allow send_destination="*"/><allow receive_sender="*"/>
  </policy>
</busconfig>
)");
  return dir + "/bus.conf";
}

// posix_spawn returns once the program runs, so its process name is already its own.
BackgroundProcess::BackgroundProcess(const std::vector<std::string>& argv,
                                     const std::vector<std::string>& env)
    : out_path_(temp_file()), err_path_(temp_file()) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out_path_.c_str(), O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err_path_.c_str(), O_WRONLY, 0);
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  std::vector<char*> vars;
  for (const std::string& var : env) vars.push_back(const_cast<char*>(var.c_str()));
  vars.push_back(nullptr);
  char** const envp = env.empty() ? environ : vars.data();
  if (posix_spawnp(&pid_, args[0], &actions, nullptr, args.data(), envp) != 0) pid_ = -1;
  posix_spawn_file_actions_destroy(&actions);
}

BackgroundProcess::~BackgroundProcess() {
  terminate();
  unlink(out_path_.c_str());
  unlink(err_path_.c_str());
}

std::string BackgroundProcess::output() const {
  return read_file(out_path_);
}
std::string BackgroundProcess::errors() const {
  return read_file(err_path_);
}

bool BackgroundProcess::wait_for_output(const std::string& text) const {
  for (int i = 0; i < 1000; ++i) {
    if (output().find(text) != std::string::npos) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

int BackgroundProcess::terminate() {
  if (pid_ <= 0) return -1;
  kill(pid_, SIGTERM);
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return exit_status(status);
}

int BackgroundProcess::wait_exit(int ms) {
  for (int i = 0; i < ms / 10 && pid_ > 0; ++i) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      return exit_status(status);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return -1;
}

CommandResult run_command(const std::vector<std::string>& argv) {
  BackgroundProcess p(argv);
  CommandResult result{p.wait_exit(60000), "", ""};
  result.out = p.output();
  result.err = p.errors();
  return result;
}

double cpu_time_ns(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/schedstat");
  double ns = 0;
  in >> ns;
  return ns;
}

}  // namespace cx::test
