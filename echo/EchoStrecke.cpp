#include "echo/EchoStrecke.h"

#include <algorithm>
#include <cmath>

#include "base/Text.h"
#include "echo/Fliesskomma.h"

namespace hallkorb {

namespace {

// The reference is trimmed in steps of a second, and never grows beyond a minute: a microphone that
// has stopped must not fill the memory.
constexpr std::int64_t KUERZEN_AB = 16000;
constexpr std::size_t HOECHSTENS = 960000;
constexpr std::size_t NACH_KAPPEN = 480000;

}  // namespace

EchoStrecke::EchoStrecke(std::int64_t partitionen)
    : ec(partitionen),
      zuVerwerfen(ec.verzoegerungBloecke() * N),
      letzterRohBlock(N),
      micBlock(N),
      refBlock(N),
      refRahmen(EK_K) {
  ausBlock.reserve(N);
  ausMaske.reserve(N);
}

void EchoStrecke::nachfilter(bool an) {
  ec.nachfilterAn(an);
  zuVerwerfen = ec.verzoegerungBloecke() * N;
}

void EchoStrecke::referenz(std::span<const float> samples) {
  if (beendet_) return;
  const std::span<double> roh = refRoh.erweitern(samples.size());
  const std::span<double> pre = refPre.erweitern(samples.size());
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double v = static_cast<double>(samples[i]) * s;
    roh[i] = v;
    pre[i] = v - kern::VORBETONUNG * refLetzter;
    refLetzter = v;
  }
  refEnde += static_cast<std::int64_t>(samples.size());
  abarbeiten(false);
}

void EchoStrecke::mikro(std::span<const float> samples) {
  if (beendet_) return;
  const std::span<double> neu = mic.erweitern(samples.size());
  std::transform(samples.begin(), samples.end(), neu.begin(),
                 [](float sample) { return static_cast<double>(sample) * s; });
  micEnde += static_cast<std::int64_t>(samples.size());
  abarbeiten(false);
}

void EchoStrecke::abarbeiten(bool erzwingen) {
  while (micEnde - micBasis >= N) {
    if (refEnde < micBasis + N) {
      if (!erzwingen && micEnde - refEnde < maxVerzug) break;
      ++ohneReferenz_;
    }
    blockVerarbeiten(std::nullopt);
  }
  referenzKuerzen();
}

// Keeps what the filter under its alignment can still ask for.
void EchoStrecke::referenzKuerzen() {
  const auto verwerfen = [this](std::size_t anzahl) {
    refRoh.verwerfen(anzahl);
    refPre.verwerfen(anzahl);
    refBasis += static_cast<std::int64_t>(anzahl);
  };
  const std::int64_t b = micBasis / N;
  const std::int64_t behalten =
      std::max<std::int64_t>((b - versatz_ - ec.partitionen() - 3) * N, 0);
  const std::int64_t zuviel = behalten - refBasis;
  // If the reference lags far behind, fewer samples are held than may be dropped.
  if (zuviel > KUERZEN_AB) verwerfen(std::min(static_cast<std::size_t>(zuviel), refRoh.size()));
  if (refRoh.size() > HOECHSTENS) verwerfen(refRoh.size() - NACH_KAPPEN);
}

// Samples from absolute reference position `von` on; silence where nothing is held.
void EchoStrecke::ausschneiden(const Vorrat<double>& vorrat, std::int64_t von,
                               std::span<double> ziel) const {
  const std::span<const double> werte = vorrat.werte();
  const auto anzahl = static_cast<std::int64_t>(ziel.size());
  const auto gehalten = static_cast<std::int64_t>(werte.size());
  const std::int64_t anfang = von - refBasis;
  const std::int64_t a = std::clamp<std::int64_t>(-anfang, 0, anzahl);
  const std::int64_t e = std::clamp<std::int64_t>(gehalten - anfang, a, anzahl);
  std::fill_n(ziel.begin(), a, 0.0);
  if (e > a) std::copy_n(werte.begin() + (anfang + a), e - a, ziel.begin() + a);
  std::fill(ziel.begin() + e, ziel.end(), 0.0);
}

// The canceller's reference frame for block b: the block itself and the one before it, delayed.
void EchoStrecke::rahmen(std::int64_t b, std::span<double> f) const {
  ausschneiden(refPre, (b - versatz_ - 1) * N, f);
}

// The cleaned block. All arithmetic is in here, so that the caller's code runs in its own mode.
std::span<const double> EchoStrecke::gereinigt(std::int64_t b, std::span<const double> m) {
  const DenormaleSindNull schnell;
  // The delay is sought between the unshifted streams.
  const std::span<double> undelayed(refBlock.p, N);
  ausschneiden(refRoh, b * N, undelayed);
  if (const auto D = verz.fuettern(undelayed, m)) ausrichten(*D, b);

  const std::span<double> f(refRahmen.p, static_cast<std::size_t>(EK_K));
  rahmen(b, f);
  return ec.block(m, f);
}

