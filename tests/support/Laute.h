// German text as a sequence of sounds, for Sprecher.
#pragma once

#include <string_view>
#include <vector>

namespace hallkorb {

// One sound: what excites the throat, and its shape. Frequencies in Hz for a man's throat,
// amplitudes against a full vowel's, duration in seconds.
struct Laut {
  double f1 = 0.0;  // 0: keeps the shape of the one before
  double f2 = 0.0;
  double f3 = 0.0;
  double stimme = 0.0;   // glottal pulses
  double hauch = 0.0;    // noise from the glottis, through the formants
  double zischen = 0.0;  // noise from the lips or teeth, around `mitte`
  double mitte = 0.0;
  double breite = 0.0;
  double dauer = 0.0;
  bool silbe = false;  // the middle of a syllable
  bool betont = false;
};

struct Satz {
  std::vector<Laut> laute;
  double pause = 0.0;  // seconds after it
  bool frage = false;
};

// What stands between two marks is one sentence. Letters that no rule knows are left out.
[[nodiscard]] std::vector<Satz> lauteVon(std::string_view text);

}  // namespace hallkorb
