// What a listener would say of a cleaned scene, in figures.
#pragma once

#include <optional>
#include <vector>

#include "tests/echo/scenes/Szene.h"

namespace hallkorb::szenen {

struct Bewertung {
  // Echo return loss enhancement, dB, while only the far end speaks: in the first 20 seconds, and
  // from 8 seconds of far-end speech (or after the change that the scene holds) on.
  std::optional<double> erleAnfang;
  std::optional<double> erleSpaeter;
  // The near end in the output: its level against that in the microphone, dB, and its energy
  // against all that is not it, dB (scale-invariant signal-to-distortion ratio, behind the
  // canceller's high-pass); the same ratio in the microphone, for double talk.
  std::optional<double> nahPegel;
  std::optional<double> nahSdr;
  std::optional<double> doppelPegel;
  std::optional<double> doppelSdr;
  std::optional<double> doppelSdrVorher;
  // Share of far-end-only time marked as speech; share of the near end's syllables not marked.
  std::optional<double> falschMarkiert;
  std::optional<double> nichtMarkiert;
  // Seconds from the beginning (or from the jump) to the first delay reported within 32 samples of
  // the true one.
  std::optional<double> richtigNach;
  // Level in dB of full scale, block by block of 16 ms, for plots.
  struct Block {
    double mikro, referenz, aus;
    bool sprache, tor;
  };
  std::vector<Block> verlauf;
};

// Runs the echo path with 20 partitions over the scene, as the offline mode does.
[[nodiscard]] Bewertung bewerte(const Szene& szene, std::vector<float>* ausgabe = nullptr);

// The plans of the published table: 40 seconds each, far end alone to 20 s, near end alone to 26 s,
// double talk to 33 s, far end alone to the end, unless the name says otherwise.
[[nodiscard]] std::vector<Vorgabe> lange();

}  // namespace hallkorb::szenen
