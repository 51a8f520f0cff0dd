// The ranking runs at every check of the screen; even a long list must cost next to nothing.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <string>
#include <utility>

#include "meeting/FensterInfo.h"
#include "meeting/Rangfolge.h"

namespace hallkorb {
namespace {

// Windows of which half are looked at closely and a quarter are candidates, their titles half
// ASCII.
Eingabe liste(std::int64_t anzahl) {
  static const std::array<std::pair<const char*, const char*>, 8> ARTEN{{
      {"us.zoom.xos", "Zoom Meeting – Wöchentliche Runde"},
      {"com.google.Chrome", "Präsentation der Woche – Dokumente"},
      {"com.microsoft.teams2", "Chat | Microsoft Teams"},
      {"com.apple.Terminal", "build — 120×40"},
      {"org.mozilla.firefox", "Meet - abc-defg-hij"},
      {"com.apple.finder", "Documents"},
      {"com.apple.mail", "Inbox (12)"},
      {"com.apple.Notes", "Einkauf"},
  }};
  Eingabe eingabe;
  for (std::int64_t i = 0; i < anzahl; ++i) {
    const auto& [bundle, titel] = ARTEN[static_cast<std::size_t>(i) % ARTEN.size()];
    eingabe.fenster.push_back({static_cast<std::uint32_t>(i), titel, bundle, "App", 0.0, 0.0,
                               640.0 + static_cast<double>(i % 97), 480.0, true, 0});
  }
  return eingabe;
}

void rangfolge(benchmark::State& state) {
  const Eingabe eingabe = liste(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(waehleMeetingZiel(eingabe.fenster));
}
BENCHMARK(rangfolge)->Arg(50)->Arg(100'000)->Unit(benchmark::kMillisecond);

void fensterliste(benchmark::State& state) {
  const std::string json = eingabeJSON(liste(state.range(0)));
  for (auto _ : state)
    benchmark::DoNotOptimize(liesEingabe(json));
}
BENCHMARK(fensterliste)->Arg(100'000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace hallkorb
