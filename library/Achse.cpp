// The timeline behind the C interface.

#include <cmath>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "capture/Zeitachse.h"
#include "library/Grenze.h"
#include "library/hallkorb/audio.h"

struct hallkorb_timeline {
  hallkorb_timeline(const char* name, double rate, double zero, hallkorb::Rueckruf an)
      : achse(name, rate, zero), rueckruf(an) {}

  hallkorb::Zeitachse achse;
  hallkorb::Rueckruf rueckruf;
  std::vector<float> platziert;
  std::vector<float> heil;
  std::string text;
};

namespace {

using hallkorb::gerufen;
using hallkorb::gescheitert;

// A gap of an hour takes 230 MB at 16 kHz. At higher rates it may have as many samples as may be
// handed over in one call: 1 GiB.
constexpr double ENTFERNT = 3600.0;  // s
constexpr double SAMPLES_BIS = 1U << 28U;

bool nahe(const hallkorb::Zeitachse& achse, double zeit) {
  const double entfernt =
      std::abs(zeit - achse.null - static_cast<double>(achse.geschrieben) / achse.rate);
  return entfernt <= ENTFERNT && entfernt * achse.rate <= SAMPLES_BIS;
}

}  // namespace

extern "C" {

int hallkorb_timeline_new(hallkorb_timeline** timeline, const char* name, double rate, double zero,
                          hallkorb_text_fn diagnostic, void* user) {
  return gerufen([&] {
    if (timeline == nullptr || !hallkorb::brauchbarerName(name) ||
        !hallkorb::brauchbareRate(rate) || !std::isfinite(zero))
      return gescheitert(HALLKORB_INVALID, "timeline: no such name, rate or time zero");
    *timeline = std::make_unique<hallkorb_timeline>(
                    name, rate, zero,
                    hallkorb::Rueckruf{.zeile = nullptr, .diagnose = diagnostic, .user = user})
                    .release();
    return int{HALLKORB_OK};
  });
}

int hallkorb_timeline_place(hallkorb_timeline* timeline, const float* samples, size_t count,
                            double time, double seconds, const float** placed,
                            size_t* placed_count) {
  return gerufen([&] {
    if (timeline == nullptr || placed == nullptr || placed_count == nullptr ||
        !hallkorb::lesbar(samples, count) || !(seconds >= 0 && seconds <= ENTFERNT))
      return gescheitert(HALLKORB_INVALID, "timeline: null pointer, or no such duration");
    const bool bekannt = std::isfinite(time) && time > 0;
    if (bekannt && !nahe(timeline->achse, time))
      return gescheitert(HALLKORB_INVALID,
                         "timeline: the time is more than an hour or 2^28 samples away");
    const hallkorb::Umleitung umleitung(timeline->rueckruf);
    const auto heil = hallkorb::geheilt(samples, count, timeline->heil);
    timeline->platziert =
        timeline->achse.einordnen(std::vector<float>(heil.begin(), heil.end()),
                                  bekannt ? std::optional(time) : std::nullopt, seconds);
    *placed = timeline->platziert.data();
    *placed_count = timeline->platziert.size();
    return int{HALLKORB_OK};
  });
}

int hallkorb_timeline_report(hallkorb_timeline* timeline, const char** json) {
  return gerufen([&] {
    if (timeline == nullptr || json == nullptr)
      return gescheitert(HALLKORB_INVALID, "timeline: null handle");
    timeline->text = timeline->achse.bericht();
    *json = timeline->text.c_str();
    return int{HALLKORB_OK};
  });
}

void hallkorb_timeline_free(hallkorb_timeline* timeline) {
  delete timeline;
}

}  // extern "C"
