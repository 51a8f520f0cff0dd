#include "audiofiles/WavLeser.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace hallkorb {
namespace {

constexpr std::uint64_t MIN_DATEI = 45;  // a header and something behind it
constexpr std::uint64_t VORSPANN = 12;   // "RIFF", a length, "WAVE"
constexpr std::size_t BLOCK_KOPF = 8;    // identifier and size
constexpr std::size_t FORMAT = 8;        // where "fmt " has the code of the format,
constexpr std::size_t KANAELE = 10;      // the number of channels,
constexpr std::size_t RATE = 12;         // the rate,
constexpr std::size_t BITS = 22;         // the bits of a sample,
constexpr std::size_t UNTERFORMAT = 32;  // and the code if the first one is EXTENSIBLE
constexpr std::uint32_t PCM = 1;
constexpr std::uint32_t EXTENSIBLE = 0xFFFE;
constexpr std::size_t SAMPLE_BYTES = 2;

// All integers of the format are little-endian.
std::uint32_t lies16(const std::uint8_t* von) {
  return static_cast<std::uint32_t>(von[0]) | static_cast<std::uint32_t>(von[1]) << 8U;
}

std::uint32_t lies32(const std::uint8_t* von) {
  return lies16(von) | lies16(von + 2) << 16U;
}

// How far a "fmt " block is read whose length is at kopf + 4: up to the last field that it holds.
std::size_t formatBytes(const std::uint8_t* kopf) {
  const std::uint64_t ende = BLOCK_KOPF + std::uint64_t{lies32(kopf + 4)};
  for (const std::size_t bis : {UNTERFORMAT + 2, BITS + 2, RATE + 4})
    if (ende >= bis) return bis;
  return KANAELE + 2;
}

bool istPcm16(std::span<const std::uint8_t> kopf) {
  if (kopf.size() < BITS + 2 || lies16(kopf.data() + BITS) != 16) return false;
  const std::uint32_t format = lies16(kopf.data() + FORMAT);
  if (format != EXTENSIBLE || kopf.size() < UNTERFORMAT + 2) return format == PCM;
  return lies16(kopf.data() + UNTERFORMAT) == PCM;
}

float sample(std::uint8_t unteres, std::uint8_t oberes) {
  const auto wert = static_cast<std::int16_t>(unteres | oberes << 8U);
  return static_cast<float>(wert) * (1.0F / 32768.0F);
}

}  // namespace

void WavLeser::nimm(std::span<const std::uint8_t> bytes) {
  gesamt_ += bytes.size();
  while (!bytes.empty() && stelle_ != Stelle::ENDE)
    lies(bytes);
}

// Takes at least one byte, or moves to another place in the file.
void WavLeser::lies(std::span<const std::uint8_t>& bytes) {
  switch (stelle_) {
    case Stelle::VORSPANN:
      ueberspringen_ = VORSPANN;
      stelle_ = Stelle::KOPF;
      break;
    case Stelle::KOPF:
      if (ueberspringen_ > 0) {
        const auto weg = std::min<std::uint64_t>(ueberspringen_, bytes.size());
        bytes = bytes.subspan(static_cast<std::size_t>(weg));
        ueberspringen_ -= weg;
      } else {
        sammle(bytes, BLOCK_KOPF);
        if (kopfBytes_ >= BLOCK_KOPF) {
          if (std::memcmp(kopf_.data(), "fmt ", 4) == 0) sammle(bytes, formatBytes(kopf_.data()));
          behandleKopf();
        }
      }
      break;
    case Stelle::DATEN:
      liesDaten(bytes);
      break;
    case Stelle::ENDE:
      break;
  }
}

void WavLeser::sammle(std::span<const std::uint8_t>& bytes, std::size_t anzahl) {
  if (kopfBytes_ >= anzahl) return;
  const std::size_t n = std::min(anzahl - kopfBytes_, bytes.size());
  std::copy_n(bytes.begin(), n, kopf_.begin() + static_cast<std::ptrdiff_t>(kopfBytes_));
  kopfBytes_ += n;
  bytes = bytes.subspan(n);
}

void WavLeser::behandleKopf() {
  const std::uint64_t laenge = lies32(kopf_.data() + 4);
  if (std::memcmp(kopf_.data(), "data", 4) == 0) {
    samples_.emplace();
    samples_->reserve(static_cast<std::size_t>(std::min(laenge, dateiBytes_)) /
                      (kanaele_ * SAMPLE_BYTES));
    daten_ = laenge;
    stelle_ = laenge > 0 ? Stelle::DATEN : Stelle::ENDE;
    return;
  }
  if (std::memcmp(kopf_.data(), "fmt ", 4) == 0) {
    if (kopfBytes_ < formatBytes(kopf_.data())) return;
    kanaele_ = std::max<std::size_t>(lies16(kopf_.data() + KANAELE), 1);
    if (kopfBytes_ > RATE) rate_ = lies32(kopf_.data() + RATE);
    pcm16_ = istPcm16(std::span(kopf_).first(kopfBytes_));
  }
  // Blocks begin at even positions. A "fmt " block ends where its length says, even if more of it
  // was read.
  const std::uint64_t naechster = BLOCK_KOPF + laenge + laenge % 2;
  if (naechster >= kopfBytes_) {
    ueberspringen_ = naechster - kopfBytes_;
    kopfBytes_ = 0;
  } else {
    const auto rest = kopfBytes_ - static_cast<std::size_t>(naechster);
    std::copy_n(kopf_.begin() + static_cast<std::ptrdiff_t>(naechster), rest, kopf_.begin());
    kopfBytes_ = rest;
  }
}

void WavLeser::liesDaten(std::span<const std::uint8_t>& bytes) {
  const auto da = static_cast<std::size_t>(std::min<std::uint64_t>(daten_, bytes.size()));
  const std::size_t frame = kanaele_ * SAMPLE_BYTES;
  std::size_t i = 0;
  // A frame that was begun byte by byte, the whole ones at once, and what is left for the next
  // time.
  const auto einzeln = [&](std::size_t bis) {
    for (; i < bis; ++i) {
      if (imFrame_ == 0) unteres_ = bytes[i];
      if (imFrame_ == 1) oberes_ = bytes[i];
      if (++imFrame_ == frame) {
        samples_->push_back(sample(unteres_, oberes_));
        imFrame_ = 0;
      }
    }
  };
  if (imFrame_ > 0) einzeln(std::min(da, frame - imFrame_));
  for (; imFrame_ == 0 && da - i >= frame; i += frame)
    samples_->push_back(sample(bytes[i], bytes[i + 1]));
  einzeln(da);
  daten_ -= da;
  bytes = bytes.subspan(da);
  if (daten_ == 0) stelle_ = Stelle::ENDE;
}

std::optional<std::vector<float>> WavLeser::ende() {
  if (!lesbar()) return std::nullopt;
  return std::exchange(samples_, std::nullopt);
}

bool WavLeser::lesbar() const {
  return gesamt_ >= MIN_DATEI && samples_.has_value();
}

std::span<const float> WavLeser::samples() const {
  return samples_ ? std::span<const float>(*samples_) : std::span<const float>{};
}

void WavLeser::verwirf() {
  if (samples_) samples_->clear();
}

}  // namespace hallkorb
