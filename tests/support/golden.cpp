#include "tests/support/golden.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

namespace cx::test {

std::string data_path(const std::string& name) {
  const char* root = std::getenv("CX_TEST_DATA");
  return std::string(root ? root : ".") + "/" + name;
}

std::vector<uint8_t> read_hex(const std::string& name) {
  std::ifstream in(data_path(name));
  // Said, since a test without its bytes may wait for a peer that never
  // answers.
  if (!in) std::fprintf(stderr, "golden file %s not found\n", data_path(name).c_str());
  std::vector<uint8_t> bytes;
  for (std::string line; std::getline(in, line);) {
    std::istringstream words(line.substr(0, line.find('#')));
    for (std::string word; words >> word;)
      for (std::size_t i = 0; i + 1 < word.size(); i += 2)
        bytes.push_back(static_cast<uint8_t>(std::stoul(word.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

std::string read_text(const std::string& name) {
  std::ifstream in(data_path(name));
  return std::string((std::istreambuf_iterator<char>(in)), {});
}

}  // namespace cx::test
