// Golden files under the test folder's data/ (CX_TEST_DATA).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace cx::test {

std::string data_path(const std::string& name);
// Bytes written as hex words ("01 0203 04050607"); '#' starts a comment; a
// missing file is said on the standard error stream.
std::vector<uint8_t> read_hex(const std::string& name);
// The file as it is; empty when it cannot be read.
std::string read_text(const std::string& name);

}  // namespace cx::test