void EchoStrecke::blockVerarbeiten(std::optional<std::int64_t> ende) {
  const std::int64_t b = micBasis / N;
  const std::span<double> m(micBlock.p, N);
  std::copy_n(mic.werte().begin(), N, m.begin());
  mic.verwerfen(N);
  micBasis += N;

  std::span<const double> out = gereinigt(b, m);
  bool sprache = ec.letzteSprache();
  if (!std::all_of(out.begin(), out.end(), [](double wert) { return std::isfinite(wert); })) {
    // No word may be lost: the raw microphone steps in, one block late.
    ++ausfaelle_;
    ec.resetFilter();
    out = {letzterRohBlock.p, static_cast<std::size_t>(N)};
    sprache = true;
  }
  ausgeben(out, sprache, ende);
  std::copy(m.begin(), m.end(), letzterRohBlock.p);
}

// Applies a new delay estimate, unless the filter covers it well as it is.
void EchoStrecke::ausrichten(std::int64_t D, std::int64_t b) {
  delay_ = D;
  const std::int64_t rest = D - versatz_ * N;
  if ((versatz_ == 0 && rest <= 8 * N) || (N / 2 <= rest && rest <= 8 * N)) return;

  // nearbyint rounds halves to the even block.
  const double bloecke =
      static_cast<double>(D - Echokompensation::vorlauf) / static_cast<double>(N);
  const auto neu = std::max<std::int64_t>(static_cast<std::int64_t>(std::nearbyint(bloecke)), 0);
  if (neu == versatz_) return;
  const std::int64_t um = neu - versatz_;
  versatz_ = neu;
  ec.versetzen(um, [this, b](std::int64_t j, std::span<double> f) { rahmen(b - 1 - j, f); });
  ++versatzWechsel_;
}

void EchoStrecke::ausgeben(std::span<const double> out, bool sprache,
                           std::optional<std::int64_t> ende) {
  const std::int64_t weg = std::min(static_cast<std::int64_t>(out.size()), zuVerwerfen);
  zuVerwerfen -= weg;
  out = out.subspan(static_cast<std::size_t>(weg));
  if (ende) {
    const auto noch = static_cast<std::size_t>(std::max<std::int64_t>(*ende - ausgegeben, 0));
    out = out.first(std::min(out.size(), noch));
  }
  if (out.empty()) return;
  ausBlock.resize(out.size());
  std::transform(out.begin(), out.end(), ausBlock.begin(), [](double wert) {
    return std::clamp(static_cast<float>(wert * (1.0 / s)), -1.0F, 1.0F);
  });
  ausMaske.assign(out.size(), sprache);
  ausgegeben += static_cast<std::int64_t>(out.size());
  ausgabe(ausBlock, ausMaske);
}

void EchoStrecke::abschliessen() {
  if (beendet_) return;
  abarbeiten(true);
  const auto fuelleAuf = [this] {
    const std::span<double> nullen = mic.erweitern(static_cast<std::size_t>(N) - mic.size());
    std::fill(nullen.begin(), nullen.end(), 0.0);
    blockVerarbeiten(micEnde);
  };
  if (mic.size() > 0) fuelleAuf();
  // What is still inside the canceller.
  const std::int64_t male = std::max<std::int64_t>(ec.verzoegerungBloecke(), 1);
  for (std::int64_t i = 0; i < male; ++i)
    fuelleAuf();
  beendet_ = true;
}

std::string EchoStrecke::statistik() const {
  const auto zahl = [](std::int64_t wert) { return static_cast<long long>(wert); };
  const auto bloecke = static_cast<double>(std::max<std::int64_t>(ec.bloecke(), 1));
  const Nachfilter& nachfilter = ec.nachfilter();
  return formatiert(
      "{\"event\":\"echo\",\"verzoegerung_ms\":%.1f,\"versatz_bloecke\":%lld,"
      "\"versatz_wechsel\":%lld,\"leck\":%.4f,\"tor_anteil\":%.3f,\"nah_anteil\":%.3f,"
      "\"vg_kopien\":%lld,\"hg_reset\":%lld,\"resets\":%lld,\"ohne_referenz\":%lld,"
      "\"ausfaelle\":%lld,\"bloecke\":%lld}",
      static_cast<double>(delay_) * 0.0625, zahl(versatz_), zahl(versatzWechsel_), ec.leak(),
      static_cast<double>(nachfilter.torBloecke()) / bloecke,
      static_cast<double>(nachfilter.nahBloecke()) / bloecke, zahl(ec.vgKopien()),
      zahl(ec.hgReset()), zahl(ec.resets()), zahl(ohneReferenz_), zahl(ausfaelle_),
      zahl(ec.bloecke()));
}

}  // namespace hallkorb
