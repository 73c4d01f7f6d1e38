// What several fuzz targets share: the verdict on an input, and the private
// folders that the agent's files are read from.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace cx::fuzz {

inline void check(bool ok) {
  if (!ok) std::abort();
}

// This process's own folder under the temporary folder; `below` is made too.
inline std::filesystem::path private_folder(const std::string& name,
                                            const std::filesystem::path& below = {}) {
  const auto root =
      std::filesystem::temp_directory_path() / (name + "-" + std::to_string(getpid()));
  std::filesystem::create_directories(root / below);
  return root;
}

// The input as the whole file.
inline void write_input(const std::filesystem::path& file, const uint8_t* data, size_t size) {
  std::ofstream(file, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}

}  // namespace cx::fuzz
