// Kept lines from anywhere: whatever they are, what is read of them is within its bounds and stays
// harmless in every format that it is written to.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "base/Text.h"
#include "session/Ereignisse.h"
#include "session/Marken.h"
#include "session/Pruefung.h"
#include "session/Sitzungsordner.h"

namespace hallkorb {
namespace {

void fordere(bool wahr) {
  if (!wahr) std::abort();
}

void pruefeChunks(const Ereignisse& alle, Zeitplan& plan) {
  for (const Kanal kanal : {Kanal::me, Kanal::them}) {
    double bisher = 0.0;
    for (const ChunkZeile& zeile : alle.chunksVon(kanal)) {
      fordere(zeile.t0 >= bisher && zeile.t1 >= zeile.t0 && zeile.t1 <= MAX_SEKUNDEN);
      fordere(zeile.nummer >= 0 && zeile.nummer <= MAX_NUMMER);
      bisher = zeile.t0;
      Stueck stueck;
      stueck.datei = chunkName(kanal, zeile.nummer);
      stueck.ab = static_cast<std::int64_t>(zeile.t0 * 16000.0);
      stueck.laenge = static_cast<std::int64_t>((zeile.t1 - zeile.t0) * 16000.0);
      (kanal == Kanal::me ? plan.me : plan.them).stuecke.push_back(stueck);
    }
  }
}

std::size_t anzahl(std::string_view text, char zeichen) {
  std::size_t summe = 0;
  for (const char eines : text)
    summe += eines == zeichen;
  return summe;
}

void laufe(std::string_view rest) {
  Ereignisse alle;
  for (std::size_t nummer = 1; !rest.empty(); ++nummer) {
    const std::size_t ende = rest.find('\n');
    alle.nimm(rest.substr(0, ende), nummer);
    rest.remove_prefix(ende == std::string_view::npos ? rest.size() : ende + 1);
  }
  Zeitplan plan;
  plan.rate = 16000;
  pruefeChunks(alle, plan);

  // A label is one line of three fields; a title makes neither a line nor a field nor a tag.
  const std::string marken = audacityMarken(plan, &alle);
  fordere(istUtf8(marken) && anzahl(marken, '\t') == 2 * anzahl(marken, '\n'));
  fordere(istUtf8(kapitel(plan, &alle)));
  fordere(anzahl(webVtt(plan), '<') == 2 * (plan.me.stuecke.size() + plan.them.stuecke.size()));

  Sitzungsordner ordner;
  ordner.pfad = "/nonexistent";
  for (const Befund& befund : pruefeSitzung(ordner, &alle))
    for (const std::string& text : {befund.datei, befund.text})
      for (const char zeichen : text)
        fordere(static_cast<unsigned char>(zeichen) >= 0x20);
}

}  // namespace
}  // namespace hallkorb

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* daten, std::size_t laenge);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* daten, std::size_t laenge) {
  hallkorb::laufe({reinterpret_cast<const char*>(daten), laenge});
  return 0;
}
