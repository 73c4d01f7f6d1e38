#include "tests/support/temp_dir.h"

#include <stdlib.h>

#include <fstream>
#include <iterator>

namespace cx::test {

TempDir::TempDir(const std::string& prefix) {
  std::string pattern = "/tmp/" + prefix + ".XXXXXX";
  if (mkdtemp(pattern.data())) path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
}

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void write_file(const std::string& path, const std::string& text) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

int count_of(const std::string& text, const std::string& needle) {
  int n = 0;
  for (auto at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) ++n;
  return n;
}

}  // namespace cx::test
