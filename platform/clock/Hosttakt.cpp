#include "platform/clock/Hosttakt.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

namespace hallkorb {
namespace {

// Two of the longest blocks in use at 48 kHz. Other rates, and devices that are no graph's, have
// longer ones.
constexpr double KUERZESTE_PAUSE = 0.4;     // s
constexpr double LAENGSTE_PAUSE = 86400.0;  // s; of a rate that is absurd

std::chrono::milliseconds pauseNach(double dauer) {
  const double sekunden = std::clamp(2 * dauer, KUERZESTE_PAUSE, LAENGSTE_PAUSE);
  return std::chrono::milliseconds(std::llround(sekunden * 1000));
}

// Room for what waits, in frames: the longest blocks in use, and as much as GEDULD lasts.
std::size_t wartendeFrames(double rate) {
  return (Stempelfilter::MINDESTENS + 2) * Gleichlauf::STUECK +
         static_cast<std::size_t>(rate * 2 * Stempelfilter::GEDULD);
}

bool vollstaendig(const PcmBlock& block) {
  return block.format.rate > 0 && block.format.channels > 0 && block.frames > 0 &&
         block.samples.size() == std::size_t{block.frames} * block.format.channels;
}

}  // namespace

Hosttakt::Hosttakt(Weiter weiter) : weiter_(std::move(weiter)), gleichlauf_(weiter_) {}

void Hosttakt::nimm(const PcmBlock& roh) {
  if (!vollstaendig(roh)) {  // judged further down the chain
    leere();
    weiter_(roh);
    return;
  }
  if (laeuft_ && format_ != roh.format) leere();
  if (!laeuft_) richteEin(roh.format);
  pause_ = pauseNach(roh.dauer());
  const PcmBlock block = geheilt(roh);

  if (anzahl_ > 0) {
    while (anzahl_ > 0 && !hatPlatz(block))
      gibVordersten(*filter_.naechster(true));
  }
  filter_.nimm(block.hostTime, block.dauer());
  if (anzahl_ == 0) {
    // Nothing waits before it, and a block without room cannot wait either.
    const bool alles = !hatPlatz(block);
    if (const auto ort = filter_.naechster(alles)) {
      gleichlauf_.nimm(block, *ort);
      return;
    }
  }
  behalte(block);
  loese(false);
}

PcmBlock Hosttakt::geheilt(const PcmBlock& block) {
  const auto istZahl = [](float x) { return std::isfinite(x); };
  PcmBlock heil = block;
  if (!std::all_of(block.samples.begin(), block.samples.end(), istZahl)) {
    heil_.assign(block.samples.begin(), block.samples.end());
    std::replace_if(heil_.begin(), heil_.end(), std::not_fn(istZahl), 0.0F);
    heil.samples = heil_;
  }
  return heil;
}

void Hosttakt::richteEin(const PcmFormat& format) {
  laeuft_ = true;
  filter_.beginneNeu();
  gleichlauf_.richteEin(format);
  if (format_ == format) return;
  format_ = format;
  speicher_.assign(wartendeFrames(format.rate) * format.channels, 0.0F);
  heil_.reserve(std::size_t{Gleichlauf::STUECK} * format.channels);
}

bool Hosttakt::hatPlatz(const PcmBlock& block) {
  const std::size_t groesse = block.samples.size();
  if (anzahl_ == gemerkte_.size() || ende_ - anfang_ + groesse > speicher_.size()) return false;
  if (ende_ + groesse > speicher_.size()) {
    std::copy(speicher_.begin() + static_cast<std::ptrdiff_t>(anfang_),
              speicher_.begin() + static_cast<std::ptrdiff_t>(ende_), speicher_.begin());
    for (std::size_t i = 0; i < anzahl_; ++i)
      gemerkte_[(vorn_ + i) % gemerkte_.size()].ab -= anfang_;
    ende_ -= anfang_;
    anfang_ = 0;
  }
  return true;
}

void Hosttakt::behalte(const PcmBlock& block) {
  std::copy(block.samples.begin(), block.samples.end(),
            speicher_.begin() + static_cast<std::ptrdiff_t>(ende_));
  Gemerkt& gemerkt = gemerkte_[(vorn_ + anzahl_++) % gemerkte_.size()];
  gemerkt.block = block;
  gemerkt.ab = ende_;
  ende_ += block.samples.size();
}

// Hands on, from the front, what is decided.
void Hosttakt::loese(bool alles) {
  while (anzahl_ > 0) {
    const auto ort = filter_.naechster(alles);
    if (!ort) return;
    gibVordersten(*ort);
  }
}

void Hosttakt::gibVordersten(const Stempelfilter::Ort& ort) {
  Gemerkt& gemerkt = gemerkte_[vorn_];
  gemerkt.block.samples = {speicher_.data() + gemerkt.ab, gemerkt.block.samples.size()};
  anfang_ = gemerkt.ab + gemerkt.block.samples.size();
  vorn_ = (vorn_ + 1) % gemerkte_.size();
  if (--anzahl_ == 0) anfang_ = ende_ = 0;
  gleichlauf_.nimm(gemerkt.block, ort);
}

void Hosttakt::leere() {
  if (!laeuft_) return;
  loese(true);
  gleichlauf_.beende();
  laeuft_ = false;
}

}  // namespace hallkorb
