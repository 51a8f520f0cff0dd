// What a finished recording costs at its stop: the copy of all its samples into an ordinary file.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/linux/video/FragmentDatei.h"
#include "platform/linux/video/H264Kodierer.h"
#include "platform/linux/video/Letterbox.h"
#include "platform/linux/video/Libav.h"
#include "platform/linux/video/Mp4Umbau.h"
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

void pruefe(const Ergebnis& ergebnis) {
  if (ergebnis.gescheitert()) throw std::runtime_error(ergebnis.fehler().gedruckt());
}

// A recording of so many minutes at the full bit rate, in fragments as they are while it runs: one
// group of pictures of noise over and over, since encoding all of them would take an hour.
void nimmAuf(const std::string& pfad, int minuten) {
  H264Kodierer kodierer;
  pruefe(kodierer.oeffne(EINSTELLUNGEN, *H264Kodierer::vorhandene()));
  const LibavZeiger<AVFrame> rahmen(av_frame_alloc());
  rahmen->format = AV_PIX_FMT_YUV420P;
  rahmen->width = EINSTELLUNGEN.breite;
  rahmen->height = EINSTELLUNGEN.hoehe;
  if (av_frame_get_buffer(rahmen.get(), 0) < 0) throw std::runtime_error("no frame");
  Letterbox letterbox;
  Testbild bild(EINSTELLUNGEN.breite, EINSTELLUNGEN.hoehe, 0x2060A0);
  const auto zeit = [](int nummer) {
    return std::int64_t{nummer} * H264Kodierer::TICKS / BILDER_JE_SEKUNDE;
  };
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

  FragmentDatei datei;
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
  pruefe(datei.schliesse());
}

void baueUm(benchmark::State& state) {
  pruefe(ladeLibav());
  schweigeLibav();
  const TempOrdner ordner;
  const std::string aufnahme = ordner / "aufnahme.mp4";
  const std::string video = ordner / "video.mp4";
  const int minuten = static_cast<int>(state.range(0));
  nimmAuf(aufnahme, minuten);
  for (auto _ : state) {
    state.PauseTiming();
    std::remove(video.c_str());
    std::filesystem::copy_file(aufnahme, video);
    state.ResumeTiming();
    pruefe(hallkorb::baueUm(video, std::int64_t{minuten} * 60 * H264Kodierer::TICKS));
  }
  state.counters["MB"] = static_cast<double>(std::filesystem::file_size(aufnahme)) / 1e6;
}
BENCHMARK(baueUm)->Arg(60)->Arg(180)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

}  // namespace
}  // namespace hallkorb
