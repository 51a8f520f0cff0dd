// A run of samples that grows at the end and is consumed at the front, always contiguous.
//
// Consumed samples are only counted; the rest moves down once they make up half of the storage. So
// each sample is moved at most once on average, even when a thousand chunks are cut off one long
// block. The capacity settles at that of the longest run, and from then on nothing is allocated.
//
// Views hold until the next append. One thread at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace hallkorb {

template <class T>
class Vorrat {
 public:
  void anhaengen(std::span<const T> werte) { anhaengen(werte.begin(), werte.end()); }
  template <class Von, class Bis>
  void anhaengen(Von von, Bis bis) {
    raeumeAuf();
    inhalt_.insert(inhalt_.end(), von, bis);
  }
  void auffuellen(std::size_t anzahl, T wert) {
    raeumeAuf();
    inhalt_.insert(inhalt_.end(), anzahl, wert);
  }
  // Appends `anzahl` values for the caller to fill.
  std::span<T> erweitern(std::size_t anzahl) {
    raeumeAuf();
    inhalt_.resize(inhalt_.size() + anzahl);
    return std::span(inhalt_).last(anzahl);
  }
  // Drops the oldest `anzahl` values, at most as many as there are.
  void verwerfen(std::size_t anzahl) { anfang_ += std::min(anzahl, size()); }

  [[nodiscard]] std::span<const T> werte() const { return std::span(inhalt_).subspan(anfang_); }
  [[nodiscard]] std::size_t size() const { return inhalt_.size() - anfang_; }
  void reservieren(std::size_t anzahl) { inhalt_.reserve(anzahl); }

 private:
  void raeumeAuf() {
    if (anfang_ < size() || anfang_ == 0) return;
    inhalt_.erase(inhalt_.begin(), inhalt_.begin() + static_cast<std::ptrdiff_t>(anfang_));
    anfang_ = 0;
  }

  std::vector<T> inhalt_;
  std::size_t anfang_ = 0;
};

}  // namespace hallkorb
