#include "tests/support/Kristall.h"

#include <cmath>
#include <cstddef>
#include <utility>

namespace hallkorb {
namespace {

constexpr double WANDERZEIT = 5.0;  // s

}  // namespace

Kristall::Kristall(const Art& art, Signal signal)
    : art_(art), signal_(std::move(signal)), zufall_(art.saat), nullzeit_(art.beginn) {}

double Kristall::zeit() const {
  return nullzeit_ + static_cast<double>(gezaehlt_) / (art_.rate * (1 + art_.ppm * 1e-6));
}

void Kristall::ppm(double neu) {
  nullzeit_ = zeit();
  gezaehlt_ = 0;
  art_.ppm = neu;
}

double Kristall::fehler() {
  const double a = std::exp(-static_cast<double>(art_.frames) / art_.rate / WANDERZEIT);
  wandert_ = a * wandert_ + std::sqrt(1 - a * a) * art_.wandern * normal_(zufall_);
  return wandert_ + art_.zittern * normal_(zufall_);
}

PcmBlock Kristall::falscher(double verspaetung) {
  PcmBlock block = naechster();
  *block.hostTime += verspaetung;
  return block;
}

PcmBlock Kristall::naechster() {
  PcmBlock block;
  block.format = {art_.rate, art_.kanaele, art_.verschachtelt};
  block.frames = art_.frames;
  block.hostTime = zeit() + fehler();
  samples_.resize(std::size_t{art_.frames} * art_.kanaele);
  for (std::uint32_t i = 0; i < art_.frames; ++i, ++gezaehlt_) {
    const double wert = signal_(zeit());
    for (std::uint32_t c = 0; c < art_.kanaele; ++c) {
      const std::size_t stelle =
          art_.verschachtelt ? std::size_t{i} * art_.kanaele + c : std::size_t{c} * art_.frames + i;
      samples_[stelle] = static_cast<float>(wert / (1 + c));
    }
  }
  block.samples = samples_;
  return block;
}

}  // namespace hallkorb
