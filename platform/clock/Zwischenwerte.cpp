#include "platform/clock/Zwischenwerte.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>

namespace hallkorb {
namespace {

constexpr std::size_t TAPS = Zwischenwerte::TAPS;
constexpr std::size_t PHASEN = Zwischenwerte::PHASEN;
constexpr std::size_t VOR = Zwischenwerte::VOR;
constexpr std::size_t DANACH = Zwischenwerte::DANACH;
// Of the Kaiser window.
constexpr double BETA = 10.0;
// The step stays near 1: so many more values than frames at most.
constexpr std::size_t ZUSCHLAG = 64;

using Zeile = std::array<float, TAPS>;
using Tafel = std::array<Zeile, PHASEN + 1>;

// The modified Bessel function of order 0, by its series.
double bessel0(double x) {
  double summe = 1.0;
  double glied = 1.0;
  for (int k = 1; glied > 1e-18 * summe; ++k) {
    glied *= x / (2.0 * k) * (x / (2.0 * k));
    summe += glied;
  }
  return summe;
}

float gewicht(double abstand) {
  if (abstand == std::floor(abstand)) return abstand == 0.0 ? 1.0F : 0.0F;
  const double rand = abstand / static_cast<double>(DANACH);
  if (std::abs(rand) >= 1) return 0.0F;
  const double fenster = bessel0(BETA * std::sqrt(1 - rand * rand)) / bessel0(BETA);
  const double winkel = std::numbers::pi * abstand;
  return static_cast<float>(std::sin(winkel) / winkel * fenster);
}

const Tafel& tafel() {
  static const Tafel fertig = [] {
    Tafel neu{};
    for (std::size_t p = 0; p <= PHASEN; ++p) {
      const double phase = static_cast<double>(p) / static_cast<double>(PHASEN);
      for (std::size_t i = 0; i < TAPS; ++i) {
        neu[p][i] = gewicht(static_cast<double>(i) - static_cast<double>(VOR) - phase);
      }
    }
    return neu;
  }();
  return fertig;
}

// Four values at a time, in one register on every processor.
using Vier = float __attribute__((vector_size(16)));

Vier lade(const float* von) {
  Vier v;
  std::memcpy(&v, von, sizeof v);
  return v;
}

// The weights between two phases.
void mische(const Zeile& a, const Zeile& b, float anteil, Zeile& aus) {
  for (std::size_t i = 0; i < TAPS; i += 4) {
    const Vier von = lade(&a[i]);
    const Vier v = von + anteil * (lade(&b[i]) - von);
    std::memcpy(&aus[i], &v, sizeof v);
  }
}

float skalarprodukt(const float* x, const Zeile& w) {
  Vier gerade{};
  Vier ungerade{};
  for (std::size_t i = 0; i < TAPS; i += 8) {
    gerade += lade(x + i) * lade(&w[i]);
    ungerade += lade(x + i + 4) * lade(&w[i + 4]);
  }
  const Vier s = gerade + ungerade;
  return (s[0] + s[2]) + (s[1] + s[3]);
}

}  // namespace

Zwischenwerte::Zwischenwerte() {
  tafel();  // computed here, not with the first block
}

void Zwischenwerte::richteEin(std::uint32_t kanaele, std::size_t frames) {
  kanaele_ = kanaele;
  platz_ = frames + 2 * TAPS;
  puffer_.assign(platz_ * kanaele, 0.0F);
  ausgabe_.assign((platz_ + ZUSCHLAG) * kanaele, 0.0F);
  beginne();
}

void Zwischenwerte::beginne(double versatz) {
  std::fill(puffer_.begin(), puffer_.end(), 0.0F);
  frames_ = VOR;
  lage_ = static_cast<double>(VOR) + versatz;
}

void Zwischenwerte::merke(const PcmBlock& block) {
  const std::size_t frames = std::min<std::size_t>(block.frames, VOR);
  nimm(block, block.frames - frames, frames);
  lage_ = static_cast<double>(frames_);
  verschiebe();
}

void Zwischenwerte::nimm(const PcmBlock& block, std::size_t ab, std::size_t frames) {
  const bool reihe = block.format.interleaved;
  const std::size_t weite = reihe ? kanaele_ : 1;
  for (std::size_t c = 0; c < kanaele_; ++c) {
    const float* von = block.samples.data() + (reihe ? ab * kanaele_ + c : c * block.frames + ab);
    float* nach = puffer_.data() + c * platz_ + frames_;
    for (std::size_t i = 0; i < frames; ++i)
      nach[i] = von[i * weite];
  }
  frames_ += frames;
}

void Zwischenwerte::nimmEnde() {
  for (std::size_t c = 0; c < kanaele_; ++c) {
    std::fill_n(puffer_.data() + c * platz_ + frames_, DANACH, 0.0F);
  }
  frames_ += DANACH;
}

std::span<const float> Zwischenwerte::zieh(double schritt, bool verschachtelt) {
  const double ende = static_cast<double>(frames_ - DANACH);
  const std::size_t anzahl =
      lage_ < ende ? static_cast<std::size_t>(std::ceil((ende - lage_) / schritt)) : 0;
  Zeile gewichte;
  for (std::size_t n = 0; n < anzahl; ++n) {
    const double lage = std::min(lage_ + static_cast<double>(n) * schritt, ende - 1e-9);
    const double unten = std::floor(lage);
    const double phase = (lage - unten) * static_cast<double>(PHASEN);
    const auto p = static_cast<std::size_t>(phase);
    mische(tafel()[p], tafel()[p + 1], static_cast<float>(phase - static_cast<double>(p)),
           gewichte);
    const float* von = puffer_.data() + static_cast<std::size_t>(unten) - VOR;
    float* nach = ausgabe_.data() + (verschachtelt ? n * kanaele_ : n);
    for (std::size_t c = 0; c < kanaele_; ++c) {
      nach[c * (verschachtelt ? 1 : anzahl)] = skalarprodukt(von + c * platz_, gewichte);
    }
  }
  lage_ += static_cast<double>(anzahl) * schritt;
  verschiebe();
  return {ausgabe_.data(), anzahl * kanaele_};
}

// Forgets what no value needs any more.
void Zwischenwerte::verschiebe() {
  const std::size_t weg = std::min(static_cast<std::size_t>(lage_), frames_) - VOR;
  for (std::size_t c = 0; c < kanaele_; ++c) {
    float* kanal = puffer_.data() + c * platz_;
    std::copy(kanal + weg, kanal + frames_, kanal);
  }
  frames_ -= weg;
  lage_ -= static_cast<double>(weg);
}

}  // namespace hallkorb
