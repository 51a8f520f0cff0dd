#include "tests/oracles/echo/EchoStrecke.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace hallkorb::referenz {

EchoStrecke::EchoStrecke(std::int64_t partitionen, double stoerung)
    : ec(partitionen, stoerung),
      verz(stoerung),
      zuVerwerfen(ec.verzoegerungBloecke() * N),
      letzterRohBlock(static_cast<std::size_t>(N)) {}

void EchoStrecke::nachfilter(bool an) {
  ec.nachfilterAn = an;
  zuVerwerfen = (an ? 17 : 0) * N;
}

void EchoStrecke::referenz(std::span<const float> samples) {
  if (beendet) return;
  for (const float sample : samples) {
    const double v = static_cast<double>(sample) * s;
    refRoh.push_back(v);
    refPre.push_back(v - 0.9 * refLetzter);
    refLetzter = v;
  }
  refEnde += static_cast<std::int64_t>(samples.size());
  abarbeiten(false);
}

void EchoStrecke::mikro(std::span<const float> samples) {
  if (beendet) return;
  for (const float sample : samples)
    mic.push_back(static_cast<double>(sample) * s);
  micEnde += static_cast<std::int64_t>(samples.size());
  abarbeiten(false);
}

void EchoStrecke::abarbeiten(bool erzwingen) {
  while (micEnde - micBasis >= N) {
    const std::int64_t b = micBasis / N;
    if (refEnde < (b + 1) * N) {
      if (!erzwingen && micEnde - refEnde < maxVerzug) break;
      ohneReferenz += 1;
    }
    blockVerarbeiten(std::nullopt);
  }

  const std::int64_t b = micBasis / N;
  const auto p = static_cast<std::int64_t>(ec.P);
  const std::int64_t keep = std::max<std::int64_t>((b - versatz - p - 3) * N, 0);
  const std::int64_t drop = keep - refBasis;
  if (drop > 16000) {
    // If the reference lags far behind, fewer samples are held than may be dropped.
    const std::int64_t weg = std::min(drop, static_cast<std::int64_t>(refRoh.size()));
    refRoh.erase(refRoh.begin(), refRoh.begin() + weg);
    refPre.erase(refPre.begin(), refPre.begin() + weg);
    refBasis += weg;
  }
  if (refRoh.size() > 960000) {
    const auto weg = static_cast<std::int64_t>(refRoh.size()) - 480000;
    refRoh.erase(refRoh.begin(), refRoh.begin() + weg);
    refPre.erase(refPre.begin(), refPre.begin() + weg);
    refBasis += weg;
  }
}

std::vector<double> EchoStrecke::rahmen(std::int64_t b) const {
  std::vector<double> f(static_cast<std::size_t>(2 * N));
  for (std::int64_t i = 0; i < 2 * N; ++i) {
    const std::int64_t stelle = (b - versatz - 1) * N + i - refBasis;
    if (stelle >= 0 && stelle < static_cast<std::int64_t>(refPre.size())) {
      f[static_cast<std::size_t>(i)] = refPre[static_cast<std::size_t>(stelle)];
    }
  }
  return f;
}

