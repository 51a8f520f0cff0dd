#include "tests/support/Sprecher.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "tests/support/Laute.h"

namespace hallkorb {
namespace {

constexpr double PI = std::numbers::pi;

// A resonance; its gain at frequency 0 is one.
class Resonator {
 public:
  void stelle(double frequenz, double breite, double rate) {
    const double r = std::exp(-PI * breite / rate);
    c_ = -r * r;
    b_ = 2.0 * r * std::cos(2.0 * PI * frequenz / rate);
    a_ = 1.0 - b_ - c_;
  }
  double operator()(double x) {
    const double y = a_ * x + b_ * y1_ + c_ * y2_;
    y2_ = y1_;
    return y1_ = y;
  }

 private:
  double a_ = 1.0, b_ = 0.0, c_ = 0.0;
  double y1_ = 0.0, y2_ = 0.0;
};

// A value that follows its goal like a muscle, not at once.
class Traege {
 public:
  Traege(double zeit, double rate) : rest_(std::exp(-1.0 / (zeit * rate))) {}
  void setze(double wert) { wert_ = wert; }
  double zu(double ziel) { return wert_ = ziel + (wert_ - ziel) * rest_; }
  [[nodiscard]] double wert() const { return wert_; }

 private:
  double rest_;
  double wert_ = 0.0;
};

// The throat: resonators for what comes from the glottis, one for the noise at the front.
class Rachen {
 public:
  Rachen(double streckung, double rate)
      : streckung_(streckung),
        rate_(rate),
        formanten_{Traege(0.013, rate), Traege(0.013, rate), Traege(0.013, rate)},
        stimme_(0.004, rate),
        hauch_(0.004, rate),
        zischen_(0.003, rate),
        tief_(1.0 / (2.0 * PI * 1000.0), rate) {
    formanten_[0].setze(500.0);
    formanten_[1].setze(1500.0);
    formanten_[2].setze(2500.0);
    resonatoren_[3].stelle(std::min(3500.0 * streckung, 0.45 * rate), 250.0, rate);
    resonatoren_[4].stelle(std::min(4500.0 * streckung, 0.47 * rate), 350.0, rate);
  }

  double probe(const Laut& laut, double puls, double rauschen, bool neueLage) {
    const std::array<double, 3> ziele =
        laut.f1 > 0.0 ? std::array{laut.f1, laut.f2, laut.f3} : ziele_;
    ziele_ = ziele;
    for (std::size_t i = 0; i < ziele.size(); ++i) {
      const double f = formanten_[i].zu(ziele[i]) * streckung_;
      if (neueLage) resonatoren_[i].stelle(f, 50.0 + 0.04 * f, rate_);
    }
    if (neueLage && laut.mitte > 0.0) {
      front_.stelle(std::min(laut.mitte * streckung_, 0.46 * rate_), laut.breite, rate_);
    }
    double y = stimme_.zu(laut.stimme) * puls + hauch_.zu(laut.hauch) * rauschen;
    for (Resonator& r : resonatoren_)
      y = r(y);
    // The differences keep the resonator's low frequencies out.
    const double zischen = front_(rauschen - vorher_) * zischen_.zu(2.0 * laut.zischen);
    vorher_ = rauschen;
    // The lips radiate what is high better.
    tief_.zu(y);
    return 2.5 * y - 1.5 * tief_.wert() + zischen;
  }

 private:
  double streckung_;
  double rate_;
  std::array<Traege, 3> formanten_;
  std::array<double, 3> ziele_{500.0, 1500.0, 2500.0};
  Traege stimme_, hauch_, zischen_, tief_;
  std::array<Resonator, 5> resonatoren_{};
  Resonator front_{};
  double vorher_ = 0.0;
};

// The derivative of the flow through the glottis: open for six tenths of a period, then shut at
// once.
double glottis(double phase) {
  constexpr double OFFEN = 0.6;
  if (phase >= OFFEN) return 0.0;
  const double u = phase / OFFEN;
  return 2.0 * u - 3.0 * u * u;
}

void bringeAufPegel(std::vector<double>& s) {
  const auto laut = [](double v) { return std::fabs(v) > 1e-3; };
  s.erase(s.begin(), std::find_if(s.begin(), s.end(), laut));
  s.erase(std::find_if(s.rbegin(), s.rend(), laut).base(), s.end());
  double energie = 0.0;
  for (const double v : s)
    energie += v * v;
  const double faktor = 0.05 / std::sqrt(energie / static_cast<double>(s.size() + 1) + 1e-20);
  for (double& v : s)
    v *= faktor;
}

// Pitch over a sentence: it sinks, rises on stressed syllables and at the end of a question.
double melodie(const Satz& satz, std::size_t laut, double imLaut) {
  const double weg = (static_cast<double>(laut) + imLaut) / static_cast<double>(satz.laute.size());
  double ton = 1.12 - 0.27 * weg;
  if (satz.laute[laut].betont) ton += 0.1 * std::sin(PI * imLaut);
  if (satz.frage && weg > 0.8) ton += 1.5 * (weg - 0.8);
  return ton;
}

double dauer(const Satz& satz, std::size_t laut) {
  const Laut& l = satz.laute[laut];
  if (!l.silbe) return l.dauer;
  const bool schluss = laut + 3 >= satz.laute.size();
  return l.dauer * (l.betont ? 1.2 : 1.0) * (schluss ? 1.35 : 1.0);
}

}  // namespace

Sprecher::Sprecher(const Stimmlage& lage, double rate)
    : lage_(lage), rate_(rate), zufall_(lage.saat) {}

std::vector<double> Sprecher::sprich(std::string_view text) {
  const auto gleich = [this] { return static_cast<double>(zufall_() >> 11) * 0x1p-52 - 1.0; };
  Rachen rachen(lage_.streckung, rate_);
  const auto schritt = static_cast<std::size_t>(rate_ * 0.0025);
  std::vector<double> s;
  double phase = 0.0;
  double zittern = 0.0;
  double frei = 0.0;  // fraction of a sample that the sounds so far have left over
  const auto spiele = [&](const Laut& laut, double sekunden, const auto& ton) {
    const double genau = sekunden * rate_ / lage_.tempo + frei;
    const auto anzahl = static_cast<std::size_t>(genau);
    frei = genau - static_cast<double>(anzahl);
    for (std::size_t i = 0; i < anzahl; ++i) {
      phase += lage_.grundton * ton(static_cast<double>(i) / genau) * (1.0 + zittern) / rate_;
      if (phase >= 1.0) {
        phase -= 1.0;
        zittern = 0.012 * gleich();
      }
      s.push_back(rachen.probe(laut, glottis(phase), gleich(), s.size() % schritt == 0));
    }
  };
  for (const Satz& satz : lauteVon(text)) {
    for (std::size_t k = 0; k < satz.laute.size(); ++k) {
      spiele(satz.laute[k], dauer(satz, k) * (1.0 + 0.08 * gleich()),
             [&](double imLaut) { return melodie(satz, k, imLaut); });
    }
    spiele(Laut{}, satz.pause * (1.0 + 0.3 * gleich()), [](double) { return 1.0; });
  }
  bringeAufPegel(s);
  return s;
}

}  // namespace hallkorb
