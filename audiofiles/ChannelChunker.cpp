#include "audiofiles/ChannelChunker.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cmath>
#include <limits>
#include <utility>

#include "audiofiles/Wav.h"
#include "base/Abbruch.h"
#include "base/Ausgabe.h"
#include "base/Text.h"

namespace hallkorb {
namespace {

constexpr std::int64_t FRAME = 160;
constexpr double SUCH_SEKUNDEN = 0.8;
constexpr std::size_t SUMMEN = 4;  // one SIMD register of single-precision numbers

// `wert` truncated; a value that does not fit 64 bits stops the process with the message `was`.
std::int64_t ganzzahl(double wert, const std::string& was) {
  constexpr double GRENZE = 9223372036854775808.0;  // 2^63
  if (!(wert >= -GRENZE && wert < GRENZE)) abbruch(was);
  return static_cast<std::int64_t>(wert);
}

std::int64_t sampleZahl(const char* was, double seconds, double rate) {
  // A rate that no file can have spoils every product: then the rate is to blame, not the seconds.
  const bool rateTaugt = std::abs(rate) < 0x1p31;
  return ganzzahl(
      rate * seconds,
      rateTaugt ? formatiert("%s von %g s ist bei %g Hz keine gueltige Zahl von Samples", was,
                             seconds, rate)
                : formatiert("--rate %g ist keine gueltige Zahl von Samples je Sekunde", rate));
}

// Saturating: a length out of reach is as good as an endless one.
std::int64_t plus(std::int64_t a, std::int64_t b) {
  std::int64_t summe = 0;
  if (!__builtin_add_overflow(a, b, &summe)) return summe;
  return b > 0 ? std::numeric_limits<std::int64_t>::max()
               : std::numeric_limits<std::int64_t>::min();
}

std::int64_t minus(std::int64_t a, std::int64_t b) {
  std::int64_t differenz = 0;
  if (!__builtin_sub_overflow(a, b, &differenz)) return differenz;
  return b < 0 ? std::numeric_limits<std::int64_t>::max()
               : std::numeric_limits<std::int64_t>::min();
}

float quadratsumme(std::span<const float> werte) {
  std::array<float, SUMMEN> teil{};
  for (; werte.size() >= SUMMEN; werte = werte.subspan(SUMMEN)) {
    for (std::size_t k = 0; k < SUMMEN; ++k)
      teil[k] += werte[k] * werte[k];
  }
  float summe = (teil[0] + teil[1]) + (teil[2] + teil[3]);
  for (const float wert : werte)
    summe += wert * wert;
  return summe;
}

float pegel(std::span<const float> werte) {
  return std::sqrt(quadratsumme(werte) / static_cast<float>(werte.size()));
}

std::span<const float> frame(std::span<const float> werte, std::int64_t stelle) {
  return werte.subspan(static_cast<std::size_t>(stelle), static_cast<std::size_t>(FRAME));
}

}  // namespace

ChannelChunker::ChannelChunker(ChunkerEinstellung e, Dateien& dateien)
    : channel_(std::move(e.channel)),
      outDir_(std::move(e.outDir)),
      rate_(e.rate),
      chunkSamples_(sampleZahl("Chunk-Laenge (--chunk)", e.chunkSeconds, e.rate)),
      searchSamples_(sampleZahl("Suchbereich", SUCH_SEKUNDEN, e.rate)),
      turnMode_(e.turnMode),
      minSamples_(sampleZahl("Mindestlaenge", e.minSeconds, e.rate)),
      maxSamples_(sampleZahl("Hoechstlaenge (--max)", e.maxSeconds, e.rate)),
      silenceRun_(sampleZahl("Pause", e.silenceSeconds, e.rate)),
      silenceRms_(e.silenceRms),
      unersetzbar_(e.unersetzbar),
      dateien_(dateien) {}

void ChannelChunker::append(std::span<const float> samples, const std::vector<bool>* sprache) {
  const std::lock_guard halter(lock);
  nimmAuf(samples, sprache);
  if (turnMode_) {
    schneideNachPausen();
  } else {
    schneideNachLaenge();
  }
}

void ChannelChunker::nimmAuf(std::span<const float> samples, const std::vector<bool>* sprache) {
  buf_.anhaengen(samples);
  if (sprache != nullptr && sprache->size() == samples.size()) {
    mitMaske_ = true;
    maske_.anhaengen(sprache->begin(), sprache->end());
  } else if (mitMaske_) {
    maske_.auffuellen(samples.size(), 1);
  }
}

void ChannelChunker::schneideNachLaenge() {
  const std::int64_t lo = std::max<std::int64_t>(minus(chunkSamples_, searchSamples_), 1);
  const std::int64_t hi = plus(chunkSamples_, searchSamples_);
  while (laenge() >= hi) {
    if (!schneide(leisesteStelle(lo, hi, chunkSamples_))) return;
  }
}

void ChannelChunker::schneideNachPausen() {
  for (;;) {
    const auto schnitt = laenge() >= maxSamples_ ? erzwungenerSchnitt() : pausenSchnitt();
    if (!schnitt || !schneide(*schnitt)) return;
  }
}

std::int64_t ChannelChunker::erzwungenerSchnitt() const {
  const std::int64_t c = std::max(minSamples_, minus(maxSamples_, searchSamples_));
  const std::int64_t lo = std::max<std::int64_t>(minus(c, searchSamples_), 1);
  const std::int64_t hi = std::min(plus(c, searchSamples_), laenge());
  return leisesteStelle(lo, hi, c);
}

std::optional<std::int64_t> ChannelChunker::pausenSchnitt() {
  if (plus(minSamples_, silenceRun_) >= laenge()) return std::nullopt;
  const auto alle = buf_.werte();
  // A negative minimum length is none.
  for (sucheAb_ = std::max({sucheAb_, minSamples_, std::int64_t{0}}); sucheAb_ <= laenge() - FRAME;
       sucheAb_ += FRAME) {
    if (!(pegel(frame(alle, sucheAb_)) < silenceRms_)) {
      pauseAb_.reset();
      continue;
    }
    if (!pauseAb_) pauseAb_ = sucheAb_;
    if (sucheAb_ + FRAME - *pauseAb_ >= silenceRun_) {
      return std::min(*pauseAb_ + silenceRun_ / 2, laenge());
    }
  }
  return std::nullopt;
}

// The middle of the quietest frame from `lo` on that ends before `hi`, the first of several;
// `sonst` if there is no such frame.
std::int64_t ChannelChunker::leisesteStelle(std::int64_t lo, std::int64_t hi,
                                            std::int64_t sonst) const {
  const auto alle = buf_.werte();
  std::int64_t stelle = sonst;
  float leiseste = std::numeric_limits<float>::max();
  for (std::int64_t k = lo; k < minus(hi, FRAME); k += FRAME) {
    const float energie = quadratsumme(frame(alle, k));
    if (energie < leiseste) {
      leiseste = energie;
      stelle = k + FRAME / 2;
    }
  }
  return stelle;
}

// Cuts; returns whether that took anything. A caller that goes on cutting ends when nothing was
// taken, as with a length of zero.
bool ChannelChunker::schneide(std::int64_t count) {
  const std::int64_t vorher = globalOffset_;
  flush(count);
  return globalOffset_ != vorher;
}

void ChannelChunker::flush(std::int64_t count) {
  const std::int64_t n = std::min(laenge(), count);
  if (n < 1) return;
  const auto chunk = buf_.werte().first(static_cast<std::size_t>(n));
  const std::int64_t sprache = mitMaske_ ? nimmSprache(n) : n;
  const std::int64_t von = globalOffset_;
  globalOffset_ += n;
  if (turnMode_ && pegel(chunk) < silenceRms_) {
    // Silence leaves no file, only the time it took.
  } else if (mitMaske_ && sprache < minSprache_) {
    ohneSprache_ += 1;
  } else {
    schreibe(chunk, von, sprache);
  }
  buf_.verwerfen(chunk.size());
  sucheAb_ = 0;
  pauseAb_.reset();
}

void ChannelChunker::finalizeRemainder() {
  const std::lock_guard halter(lock);
  flush(laenge());
}

// Consumes the mask of the next `anzahl` samples; returns how many of them are speech.
std::int64_t ChannelChunker::nimmSprache(std::int64_t anzahl) {
  const std::size_t m = std::min(maske_.size(), static_cast<std::size_t>(anzahl));
  const auto vorn = maske_.werte().first(m);
  const auto sprache = m - static_cast<std::size_t>(std::count(vorn.begin(), vorn.end(), 0));
  maske_.verwerfen(m);
  return static_cast<std::int64_t>(sprache);
}

void ChannelChunker::schreibe(std::span<const float> chunk, std::int64_t von,
                              std::int64_t sprache) {
  const std::int64_t bis = von + static_cast<std::int64_t>(chunk.size());
  const double t0 = static_cast<double>(von) / rate_;
  const double t1 = static_cast<double>(bis) / rate_;
  const std::int64_t i = chunkIndex_++;
  const std::string pfad =
      pfadIn(outDir_, formatiert("chunk_%s_%03" PRId64 ".wav", channel_.c_str(), i));
  const Ergebnis ergebnis = writeWav(chunk, rate_, pfad, dateien_, unersetzbar_);
  if (ergebnis.gescheitert()) {
    log("[hallkorb] WAV-Schreibfehler (" + channel_ + " #" + std::to_string(i) +
        "): " + ergebnis.fehler().description);
    return;
  }
  std::string zeile = "{\"chunk\":" + std::to_string(i) + ",\"channel\":\"" + channel_ +
                      "\",\"path\":\"" + pfad + "\",\"t0\":" + formatiert("%.2f", t0) +
                      ",\"t1\":" + formatiert("%.2f", t1);
  if (mitMaske_) {
    const std::int64_t ms =
        ganzzahl(static_cast<double>(sprache) / rate_ * 1000.0,
                 formatiert("sprache_ms: keine gueltige Zahl bei %g Hz", rate_));
    zeile += formatiert(",\"sprache_ms\":%" PRId64, ms);
  }
  emit(zeile + "}");
}

}  // namespace hallkorb
