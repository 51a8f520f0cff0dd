// Arbitrary settings, signals, masks and blocks: the chunker terminates and follows its rules.
#include <fcntl.h>

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "audiofiles/ChannelChunker.h"
#include "base/Ausgabe.h"
#include "fuzz/Bytestrom.h"
#include "tests/oracles/ChunkerRegel.h"

namespace hallkorb {
namespace {

// Keeps only the sizes of the files that are written.
class Groessen final : public Dateien {
 public:
  std::vector<std::size_t> geschrieben;

  int oeffnen(const std::string&, int, mode_t) override { return 3; }
  ssize_t lesen(int, std::span<std::uint8_t>) override { return 0; }
  ssize_t schreiben(int, std::span<const std::uint8_t> bytes) override {
    geschrieben.push_back(bytes.size());
    return static_cast<ssize_t>(bytes.size());
  }
  ssize_t schreibenAn(int, std::span<const std::uint8_t> bytes, std::int64_t) override {
    return static_cast<ssize_t>(bytes.size());
  }
  int warteAufPlatz(int, std::chrono::milliseconds) override { return 0; }
  ssize_t lesenAn(int, std::span<std::uint8_t>, std::int64_t) override { return 0; }
  int laengeSetzen(int, std::int64_t) override { return 0; }
  int rechteSetzen(int, mode_t) override { return 0; }
  int aufPlatte(int) override { return 0; }
  int schliessen(int) override { return 0; }
  int umbenennen(const std::string&, const std::string&) override { return 0; }
  int loeschen(const std::string&) override { return 0; }
  int verknuepfen(const std::string&, const std::string&) override { return 0; }
  int ordnerAnlegen(const std::string&) override { return 0; }
  int ordnerLesen(const std::string&, std::vector<Eintrag>&) override { return -ENOENT; }
  int zustand(const std::string&, Zustand&) override { return -ENOENT; }
  int zustandOffen(int, Zustand&) override { return -ENOENT; }
  int sperren(int) override { return 0; }
  int verweis(const std::string&, std::string&) override { return -ENOENT; }
};

// From a little below zero to some seconds.
double sekunden(Bytestrom& eingabe) {
  return static_cast<double>(eingabe.byte()) / 64.0 - 0.5;
}

void laufe(Bytestrom eingabe) {
  static constexpr double RATEN[] = {0.0, 0.9, 200.0, 1000.0, 4000.0, 16000.0};
  const double rate = RATEN[eingabe.byte() % std::size(RATEN)];
  const bool rede = eingabe.byte() % 2 != 0;
  const double chunk = sekunden(eingabe);
  const double min = sekunden(eingabe);
  const double max = sekunden(eingabe);
  const double stille = sekunden(eingabe);
  const float silenceRms = static_cast<float>(eingabe.byte()) / 256.0F;
  Groessen dateien;
  ChannelChunker c({.channel = "me",
                    .outDir = "",
                    .rate = rate,
                    .chunkSeconds = chunk,
                    .turnMode = rede,
                    .minSeconds = min,
                    .maxSeconds = max,
                    .silenceSeconds = stille,
                    .silenceRms = silenceRms},
                   dateien);
  ChunkerRegel soll({rate, c.chunkSamples(), c.searchSamples(), rede, c.minSamples(),
                     c.maxSamples(), c.silenceRun(), silenceRms});
  std::size_t alle = 0;
  while (!eingabe.leer() && alle < 100000) {
    const std::size_t n = std::size_t{eingabe.byte()} * 16 + eingabe.byte() % 16;
    const float wert = static_cast<float>(eingabe.byte()) / 255.0F;
    const std::vector<float> block(n, wert * wert);
    const std::uint8_t art = eingabe.byte();
    std::vector<bool> maske(art % 8 == 7 ? n + 1 : n, art % 2 == 0);
    // At rate 0 a mask's milliseconds are not a number.
    const auto* sprache = art % 8 < 4 || rate == 0.0 ? nullptr : &maske;
    c.append(block, sprache);
    soll.append(block, sprache);
    alle += n;
    pruefe(c.globalOffset() == soll.globalOffset && c.buf().size() == soll.buf.size());
    pruefe(static_cast<std::size_t>(c.globalOffset()) + c.buf().size() == alle);
  }
  c.finalizeRemainder();
  soll.finalizeRemainder();
  std::vector<std::size_t> geschrieben;
  std::int64_t stumm = 0;
  for (const auto& chunk_ : soll.chunks) {
    stumm += chunk_.los == ChunkerRegel::Los::ohneSprache ? 1 : 0;
    if (chunk_.los == ChunkerRegel::Los::geschrieben) {
      geschrieben.push_back(44 + 2 * chunk_.samples.size());
    }
  }
  pruefe(dateien.geschrieben == geschrieben && c.ohneSprache() == stumm);
  pruefe(static_cast<std::size_t>(c.globalOffset()) == alle);
}

}  // namespace
}  // namespace hallkorb

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  hallkorb::FileHandleTextOutput::standardOutput().handle = ::open("/dev/null", O_WRONLY);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t anzahl) {
  hallkorb::laufe(hallkorb::Bytestrom(std::span(bytes, anzahl)));
  return 0;
}
