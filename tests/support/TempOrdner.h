// A folder of its own for a test, removed with everything in it at the end.
#pragma once

#include <stdlib.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace hallkorb {

class TempOrdner {
 public:
  TempOrdner() : pfad_((std::filesystem::temp_directory_path() / "hallkorb-test-XXXXXX").string()) {
    if (::mkdtemp(pfad_.data()) == nullptr) throw std::runtime_error("mkdtemp: " + pfad_);
  }
  TempOrdner(const TempOrdner&) = delete;
  TempOrdner& operator=(const TempOrdner&) = delete;
  ~TempOrdner() {
    std::error_code egal;
    std::filesystem::remove_all(pfad_, egal);
  }

  [[nodiscard]] const std::string& pfad() const { return pfad_; }
  [[nodiscard]] std::string operator/(const std::string& name) const { return pfad_ + "/" + name; }

  // The names of all entries, hidden ones included, sorted.
  [[nodiscard]] std::vector<std::string> namen() const {
    std::vector<std::string> namen;
    for (const auto& eintrag : std::filesystem::directory_iterator(pfad_)) {
      namen.push_back(eintrag.path().filename().string());
    }
    std::sort(namen.begin(), namen.end());
    return namen;
  }

 private:
  std::string pfad_;
};

// The bytes of a file; empty if there is none.
inline std::vector<std::uint8_t> dateiBytes(const std::string& pfad) {
  std::ifstream datei(pfad, std::ios::binary);
  std::stringstream inhalt;
  inhalt << datei.rdbuf();
  const std::string text = inhalt.str();
  return {text.begin(), text.end()};
}

inline void legeAn(const std::string& pfad, const std::vector<std::uint8_t>& bytes) {
  std::ofstream datei(pfad, std::ios::binary | std::ios::trunc);
  for (const std::uint8_t byte : bytes)
    datei.put(static_cast<char>(byte));
}

}  // namespace hallkorb
