// One ranked choice: the window that shows the meeting, or the reason why there is none.
//
// Plain value; any thread.
#pragma once

#include <cstdint>
#include <string>

namespace hallkorb {

struct Wahl {
  std::string art;        // "fenster", or "nichts" if there is no window
  std::uint32_t id = 0;   // window identifier; 0 for "nichts"
  std::string quelle;     // application and title, for people; empty for "nichts"
  std::int64_t rang = 0;  // 1 is best; 0 for "nichts"
  std::string grund;      // the reason of the rank, or why nothing was found

  [[nodiscard]] bool istFenster() const { return art == "fenster"; }
  // Whether both mean the same window; its title may have changed.
  [[nodiscard]] bool gleichesFenster(const Wahl& andere) const {
    return art == andere.art && id == andere.id;
  }

  friend bool operator==(const Wahl&, const Wahl&) = default;
};

// {"art":...,"id":...,"quelle":...,"rang":...,"grund":...}, one line.
[[nodiscard]] std::string wahlJSON(const Wahl& wahl);

}  // namespace hallkorb
