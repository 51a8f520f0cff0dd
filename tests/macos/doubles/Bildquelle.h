// The screen of a test in real time: the windows, and a picture of the recorded one ten times a
// second while it moves and is there.
//
// Any thread; the thread of its own runs until the process ends.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "tests/macos/doubles/Bildschirm.h"

namespace hallkorb::ersatz {

class Bildquelle {
 public:
  void starte();
  // A new window, or new properties of one.
  void zeige(const bildschirm::Fenster& fenster);
  void schliesse(std::uint32_t id);
  void displays(int anzahl);
  // Whether the windows move. One that does not gives one picture when its recording begins.
  void bewege(bool ja);
  // Returns when a picture of this window has been taken.
  void warteAufBild(std::uint32_t id);
  // What was taken: time in host seconds, window.
  [[nodiscard]] std::vector<std::pair<double, std::uint32_t>> bilder() const;

 private:
  void laufe();
  void liefere(double hostZeit);
  void stelleAus();

  mutable std::mutex lock_;
  std::condition_variable genommen_;
  std::map<std::uint32_t, bildschirm::Fenster> fenster_;
  int displays_ = 1;
  bool bewegt_ = true;
  std::uint32_t zuletzt_ = 0;  // the window of the picture before
  std::vector<std::pair<double, std::uint32_t>> bilder_;
};

}  // namespace hallkorb::ersatz
