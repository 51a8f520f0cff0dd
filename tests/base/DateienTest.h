// What the tests of the file layer share.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <numeric>
#include <string>
#include <vector>

namespace hallkorb {

using Bytes = std::vector<std::uint8_t>;

inline Bytes zaehlung(std::size_t anzahl) {
  Bytes bytes(anzahl);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
  return bytes;
}

inline mode_t rechte(const std::string& pfad) {
  struct stat wert{};
  EXPECT_EQ(::stat(pfad.c_str(), &wert), 0);
  return wert.st_mode & 0777U;
}

// The working directory while it lives.
class ArbeitsOrdner {
 public:
  explicit ArbeitsOrdner(const std::string& pfad) { std::filesystem::current_path(pfad); }
  ~ArbeitsOrdner() { std::filesystem::current_path(vorher_); }
  ArbeitsOrdner(const ArbeitsOrdner&) = delete;
  ArbeitsOrdner& operator=(const ArbeitsOrdner&) = delete;

 private:
  const std::filesystem::path vorher_ = std::filesystem::current_path();
};

}  // namespace hallkorb
