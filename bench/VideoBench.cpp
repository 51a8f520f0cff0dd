// What a finished recording costs at its stop, beside a copy of its file.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/linux/video/FragmentDatei.h"
#include "platform/linux/video/H264Kodierer.h"
#include "platform/linux/video/Letterbox.h"
#include "platform/linux/video/Libav.h"
#include "tests/support/TempOrdner.h"
#include "tests/support/Testbild.h"

namespace hallkorb {
namespace {

constexpr int BILDER_JE_SEKUNDE = 15;
constexpr int GRUPPE = 30;  // pictures from one key frame to the next
constexpr VideoEinstellungen EINSTELLUNGEN{1280, 800, 1'400'000, GRUPPE, BILDER_JE_SEKUNDE};

struct Probe {
  std::vector<std::uint8_t> daten;
  int flaggen = 0;
};

std::int64_t zeit(int nummer) {
  return std::int64_t{nummer} * H264Kodierer::TICKS / BILDER_JE_SEKUNDE;
}

void pruefe(const Ergebnis& ergebnis) {
  if (ergebnis.gescheitert()) throw std::runtime_error(ergebnis.fehler().gedruckt());
}

// One group of pictures of noise, which a recording at the full bit rate repeats: encoding all of
// its pictures would take an hour.
std::vector<Probe> kodiereGruppe(H264Kodierer& kodierer) {
  const LibavZeiger<AVFrame> rahmen(av_frame_alloc());
  rahmen->format = AV_PIX_FMT_YUV420P;
  rahmen->width = EINSTELLUNGEN.breite;
  rahmen->height = EINSTELLUNGEN.hoehe;
  if (av_frame_get_buffer(rahmen.get(), 0) < 0) throw std::runtime_error("no frame");
  Letterbox letterbox;
  Testbild bild(EINSTELLUNGEN.breite, EINSTELLUNGEN.hoehe, 0x2060A0);
  std::vector<Probe> gruppe;
  // The rate settles in the first groups.
  for (int i = 0; i < 4 * GRUPPE; ++i) {
    bild.rausche(static_cast<std::uint32_t>(i));
    pruefe(letterbox.zeichne(bild.alsBild(0.0), *rahmen));
    rahmen->pts = zeit(i);
    AVPacket* paket = nullptr;
    pruefe(kodierer.kodiere(*rahmen, paket));
    if (i >= 3 * GRUPPE) gruppe.push_back({{paket->data, paket->data + paket->size}, paket->flags});
  }
  return gruppe;
}

// Records so many minutes, up to the stop.
void nimmAuf(FragmentDatei& datei, const std::string& pfad, int minuten) {
  H264Kodierer kodierer;
  pruefe(kodierer.oeffne(EINSTELLUNGEN, *H264Kodierer::vorhandene()));
  std::vector<Probe> gruppe = kodiereGruppe(kodierer);
  pruefe(datei.beginne(pfad, kodierer.strom()));
  const LibavZeiger<AVPacket> paket(libav().av_packet_alloc());
  for (int i = 0; i < minuten * 60 * BILDER_JE_SEKUNDE; ++i) {
    Probe& probe = gruppe[static_cast<std::size_t>(i % GRUPPE)];
    paket->data = probe.daten.data();
    paket->size = static_cast<int>(probe.daten.size());
    paket->flags = probe.flaggen;
    paket->pts = paket->dts = zeit(i);
    pruefe(datei.schreibe(*paket));
    if (i % BILDER_JE_SEKUNDE == BILDER_JE_SEKUNDE - 1) pruefe(datei.sichere());
  }
}

void schliesseAb(benchmark::State& state) {
  pruefe(ladeLibav());
  schweigeLibav();
  const TempOrdner ordner;
  const std::string video = ordner / "video.mp4";
  const std::string kopie = ordner / "kopie.mp4";
  const int minuten = static_cast<int>(state.range(0));
  double kopieren = 0.0;
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::remove(kopie);
    auto datei = std::make_unique<FragmentDatei>();
    nimmAuf(*datei, video, minuten);
    state.ResumeTiming();
    pruefe(datei->schliesseAb(std::int64_t{minuten} * 60 * H264Kodierer::TICKS));
    state.PauseTiming();
    const auto anfang = std::chrono::steady_clock::now();
    std::filesystem::copy_file(video, kopie);
    kopieren += std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - anfang)
                    .count();
    state.ResumeTiming();
  }
  state.counters["MB"] = static_cast<double>(std::filesystem::file_size(video)) / 1e6;
  state.counters["copy_ms"] = kopieren / static_cast<double>(state.iterations());
}
BENCHMARK(schliesseAb)
    ->Arg(60)
    ->Arg(180)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(2);

}  // namespace
}  // namespace hallkorb
