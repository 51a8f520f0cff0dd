// A recorded folder whose lines and files are any bytes: the page about it is made, its data is
// JSON, and there is no tag in it that is not the page's own.
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

#include "session/Bericht.h"
#include "session/Ereignisse.h"
#include "session/Sitzungsordner.h"

namespace hallkorb {
namespace {

void fordere(bool wahr) {
  if (!wahr) std::abort();
}

std::string neuerOrdner() {
  std::string pfad = (std::filesystem::temp_directory_path() / "hallkorb-fuzz-XXXXXX").string();
  fordere(::mkdtemp(pfad.data()) != nullptr);
  return pfad;
}

std::ptrdiff_t tags(const std::string& seite) {
  return std::count(seite.begin(), seite.end(), '<');
}

// The first byte says how many of the others are lines (in 256ths); the rest is one file.
void laufe(std::span<const std::uint8_t> daten) {
  if (daten.size() < 2) return;
  const std::size_t zeilen = 2 + (daten.size() - 2) * daten[0] / 255;
  const char* name = daten[1] % 4 == 0   ? ROHDATEI
                     : daten[1] % 4 == 1 ? VIDEODATEI
                     : daten[1] % 4 == 2 ? "chunk_me_000.wav"
                                         : "chunk_them_000.wav";
  const std::string pfad = neuerOrdner();
  const auto schreibe = [&](const std::string& datei, std::span<const std::uint8_t> bytes) {
    std::ofstream(pfad + "/" + datei, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  };
  schreibe(EREIGNISSE, daten.subspan(2, zeilen - 2));
  if (zeilen < daten.size()) schreibe(name, daten.subspan(zeilen));

  const auto ordner = liesSitzungsordner(pfad);
  const auto ereignisse = liesEreignisse(ordner->zu(EREIGNISSE));
  const Seitendaten ergebnis = sammleSeitendaten(*ordner, ereignisse ? &*ereignisse : nullptr);
  const auto satz = nlohmann::json::parse(ergebnis.json, nullptr, false);
  fordere(satz.is_object() && ergebnis.dauer >= 0.0 && ergebnis.dauer <= 2 * MAX_SEKUNDEN);
  std::ptrdiff_t stufen = 0;
  for (const Pegel* pegel : {&ergebnis.me, &ergebnis.them, &ergebnis.roh}) {
    for (const auto& stufe : pegel->stufen) {
      fordere(stufe.size() % 2 == 0 &&
              static_cast<std::int64_t>(stufe.size()) <= 2 * Pegelbau::MAX_PAARE);
      ++stufen;
    }
  }

  static const std::ptrdiff_t EIGENE = tags(baueSeite(Seitendaten{}));
  const std::string seite = baueSeite(ergebnis);
  fordere(tags(seite) == EIGENE + 2 * stufen);
  const std::size_t anfang = seite.find("id=\"daten\">");
  const std::string_view rest = std::string_view(seite).substr(anfang + 11);
  const std::string_view innen = rest.substr(0, rest.find('<'));
  fordere(rest.substr(innen.size()).starts_with("</script>"));
  fordere(nlohmann::json::parse(innen, nullptr, false) == satz);
  std::filesystem::remove_all(pfad);
}

}  // namespace
}  // namespace hallkorb

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* daten, std::size_t laenge);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* daten, std::size_t laenge) {
  hallkorb::laufe({daten, laenge});
  return 0;
}
