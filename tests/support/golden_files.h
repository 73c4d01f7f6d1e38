// Golden files of a test folder's data/ (CX_TEST_DATA): NAME.hex holds bytes
// as hex words ('#' starts a comment), other files are read as they are.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace cx::test {

inline std::string data_path(const std::string& name) {
  return std::string(std::getenv("CX_TEST_DATA")) + "/" + name;
}

inline std::vector<uint8_t> read_hex(const std::string& name) {
  std::ifstream in(data_path(name));
  std::vector<uint8_t> bytes;
  for (std::string line; std::getline(in, line);) {
    std::istringstream words(line.substr(0, line.find('#')));
    for (std::string word; words >> word;)
      bytes.push_back(static_cast<uint8_t>(std::stoul(word, 0, 16)));
  }
  return bytes;
}

inline std::string read_text(const std::string& name) {
  std::ifstream in(data_path(name));
  return std::string((std::istreambuf_iterator<char>(in)), {});
}

}  // namespace cx::test