void EchoStrecke::blockVerarbeiten(std::optional<std::int64_t> ende) {
  // The next microphone block.
  const std::int64_t b = micBasis / N;
  const std::vector<double> m(mic.begin(), mic.begin() + N);
  mic.erase(mic.begin(), mic.begin() + N);
  micBasis += N;

  // Delay estimation on the raw, undelayed reference.
  std::vector<double> x(static_cast<std::size_t>(N));
  for (std::int64_t i = 0; i < N; ++i) {
    const std::int64_t stelle = b * N + i - refBasis;
    if (stelle >= 0 && stelle < static_cast<std::int64_t>(refRoh.size())) {
      x[static_cast<std::size_t>(i)] = refRoh[static_cast<std::size_t>(stelle)];
    }
  }
  // Alignment.
  if (const auto D = verz.fuettern(x, m)) {
    delay = *D;
    const std::int64_t r = *D - versatz * N;
    const bool behalten = (versatz == 0 && r <= 8 * N) || (N / 2 <= r && r <= 8 * N);
    if (!behalten) {
      const auto v = std::max<std::int64_t>(
          static_cast<std::int64_t>(std::nearbyint(
              static_cast<double>(*D - Echokompensation::vorlauf) / static_cast<double>(N))),
          0);
      if (v != versatz) {
        const std::int64_t um = v - versatz;
        versatz = v;
        ec.versetzen(um, [&](std::int64_t j) { return rahmen(b - 1 - j); });
        versatzWechsel += 1;
      }
    }
  }

  // The aligned reference and the canceller.
  const auto out = ec.block(m, rahmen(b));
  std::vector<double> ergebnis(out.begin(), out.end());
  bool sprache = ec.letzteSprache;

  // A failed block is replaced by the raw one before it.
  if (!std::all_of(ergebnis.begin(), ergebnis.end(), [](double w) { return std::isfinite(w); })) {
    ausfaelle += 1;
    ec.resetFilter();
    ergebnis = letzterRohBlock;
    sprache = true;
  }
  // Kept for the next failure.
  letzterRohBlock = m;

  // To floats, with the mask.
  std::vector<float> block;
  for (const double wert : ergebnis) {
    block.push_back(std::clamp(static_cast<float>(wert * 3.0517578125e-5), -1.0F, 1.0F));
  }
  std::vector<bool> maske(block.size(), sprache);

  // The latency is not handed out.
  if (zuVerwerfen > 0) {
    const std::int64_t k = std::min(static_cast<std::int64_t>(block.size()), zuVerwerfen);
    block.erase(block.begin(), block.begin() + k);
    maske.erase(maske.begin(), maske.begin() + k);
    zuVerwerfen -= k;
  }

  // Not beyond the end.
  if (ende) {
    const auto noch = static_cast<std::size_t>(std::max<std::int64_t>(*ende - ausgegeben, 0));
    if (block.size() > noch) {
      block.resize(noch);
      maske.resize(noch);
    }
  }

  // Out.
  ausgegeben += static_cast<std::int64_t>(block.size());
  if (!block.empty()) ausgabe(block, maske);
}

void EchoStrecke::abschliessen() {
  if (beendet) return;
  abarbeiten(true);
  if (!mic.empty()) {
    mic.resize(static_cast<std::size_t>(N));
    blockVerarbeiten(micEnde);
  }
  const int male = ec.nachfilterAn ? 17 : 1;
  for (int i = 0; i < male; ++i) {
    mic.assign(static_cast<std::size_t>(N), 0.0);
    blockVerarbeiten(micEnde);
  }
  beendet = true;
}

std::string EchoStrecke::statistik() const {
  const auto bloecke = static_cast<double>(std::max<std::int64_t>(ec.bloecke, 1));
  char zeile[512];
  std::snprintf(zeile, sizeof zeile,
                "{\"event\":\"echo\",\"verzoegerung_ms\":%.1f,\"versatz_bloecke\":%lld,"
                "\"versatz_wechsel\":%lld,\"leck\":%.4f,\"tor_anteil\":%.3f,\"nah_anteil\":%.3f,"
                "\"vg_kopien\":%lld,\"hg_reset\":%lld,\"resets\":%lld,\"ohne_referenz\":%lld,"
                "\"ausfaelle\":%lld,\"bloecke\":%lld}",
                static_cast<double>(delay) * 0.0625, static_cast<long long>(versatz),
                static_cast<long long>(versatzWechsel), ec.leak,
                static_cast<double>(ec.torBloecke) / bloecke,
                static_cast<double>(ec.nahBloecke) / bloecke, static_cast<long long>(ec.vgKopien),
                static_cast<long long>(ec.hgReset), static_cast<long long>(ec.resets),
                static_cast<long long>(ohneReferenz), static_cast<long long>(ausfaelle),
                static_cast<long long>(ec.bloecke));
  return zeile;
}

}  // namespace hallkorb::referenz
