// How long each source was on the picture.
//
// A recording's video may show several windows one after another; whoever looks for the meeting
// later wants to know which, the main one first. Times are seconds; one thread at a time.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace hallkorb {

class Bildzeiten {
 public:
  using Eintrag = std::pair<std::string, double>;

  // Adds to the time of a source.
  void buche(const std::string& quelle, double sekunden);

  // Longest first; equal times in the order of their first booking.
  [[nodiscard]] std::vector<Eintrag> laengsteZuerst() const;

 private:
  std::vector<Eintrag> zeiten_;
};

}  // namespace hallkorb
