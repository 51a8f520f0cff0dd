// A recorded folder whose raw file and video are any bytes, with links at the names that a repair
// or a result might have: looking at them, putting them together, also if the folder allows no
// change, and repairing them neither crashes nor changes a file whose original is not kept or that
// lies elsewhere; what the check promises of a repair is done by the first one, and a second one
// has nothing new to do.
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "session/Pruefung.h"
#include "session/Reparatur.h"
#include "session/Sitzungsordner.h"
#include "session/Zeitplan.h"
#include "session/Zusammenfuegung.h"
#include "tests/support/FehlerDateien.h"

namespace hallkorb {
namespace {

std::string neuerOrdner() {
  std::string pfad = (std::filesystem::temp_directory_path() / "hallkorb-fuzz-XXXXXX").string();
  if (::mkdtemp(pfad.data()) == nullptr) std::abort();
  // What takes a look at the video in earnest is not there.
  ::setenv("PATH", pfad.c_str(), 1);
  return pfad;
}

constexpr char FREMD[] = "nobody writes here";
constexpr const char* VERWEISE[] = {"chunk_me_000.wav",     "chunk_me_001.wav", "originale",
                                    ".hallkorb-video.teil", "zusammen.wav",     "zusammen.txt",
                                    "zusammen_me.wav"};

// Each bit of `welche` plants a link to a file beside the folder.
void verweise(const std::string& ordner, unsigned welche) {
  std::ofstream(ordner + "-fremd") << FREMD;
  for (const char* name : VERWEISE) {
    if ((welche & 1U) != 0 && !std::filesystem::exists(ordner + "/" + name))
      std::filesystem::create_symlink(ordner + "-fremd", ordner + "/" + name);
    welche >>= 1U;
  }
}

void pruefeFremdes(const std::string& ordner) {
  std::string inhalt;
  std::getline(std::ifstream(ordner + "-fremd"), inhalt);
  if (inhalt != FREMD) std::abort();
  std::filesystem::remove(ordner + "-fremd");
}

// What stays as it is for want of the program that repairs a video, or of a folder for originals.
bool versprichtMehr(const std::string& ordner) {
  const auto gelesen = liesSitzungsordner(ordner);
  const auto zeilen = liesEreignisse(gelesen->zu(EREIGNISSE));
  for (const Befund& befund : pruefeSitzung(*gelesen, &*zeilen))
    if (befund.reparierbar && befund.datei != VIDEODATEI) return true;
  return false;
}

// In one file, and in one for each channel: as long as the chunks, which have no lines yet.
void fuege(const std::string& ordner, Dateien& dateien) {
  const std::int64_t frames = planeZeit(*liesSitzungsordner(ordner), nullptr).bis();
  for (const bool einzeln : {false, true}) {
    const auto ergebnis = fuegeZusammen(ordner, {{}, einzeln, false}, nullptr, dateien);
    const auto* alle = std::get_if<std::vector<Ergebnisdatei>>(&ergebnis);
    if ((alle != nullptr) != (frames > 0)) std::abort();
    if (alle == nullptr) continue;
    for (const Ergebnisdatei& eine : *alle) {
      if (!eine.gelungen || !eine.datei.ends_with(".wav")) continue;
      const std::string pfad = ordner + "/" + eine.datei;
      if (std::filesystem::is_symlink(pfad) ||
          std::filesystem::file_size(pfad) !=
              44U + static_cast<std::uintmax_t>(frames) * (einzeln ? 2U : 4U)) {
        std::abort();
      }
    }
  }
}

void fuegeTrotzVerweisen(const std::string& ordner) {
  FehlerDateien gesperrt;
  for (const auto ruf : {FehlerDateien::Ruf::loeschen, FehlerDateien::Ruf::umbenennen})
    gesperrt.scheitere(ruf, 0, EACCES, FehlerDateien::IMMER);
  fuege(ordner, gesperrt);
  fuege(ordner, posixDateien());
}

std::size_t gelungene(const std::string& ordner) {
  const auto ergebnis = repariereSitzung(ordner);
  if (!std::holds_alternative<std::vector<Tat>>(ergebnis)) std::abort();
  std::size_t summe = 0;
  for (const Tat& tat : std::get<std::vector<Tat>>(ergebnis))
    summe += tat.gelungen;
  return summe;
}

void laufe(std::span<const std::uint8_t> daten) {
  if (daten.empty()) return;
  const std::string ordner = neuerOrdner();
  const char* name = daten[0] % 3 == 0   ? ROHDATEI
                     : daten[0] % 3 == 1 ? VIDEODATEI
                                         : "chunk_me_000.wav";
  {
    std::ofstream datei(ordner + "/" + name, std::ios::binary);
    datei.write(reinterpret_cast<const char*>(daten.data() + 1),
                static_cast<std::streamsize>(daten.size() - 1));
    verweise(ordner, daten[0] / 3U);
  }
  fuegeTrotzVerweisen(ordner);
  std::ofstream(ordner + "/" + EREIGNISSE) << "{\"event\":\"started\"}\n";
  const auto gelesen = liesSitzungsordner(ordner);
  const auto zeilen = liesEreignisse(gelesen->zu(EREIGNISSE));
  // A recording that was not ended is never in order, and nothing is longer than its file.
  if (!istAuffaellig(pruefeSitzung(*gelesen, &*zeilen))) std::abort();
  if (planeZeit(*gelesen, nullptr).bis() * 2 > static_cast<std::int64_t>(daten.size()))
    std::abort();
  gelungene(ordner);
  if (gelungene(ordner) != 0) std::abort();
  if (!std::filesystem::is_symlink(ordner + "/originale") && versprichtMehr(ordner)) std::abort();
  std::filesystem::remove_all(ordner);
  pruefeFremdes(ordner);
}

}  // namespace
}  // namespace hallkorb

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* daten, std::size_t laenge);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* daten, std::size_t laenge) {
  hallkorb::laufe({daten, laenge});
  return 0;
}
