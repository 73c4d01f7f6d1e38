// Private folders and files for tests, and polling for what another process
// or thread does.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

namespace cx::test {

// A fresh folder under /tmp, removed with everything in it. Short paths on
// purpose: socket paths inside it must fit sun_path.
class TempDir {
 public:
  explicit TempDir(const std::string& prefix = "cxtest");
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // Empty when no folder could be made.
  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// The whole file; empty when it cannot be read.
std::string read_file(const std::string& path);
// Creates the folders on the way.
void write_file(const std::string& path, const std::string& text);
// How often `needle` occurs in `text`.
int count_of(const std::string& text, const std::string& needle);

// Polls `probe` until it holds or `limit` passes; its last answer.
template <typename Probe>
bool eventually(Probe probe, std::chrono::milliseconds limit = std::chrono::seconds(5)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < deadline) {
    if (probe()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return probe();
}

}  // namespace cx::test
