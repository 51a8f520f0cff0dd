// How long each source was on the picture.
//
// A recording's video may show several windows one after another; whoever looks for the meeting
// later wants to know which, the main one first. A title with a clock in it makes a source of every
// second, so they are found by a table. Times are seconds; one thread at a time.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace hallkorb {

class Bildzeiten {
 public:
  using Quellenzeit = std::pair<std::string, double>;

  // Adds to the time of a source.
  void buche(const std::string& quelle, double sekunden);

  // Longest first; equal times in the order of their first booking.
  [[nodiscard]] std::vector<Quellenzeit> laengsteZuerst() const;

 private:
  std::vector<Quellenzeit> zeiten_;
  std::unordered_map<std::string, std::size_t> stellen_;  // of the sources in it
};

}  // namespace hallkorb
