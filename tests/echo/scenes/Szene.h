// Synthetic conversations in synthetic rooms, from seeds: what the echo canceller is tested on.
//
// Unlike a recording, a scene knows its parts (the near end, the echo, the noise), so a test can
// check what became of each. Rooms are exponentially decaying noise, the usual model of late
// reverberation; voices are given, or made from noise with the rhythm of speech.
//
// Samples are mono at 16 kHz in [-1, 1], rounded to 16 bits like a WAV file's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace hallkorb::szenen {

using Signal = std::vector<double>;

inline constexpr double RATE = 16000.0;

// The second at which the timeline corrects a drifting clock.
inline constexpr double DRIFT_KORREKTUR = 12.0;

// From second to second.
using Abschnitt = std::pair<double, double>;

struct Vorgabe {
  std::string name;
  double sekunden = 12.0;
  std::vector<Abschnitt> fern = {};  // when the far end speaks
  std::vector<Abschnitt> nah = {};   // when the near end speaks
  double verzoegerungMs = 60.0;
  std::optional<std::pair<double, double>> sprung = {};  // from this second on, this delay in ms
  double rt60 = 0.3;
  std::optional<double> raumwechsel = {};  // from this second on, another room
  double echoDb = -6.0;                    // echo against what is played
  double fernDb = 0.0;                     // level of the far end
  double rauschDb = -70.0;                 // noise in the microphone, dB of full scale
  bool geklippt = false;                   // the loudspeaker clips at a tenth of full scale
  double driftPpm = 0.0;  // the microphone's clock is late by this; corrected in steps of 5 ms
  bool imTakt = false;    // or brought onto the host's clock before that
  std::uint64_t saat = 1;
};

struct Szene {
  Vorgabe vorgabe;
  std::vector<float> mikro;
  std::vector<float> referenz;
  Signal nah;   // the near end's part of the microphone
  Signal echo;  // the far end's part of it
};

// Noise in syllables, words and pauses, at the level of speech (-26 dB of full scale).
[[nodiscard]] Signal kunstsprache(double sekunden, std::uint64_t saat);

// A room's impulse response of the given reverberation time, direct sound first.
[[nodiscard]] Signal raumantwort(double rt60, std::uint64_t saat);

[[nodiscard]] Signal gefaltet(const Signal& x, const Signal& antwort);

// The scene of a plan, with these voices (repeated if they are too short).
[[nodiscard]] Szene szene(const Vorgabe& vorgabe, const Signal& fern, const Signal& nah);

// The same with made-up voices.
[[nodiscard]] Szene szene(const Vorgabe& vorgabe);

// One short plan of each kind, for comparing the canceller with its literal form.
[[nodiscard]] std::vector<Vorgabe> kurzePlaene();

}  // namespace hallkorb::szenen
