// The ways in which file operations fail that tests provoke.
#pragma once

#include <cerrno>
#include <cstddef>
#include <string>
#include <system_error>
#include <vector>

#include "tests/support/FehlerDateien.h"

namespace hallkorb {

struct Fehlerart {
  int nummer;         // error number, or FehlerDateien::KURZ
  std::size_t dauer;  // calls that fail

  // No call is interrupted for ever.
  [[nodiscard]] static std::vector<Fehlerart> alle() {
    std::vector<Fehlerart> arten;
    for (const int nummer : {ENOSPC, EIO, EMFILE, EROFS, EINTR, FehlerDateien::KURZ}) {
      for (const std::size_t dauer : {std::size_t{1}, std::size_t{20}, FehlerDateien::IMMER}) {
        if (nummer == EINTR && dauer == FehlerDateien::IMMER) continue;
        arten.push_back({nummer, dauer});
      }
    }
    return arten;
  }

  // Whether the call can be repeated or continued, and so costs nothing.
  [[nodiscard]] bool harmlos() const { return nummer == EINTR || nummer == FehlerDateien::KURZ; }

  // What happens if it begins with operation `n`.
  [[nodiscard]] std::string beschreibung(std::size_t n) const {
    const std::string was = nummer == FehlerDateien::KURZ
                                ? "is short"
                                : "fails: " + std::generic_category().message(nummer);
    const std::string wieOft = dauer == FehlerDateien::IMMER ? "all" : std::to_string(dauer);
    return "from operation " + std::to_string(n) + " on " + wieOft + " " + was;
  }
};

}  // namespace hallkorb
