#include "tests/support/Gespraech.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>

#include "audiofiles/Wav.h"

namespace hallkorb::sim {
namespace {

constexpr double RATE = 16000.0;
constexpr float GENAU = 2e-4F;

float erwartet(std::int64_t stelle, double von) {
  const double t = static_cast<double>(stelle) / RATE;
  return stelle < std::llround(von * RATE) ? 0.0F : klang(t);
}

bool stimmt(const std::vector<float>& samples, std::int64_t ab, double von,
            std::size_t hoechstens) {
  for (std::size_t i = 0; i < std::min(samples.size(), hoechstens); ++i) {
    if (std::abs(samples[i] - erwartet(ab + static_cast<std::int64_t>(i), von)) > GENAU)
      return false;
  }
  return true;
}

bool istGanz(const std::filesystem::path& wav) {
  const auto samples = liesWav(wav.string());
  return samples && std::filesystem::file_size(wav) == WAV_KOPF_BYTES + 2 * samples->size();
}

}  // namespace

float klang(double t) {
  return static_cast<float>(0.3 * std::sin(2 * M_PI * 211 * t));
}

std::vector<float> aufnahme(double von, std::size_t frames, double rate) {
  std::vector<float> samples(frames);
  for (std::size_t i = 0; i < frames; ++i)
    samples[i] = klang(von + static_cast<double>(i) / rate);
  return samples;
}

void stetig(Geraet& geraet, double von, double bis, double block) {
  const auto frames = static_cast<std::size_t>(std::llround(block * RATE));
  for (int b = 0; von + (b + 1) * block <= bis + 1e-9; ++b) {
    const double t = von + b * block;
    geraet.block(t, MONO16, aufnahme(t, frames));
  }
}

std::vector<std::string> zeilenAus(const std::string& pfad) {
  std::vector<std::string> alle;
  std::ifstream datei(pfad);
  for (std::string zeile; std::getline(datei, zeile);)
    alle.push_back(zeile);
  return alle;
}

AufnahmeBefund::AufnahmeBefund(const Lauf& lauf) {
  liesZeilen(lauf);
  pruefeRoh(lauf);
  pruefeOrdner(lauf);
}

void AufnahmeBefund::liesZeilen(const Lauf& lauf) {
  for (const std::string& zeile : lauf.ausgabe) {
    if (zeile.starts_with(R"({"chunk":)")) pruefeChunk(zeile, lauf);
    if (!zeile.starts_with("{") || !zeile.ends_with("}")) maengel.push_back("not a line: " + zeile);
  }
  fertig = !lauf.ausgabe.empty() && lauf.ausgabe.back() == R"({"event":"done"})";
  for (const std::string& zeile : lauf.fehler) {
    char kanal[8] = {};
    int nummer = 0;
    long long samples = 0;
    if (std::sscanf(zeile.c_str(), "[hallkorb] WAV-Schreibfehler (%7[a-z] #%d)", kanal, &nummer) ==
        2) {
      verloren[kanal].insert(nummer);
    } else if (std::sscanf(zeile.c_str(),
                           "[hallkorb] mikro_roh.wav: Schreiben geht wieder, %lld Samples",
                           &samples) == 1) {
      rohStummGemeldet += samples;
      rohGestoert = false;
      rohFehlt = false;
    } else if (zeile.starts_with("[hallkorb] mikro_roh.wav: Schreibfehler: ")) {
      rohGestoert = true;
    } else if (zeile.starts_with("[hallkorb] mikro_roh.wav: Schliessen von ")) {
      rohOffen = true;
    } else if (zeile.starts_with("[hallkorb] mikro_roh.wav kann nicht angelegt werden: ")) {
      rohFehlt = true;
    }
  }
}

// The lines give hundredths of a second; the tone says which sample it is.
void AufnahmeBefund::pruefeChunk(const std::string& zeile, const Lauf& lauf) {
  int nummer = 0;
  char kanal[8] = {};
  char pfad[400] = {};
  double t0 = 0;
  double t1 = 0;
  if (std::sscanf(zeile.c_str(),
                  R"({"chunk":%d,"channel":"%7[a-z]","path":"%399[^"]","t0":%lf,"t1":%lf)", &nummer,
                  kanal, pfad, &t0, &t1) != 5) {
    maengel.push_back("not a chunk line: " + zeile);
    return;
  }
  if (!angekuendigt[kanal].insert(nummer).second) maengel.push_back("announced twice: " + zeile);
  const auto samples = liesWav(pfad);
  if (!samples || std::abs(static_cast<double>(samples->size()) / RATE - (t1 - t0)) > 0.011) {
    maengel.push_back("not whole: " + zeile);
    return;
  }
  if (lauf.echo && std::string(kanal) == "me") return;
  const std::int64_t mitte = std::llround(t0 * RATE);
  for (std::int64_t ab = std::max<std::int64_t>(mitte - 80, 0); ab <= mitte + 80; ++ab) {
    if (stimmt(*samples, ab, lauf.von, 200) && stimmt(*samples, ab, lauf.von, samples->size()))
      return;
  }
  maengel.push_back("not what was heard then: " + zeile);
}

void AufnahmeBefund::pruefeRoh(const Lauf& lauf) {
  std::ifstream datei(lauf.ordner + "/mikro_roh.wav", std::ios::binary);
  if (!datei) return;
  const std::string bytes{std::istreambuf_iterator<char>(datei), {}};
  if (bytes.size() < WAV_KOPF_BYTES) return;  // the header is missing too: nothing is claimed
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
  rohErklaert = (byte(40) | byte(41) << 8U | byte(42) << 16U | std::int64_t{byte(43)} << 24U) / 2;
  rohLaenge = static_cast<std::int64_t>((bytes.size() - WAV_KOPF_BYTES) / 2);
  if (rohErklaert > rohLaenge) maengel.emplace_back("mikro_roh.wav declares more than it holds");
  std::int64_t stumme = 0;  // in a row
  for (std::int64_t i = 0; i <= rohLaenge; ++i) {
    const std::size_t stelle = WAV_KOPF_BYTES + 2 * static_cast<std::size_t>(i);
    const bool ende = i == rohLaenge;
    const auto wert = static_cast<std::int16_t>(ende ? 1 : byte(stelle) | byte(stelle + 1) << 8U);
    if (wert == 0) {
      ++stumme;
      continue;
    }
    // The tone itself passes through zero within one sample.
    if (stumme > 1) rohStumm += stumme;
    stumme = 0;
    const auto soll = static_cast<std::int16_t>(erwartet(i, lauf.von) * 32767.0F);
    if (ende || std::abs(wert - soll) <= 1) continue;
    maengel.push_back("mikro_roh.wav: not what was heard at sample " + std::to_string(i));
    return;
  }
}

void AufnahmeBefund::pruefeOrdner(const Lauf& lauf) {
  std::error_code keiner;
  for (const auto& eintrag : std::filesystem::directory_iterator(lauf.ordner, keiner)) {
    const std::string name = eintrag.path().filename().string();
    char kanal[8] = {};
    int nummer = 0;
    if (std::sscanf(name.c_str(), "chunk_%7[a-z]_%d.wav", kanal, &nummer) == 2) {
      if (angekuendigt[kanal].contains(nummer)) continue;
      ++unangekuendigt;
      if (!istGanz(eintrag.path())) maengel.push_back("not announced and not whole: " + name);
    } else if (name.ends_with(".teil")) {
      ++teile;
    } else if (name != "mikro_roh.wav" && name != "video.mp4") {
      maengel.push_back("does not belong here: " + name);
    }
  }
}

}  // namespace hallkorb::sim
