// A folder of its own for one test, removed with all that is in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace hallkorb {

class TestOrdner {
 public:
  TestOrdner() {
    std::string muster = (std::filesystem::temp_directory_path() / "hallkorb-XXXXXX").string();
    if (::mkdtemp(muster.data()) == nullptr) throw std::runtime_error("mkdtemp");
    pfad_ = muster;
  }
  ~TestOrdner() {
    std::error_code fehler;
    std::filesystem::remove_all(pfad_, fehler);
  }
  TestOrdner(const TestOrdner&) = delete;
  TestOrdner& operator=(const TestOrdner&) = delete;

  // Without a separator at its end.
  [[nodiscard]] const std::string& pfad() const { return pfad_; }

 private:
  std::string pfad_;
};

}  // namespace hallkorb
