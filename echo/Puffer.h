// A run of samples that grows at the end and is consumed at the front.
//
// The consumed front is only counted; the rest moves down when the front has become as long as the
// rest, so every sample is moved at most once on average, whatever the length of the pieces. After
// some blocks the capacity is that of the longest run and nothing is allocated any more.
//
// Views hold until the next append. One thread at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace hallkorb {

class Puffer {
 public:
  void anhaengen(std::span<const double> werte) {
    aufruecken();
    inhalt_.insert(inhalt_.end(), werte.begin(), werte.end());
  }
  // Appends `anzahl` values for the caller to fill.
  std::span<double> erweitern(std::size_t anzahl) {
    aufruecken();
    inhalt_.resize(inhalt_.size() + anzahl);
    return std::span(inhalt_).last(anzahl);
  }
  // Drops the oldest `anzahl` values, at most as many as there are.
  void verwerfen(std::size_t anzahl) { anfang_ += std::min(anzahl, size()); }

  [[nodiscard]] std::span<const double> werte() const {
    return std::span(inhalt_).subspan(anfang_);
  }
  [[nodiscard]] std::size_t size() const { return inhalt_.size() - anfang_; }
  void reservieren(std::size_t anzahl) { inhalt_.reserve(anzahl); }

 private:
  void aufruecken() {
    if (anfang_ < size() || anfang_ == 0) return;
    inhalt_.erase(inhalt_.begin(), inhalt_.begin() + static_cast<std::ptrdiff_t>(anfang_));
    anfang_ = 0;
  }

  std::vector<double> inhalt_;
  std::size_t anfang_ = 0;
};

}  // namespace hallkorb
