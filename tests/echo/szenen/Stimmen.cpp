#include "tests/echo/szenen/Stimmen.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "audiofiles/Wav.h"

namespace hallkorb::szenen {

namespace {

constexpr double ESPEAK_RATE = 22050.0;

const char* const FERN =
    "Guten Morgen zusammen. Ich fange gleich mit dem Bericht an. Im letzten Quartal haben wir acht "
    "Anlagen geliefert, zwei mehr als geplant. Die Zahlen aus Hamburg fehlen noch, aber sie werden "
    "das Bild kaum ändern. Der Verbrauch ist um ein Fünftel gesunken. Das freut vor allem die "
    "Kollegen im Einkauf. Am Donnerstag stelle ich alles noch einmal ausführlich vor, bis dahin "
    "nehme ich gern Fragen auf. Wer die Unterlagen nicht bekommen hat, meldet sich bitte bei mir.";
const char* const NAH =
    "Das klingt gut. Ich hätte dazu zwei Fragen. Wie lange läuft die neue Anlage schon ohne "
    "Störung, und wer übernimmt die Wartung im Sommer? Mir wäre wichtig, dass wir das vor der "
    "Urlaubszeit klären. Den Bericht lese ich heute Abend noch einmal in Ruhe durch. Vielleicht "
    "können wir den Termin auf den Vormittag legen, am Nachmittag bin ich unterwegs.";

// x, taken ESPEAK_RATE / RATE values at a time: a windowed sinc that ends at 8 kHz.
Signal umgetaktet(const std::vector<float>& x) {
  constexpr double PI = std::numbers::pi;
  const double schritt = ESPEAK_RATE / RATE;
  const double breite = 24.0 * schritt;
  Signal y(static_cast<std::size_t>(static_cast<double>(x.size()) / schritt));
  for (std::size_t n = 0; n < y.size(); ++n) {
    const double mitte = static_cast<double>(n) * schritt;
    const double von = std::max(0.0, std::ceil(mitte - breite));
    const double bis = std::min(static_cast<double>(x.size()) - 1.0, mitte + breite);
    double summe = 0.0;
    for (double i = von; i <= bis; i += 1.0) {
      const double t = (mitte - i) / schritt;
      const double sinc = std::fabs(t) < 1e-9 ? 1.0 : std::sin(PI * t) / (PI * t);
      const double fenster = 0.5 + 0.5 * std::cos(PI * t / 24.0);
      summe += static_cast<double>(x[static_cast<std::size_t>(i)]) * sinc * fenster / schritt;
    }
    y[n] = summe;
  }
  return y;
}

// Everything the command prints; empty if it fails.
std::vector<std::uint8_t> ausgabeVon(const std::string& befehl) {
  std::FILE* rohr = ::popen(befehl.c_str(), "r");
  if (rohr == nullptr) return {};
  std::vector<std::uint8_t> bytes;
  std::uint8_t puffer[65536];
  for (std::size_t n = 0; (n = std::fread(puffer, 1, sizeof puffer, rohr)) > 0;) {
    bytes.insert(bytes.end(), puffer, puffer + n);
  }
  if (::pclose(rohr) != 0) bytes.clear();
  return bytes;
}

std::optional<Signal> gesprochen(const std::string& einstellungen, const std::string& text) {
  const std::string befehl =
      "espeak-ng " + einstellungen + " --stdout \"" + text + "\" 2>/dev/null";
  // A voice that was cut off would give figures of its own: it counts only if it came out the same
  // twice.
  std::vector<std::uint8_t> bytes = ausgabeVon(befehl);
  for (int weitere = 0; weitere < 3; ++weitere) {
    std::vector<std::uint8_t> nochmals = ausgabeVon(befehl);
    if (nochmals == bytes) break;
    std::fprintf(stderr, "espeak-ng said %zu bytes, then %zu others\n", bytes.size(),
                 nochmals.size());
    bytes = std::move(nochmals);
  }
  const auto wav = dekodiereWav(bytes);
  if (!wav || wav->empty()) return std::nullopt;
  Signal s = umgetaktet(*wav);

  const auto laut = [](double v) { return std::fabs(v) > 0.01; };
  s.erase(s.begin(), std::find_if(s.begin(), s.end(), laut));
  s.erase(std::find_if(s.rbegin(), s.rend(), laut).base(), s.end());
  double energie = 0.0;
  for (const double v : s)
    energie += v * v;
  const double faktor = 0.05 / std::sqrt(energie / static_cast<double>(s.size() + 1) + 1e-20);
  for (double& v : s)
    v *= faktor;
  return s;
}

}  // namespace

std::optional<Stimmen> stimmen() {
  auto fern = gesprochen("-v de+f3 -p 55 -s 170", FERN);
  auto nah = gesprochen("-v de -p 38 -s 150", NAH);
  if (!fern || !nah) return std::nullopt;
  return Stimmen{std::move(*fern), std::move(*nah)};
}

}  // namespace hallkorb::szenen
