// Nothing is forbidden to root, who therefore becomes somebody else as long as this lives. Other
// users stay who they are.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace hallkorb {

class Niemand {
 public:
  Niemand() : root_(::geteuid() == 0) {
    if (root_) ist_ = ::seteuid(NUMMER) == 0;
  }
  Niemand(const Niemand&) = delete;
  Niemand& operator=(const Niemand&) = delete;
  ~Niemand() {
    if (ist_ && ::seteuid(0) != 0) std::abort();
  }

  // Whether something can be forbidden now.
  [[nodiscard]] bool gelungen() const { return !root_ || ist_; }

  // Before: what belongs to root would be forbidden altogether. A folder with all that is in it.
  static bool gehoere(const std::string& pfad) {
    if (::geteuid() != 0) return true;
    bool alles = ::lchown(pfad.c_str(), NUMMER, NUMMER) == 0;
    for (const auto& eintrag : std::filesystem::recursive_directory_iterator(pfad))
      alles = ::lchown(eintrag.path().c_str(), NUMMER, NUMMER) == 0 && alles;
    return alles;
  }

 private:
  static constexpr unsigned NUMMER = 65534;

  const bool root_;
  bool ist_ = false;
};

}  // namespace hallkorb
