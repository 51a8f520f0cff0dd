// Prints the figures of all long scenes, one JSON object a line, and writes what a plot needs:
//
//   echo_szenen FOLDER
//
// NN.csv holds the levels, marks and gate of scene NN block by block; NN_mic.wav, NN_ref.wav and
// NN_out.wav are for listening. bench/echo-figures makes docs/echo.md of it.
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "audiofiles/Wav.h"
#include "base/Text.h"
#include "tests/echo/scenes/Bewertung.h"
#include "tests/echo/scenes/Stimmen.h"

namespace {

using hallkorb::formatiert;

std::string feld(const char* name, const std::optional<double>& wert, int stellen = 1) {
  if (!wert) return formatiert(",\"%s\":null", name);
  return formatiert(",\"%s\":%.*f", name, stellen, *wert);
}

struct Datei {
  const char* endung;
  const std::vector<float>& samples;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: echo_szenen FOLDER\n", stderr);
    return 2;
  }
  const auto stimmen = hallkorb::szenen::stimmen();
  int nummer = 0;
  for (const auto& vorgabe : hallkorb::szenen::lange()) {
    const auto szene = hallkorb::szenen::szene(vorgabe, stimmen.fern, stimmen.nah);
    std::vector<float> aus;
    const auto b = hallkorb::szenen::bewerte(szene, &aus);
    const std::string basis = std::string(argv[1]) + formatiert("/%02d", nummer++);
    std::ofstream csv(basis + ".csv");
    csv << "mic,ref,out,speech,gate\n";
    for (const auto& block : b.verlauf) {
      csv << formatiert("%.1f,%.1f,%.1f,%d,%d\n", block.mikro, block.referenz, block.aus,
                        block.sprache ? 1 : 0, block.tor ? 1 : 0);
    }
    csv.close();
    for (const auto& [endung, samples] :
         {Datei{"_mic.wav", szene.mikro}, Datei{"_ref.wav", szene.referenz},
          Datei{"_out.wav", aus}}) {
      if (hallkorb::writeWav(samples, hallkorb::szenen::RATE, basis + endung).gescheitert() ||
          !csv) {
        std::fprintf(stderr, "echo_szenen: %s cannot be written\n", basis.c_str());
        return 2;
      }
    }
    std::printf(
        "{\"scene\":\"%s\"%s%s%s%s%s%s%s%s%s%s}\n", vorgabe.name.c_str(),
        feld("erle_start", b.erleAnfang).c_str(), feld("erle_later", b.erleSpaeter).c_str(),
        feld("near_level", b.nahPegel).c_str(), feld("near_sdr", b.nahSdr).c_str(),
        feld("double_level", b.doppelPegel).c_str(),
        feld("double_sdr_before", b.doppelSdrVorher).c_str(),
        feld("double_sdr", b.doppelSdr).c_str(), feld("false_marks", b.falschMarkiert, 3).c_str(),
        feld("missed", b.nichtMarkiert, 3).c_str(), feld("delay_after", b.richtigNach).c_str());
    std::fflush(stdout);
  }
  return 0;
}
