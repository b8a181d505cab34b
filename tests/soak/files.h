#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace soak {

/// Bytes of which no two stretches are alike.
inline std::string Pattern(std::size_t size) {
  std::string bytes(size, '\0');
  unsigned int state = 1;
  for (char& byte : bytes) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<char>(state >> 24);
  }
  return bytes;
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

/// Empty where there is no such file.
inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline bool IsThere(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::exists(path, ignored);
}

}  // namespace soak
