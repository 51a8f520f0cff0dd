#include "tool/Pegelprobe.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

namespace hallkorb {
namespace {

constexpr double LEISESTES = 1.12e-5;  // -99 dBFS
constexpr std::size_t HOECHSTENS = 20 * static_cast<std::size_t>(Pegelprobe::RATE);

}  // namespace

double inDb(double linear) {
  return 20.0 * std::log10(std::max(linear, LEISESTES));
}

void Pegelprobe::Summe::nimm(double wert) {
  if (!std::isfinite(wert)) return;
  spitze = std::max(spitze, std::abs(wert));
  quadrate += wert * wert;
  ++anzahl;
}

Pegelstand Pegelprobe::Summe::stand() const {
  if (anzahl == 0) return {};
  return {spitze, std::sqrt(quadrate / static_cast<double>(anzahl)), false};
}

Pegelprobe::Pegelprobe(std::unique_ptr<AudioInput> eingang, Plattform& plattform)
    : eingang_(std::move(eingang)), plattform_(plattform) {}

Pegelprobe::~Pegelprobe() {
  halt();
}

Ergebnis Pegelprobe::starte() {
  return eingang_->start(*this);
}

void Pegelprobe::halt() {
  static_cast<void>(eingang_->stop());
}

Pegelstand Pegelprobe::seitLetztem() {
  const std::lock_guard halter(lock_);
  return std::exchange(neu_, {}).stand();
}

Pegelstand Pegelprobe::gesamt() {
  const std::lock_guard halter(lock_);
  return alle_.stand();
}

void Pegelprobe::behalteAb(double null) {
  const std::lock_guard halter(lock_);
  null_ = null;
}

std::vector<float> Pegelprobe::behalten() {
  const std::lock_guard halter(lock_);
  return behalten_;
}

std::optional<Fehler> Pegelprobe::ohneVorrang() {
  const std::lock_guard halter(lock_);
  return hinweis_;
}

std::optional<Fehler> Pegelprobe::unterbrechung() {
  const std::lock_guard halter(lock_);
  return unterbrechung_;
}

void Pegelprobe::block(const PcmBlock& block) {
  const std::lock_guard halter(lock_);
  for (const float wert : block.ersterKanal(platz_)) {
    neu_.nimm(static_cast<double>(wert));
    alle_.nimm(static_cast<double>(wert));
  }
  if (null_) lege(block);
}

// Puts a block where its time says.
void Pegelprobe::lege(const PcmBlock& block) {
  if (!format_ || !(*format_ == block.format)) {
    format_ = block.format;
    konverter_ = plattform_.konverter(block.format, RATE);
  }
  if (konverter_ == nullptr) return;
  std::vector<float> samples;
  const auto kapazitaet = static_cast<std::size_t>(block.dauer() * RATE) + 64;
  if (!konverter_->wandle(block, kapazitaet, samples).gelungen) return;
  auto stelle = static_cast<double>(behalten_.size());
  if (block.hostTime) stelle = std::round((*block.hostTime - *null_) * RATE);
  // Times of a running stream jitter by less than that.
  constexpr double NAHTLOS = 80.0;
  if (std::abs(stelle - static_cast<double>(behalten_.size())) < NAHTLOS)
    stelle = static_cast<double>(behalten_.size());
  if (stelle < 0.0 || stelle > static_cast<double>(HOECHSTENS)) return;
  const auto ab = static_cast<std::size_t>(stelle);
  behalten_.resize(std::max(behalten_.size(), ab + samples.size()));
  std::copy(samples.begin(), samples.end(), behalten_.begin() + static_cast<std::ptrdiff_t>(ab));
}

void Pegelprobe::unterbrochen(const Fehler& fehler) {
  const std::lock_guard halter(lock_);
  unterbrechung_ = fehler;
}

void Pegelprobe::fortgesetzt() {
  const std::lock_guard halter(lock_);
  unterbrechung_.reset();
}

void Pegelprobe::hinweis(const Fehler& fehler) {
  const std::lock_guard halter(lock_);
  hinweis_ = fehler;
}

}  // namespace hallkorb
