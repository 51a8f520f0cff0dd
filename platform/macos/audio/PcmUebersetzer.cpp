#include "platform/macos/audio/PcmUebersetzer.h"

#include <cstddef>
#include <cstring>
#include <limits>

#include "base/Abbruch.h"

namespace hallkorb {
namespace {

constexpr std::uint32_t LINEAR_PCM = 0x6C70636D;  // 'lpcm'
constexpr std::uint32_t IS_FLOAT = 1U << 0U;
constexpr std::uint32_t IS_BIG_ENDIAN = 1U << 1U;
constexpr std::uint32_t IS_SIGNED_INTEGER = 1U << 2U;
constexpr std::uint32_t IS_NON_INTERLEAVED = 1U << 5U;

constexpr std::uint32_t JE_KANAL = 0;        // kAudioChannelLayoutTag_UseChannelDescriptions
constexpr std::uint32_t JE_BIT = 1U << 16U;  // kAudioChannelLayoutTag_UseChannelBitmap

enum class Typ : std::uint32_t { float32, float64, int16, int32 };

std::optional<Typ> typ(const TonBeschreibung& b) {
  if (b.formatId != LINEAR_PCM || (b.flags & IS_BIG_ENDIAN) != 0) return std::nullopt;
  if ((b.flags & IS_FLOAT) != 0) {
    if (b.bits == 32) return Typ::float32;
    if (b.bits == 64) return Typ::float64;
  } else if ((b.flags & IS_SIGNED_INTEGER) != 0) {
    if (b.bits == 16) return Typ::int16;
    if (b.bits == 32) return Typ::int32;
  }
  return std::nullopt;
}

// The samples may lie at any address.
template <class T>
void haengeAn(const void* daten, std::size_t anzahl, double teiler, std::vector<float>& ziel) {
  const auto* bytes = static_cast<const std::byte*>(daten);
  for (std::size_t i = 0; i < anzahl; ++i) {
    T wert;
    std::memcpy(&wert, bytes + i * sizeof wert, sizeof wert);
    ziel.push_back(static_cast<float>(static_cast<double>(wert) / teiler));
  }
}

void haengeAn(Typ typ, const void* daten, std::size_t anzahl, std::vector<float>& ziel) {
  switch (typ) {
    case Typ::float32:
      return haengeAn<float>(daten, anzahl, 1.0, ziel);
    case Typ::float64:
      return haengeAn<double>(daten, anzahl, 1.0, ziel);
    case Typ::int16:
      return haengeAn<std::int16_t>(daten, anzahl, 0x1p15, ziel);
    case Typ::int32:
      return haengeAn<std::int32_t>(daten, anzahl, 0x1p31, ziel);
  }
}

}  // namespace

// FNV-1a, word by word.
std::uint32_t layoutNummer(std::uint32_t tag, std::uint32_t bits,
                           std::span<const std::uint32_t> kanaele) {
  if (tag != JE_KANAL && tag != JE_BIT) return tag;
  std::uint32_t nummer = 0x811C9DC5;
  const auto mische = [&nummer](std::uint32_t wort) { nummer = (nummer ^ wort) * 0x01000193U; };
  if (tag == JE_BIT) {
    mische(bits);
  } else {
    for (const std::uint32_t kanal : kanaele)
      mische(kanal);
  }
  return nummer;
}

// When copying them, the system counts them in a signed 32-bit number.
std::optional<std::uint32_t> framesAus(std::int64_t anzahl) {
  if (anzahl < 0 || anzahl > std::numeric_limits<std::int32_t>::max()) {
    abbruch("Audiopuffer: unmoegliche Laenge");
  }
  if (anzahl == 0) return std::nullopt;
  return static_cast<std::uint32_t>(anzahl);
}

std::optional<PcmBlock> PcmUebersetzer::uebersetze(const TonBeschreibung& beschreibung,
                                                   std::span<const TonPuffer> puffer,
                                                   std::uint32_t frames,
                                                   std::optional<double> hostTime) {
  const auto art = typ(beschreibung);
  if (!art || beschreibung.kanaele == 0) return std::nullopt;
  const bool verschraenkt = (beschreibung.flags & IS_NON_INTERLEAVED) == 0;
  const std::size_t anzahl = verschraenkt ? 1 : beschreibung.kanaele;
  const std::size_t jePuffer =
      std::size_t{frames} * (verschraenkt ? beschreibung.kanaele : std::uint32_t{1});
  if (puffer.size() < anzahl) return std::nullopt;
  puffer = puffer.first(anzahl);
  for (const TonPuffer& p : puffer) {
    if (p.daten == nullptr || p.bytes < jePuffer * (beschreibung.bits / 8)) return std::nullopt;
  }

  PcmBlock block;
  block.format = {beschreibung.rate, beschreibung.kanaele, verschraenkt,
                  static_cast<std::uint32_t>(*art), beschreibung.layout};
  block.frames = frames;
  block.hostTime = hostTime;
  const auto adresse = reinterpret_cast<std::uintptr_t>(puffer[0].daten);
  if (art == Typ::float32 && anzahl == 1 && adresse % alignof(float) == 0) {
    block.samples = {static_cast<const float*>(puffer[0].daten), jePuffer};
  } else {
    platz_.clear();
    for (const TonPuffer& p : puffer)
      haengeAn(*art, p.daten, jePuffer, platz_);
    block.samples = platz_;
  }
  return block;
}

}  // namespace hallkorb
