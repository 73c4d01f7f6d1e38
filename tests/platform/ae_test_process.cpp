#include "tests/platform/ae_test_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

namespace cx::testing {
namespace {

pid_t bus_pid = -1;

std::string temp_file() {
  char path[] = "/tmp/cx_ae_test_XXXXXX";
  const int fd = mkstemp(path);
  if (fd >= 0) close(fd);
  return path;
}

std::string read_file(const std::string& path) {
  std::ifstream in(path);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

pid_t spawn(const std::vector<std::string>& argv, const std::string& out, const std::string& err) {
  const pid_t pid = fork();
  if (pid == 0) {
    const int out_fd = open(out.c_str(), O_WRONLY | O_TRUNC);
    const int err_fd = err.empty() ? STDERR_FILENO : open(err.c_str(), O_WRONLY | O_TRUNC);
    dup2(out_fd, STDOUT_FILENO);
    dup2(err_fd, STDERR_FILENO);
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  return pid;
}

int exit_status(int wait_status) {
  return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -1;
}

}  // namespace

bool start_private_bus() {
  int address_pipe[2];
  if (pipe(address_pipe) != 0) return false;
  bus_pid = fork();
  if (bus_pid == 0) {
    dup2(address_pipe[1], STDOUT_FILENO);
    close(address_pipe[0]);
    execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--print-address=1", nullptr);
    _exit(127);
  }
  close(address_pipe[1]);
  std::string address;
  char c = 0;
  while (read(address_pipe[0], &c, 1) == 1 && c != '\n') address += c;
  close(address_pipe[0]);
  return bus_pid > 0 && !address.empty() &&
         setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1) == 0;
}

void stop_private_bus() {
  if (bus_pid > 0) {
    kill(bus_pid, SIGTERM);
    waitpid(bus_pid, nullptr, 0);
  }
  bus_pid = -1;
}

CommandResult run_command(const std::vector<std::string>& argv) {
  const std::string out = temp_file();
  const std::string err = temp_file();
  CommandResult result;
  int status = 0;
  if (waitpid(spawn(argv, out, err), &status, 0) > 0) result.exit_status = exit_status(status);
  result.out = read_file(out);
  result.err = read_file(err);
  unlink(out.c_str());
  unlink(err.c_str());
  return result;
}

BackgroundProcess::BackgroundProcess(const std::vector<std::string>& argv)
    : out_path_(temp_file()) {
  pid_ = spawn(argv, out_path_, "");
}

BackgroundProcess::~BackgroundProcess() {
  terminate();
  unlink(out_path_.c_str());
}

std::string BackgroundProcess::output() const {
  return read_file(out_path_);
}

bool BackgroundProcess::wait_for_output(const std::string& text) const {
  for (int i = 0; i < 500; ++i) {
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

int BackgroundProcess::wait_exit() {
  for (int i = 0; i < 500 && pid_ > 0; ++i) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      return exit_status(status);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return -1;
}

}  // namespace cx::testing
