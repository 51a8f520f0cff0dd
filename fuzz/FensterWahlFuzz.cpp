// Arbitrary bytes as a window list: they are read or refused, and what is read can be ranked,
// printed, written and read again.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/Bytestrom.h"
#include "meeting/FensterInfo.h"
#include "meeting/Rangfolge.h"

namespace hallkorb {
namespace {

void laufe(std::string_view json) {
  const auto eingabe = liesEingabe(json);
  if (!eingabe) return;
  pruefe(liesEingabe(eingabeJSON(*eingabe)) == eingabe);
  const MeetingKandidaten kandidaten = meetingKandidaten(eingabe->fenster);
  pruefe(kandidaten.liste.size() <= eingabe->fenster.size());
  pruefe(std::is_sorted(kandidaten.liste.begin(), kandidaten.liste.end(),
                        [](const Wahl& a, const Wahl& b) { return a.rang < b.rang; }));
  const Wahl wahl = besteWahl(kandidaten);
  pruefe(wahl.istFenster() == !kandidaten.liste.empty());
  pruefe(wahlJSON(wahl).size() >= 50);
}

}  // namespace
}  // namespace hallkorb

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* daten, std::size_t laenge);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* daten, std::size_t laenge) {
  hallkorb::laufe({reinterpret_cast<const char*>(daten), laenge});
  return 0;
}
