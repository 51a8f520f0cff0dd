#include "base/Ordnerwacht.h"

#include <fcntl.h>

#include <cerrno>
#include <cstddef>
#include <utility>

#include "base/Ausgabe.h"

namespace hallkorb {

const int Ordnerwacht::AUSGETAUSCHT = ESTALE;

void Ordnerwacht::beginne(const std::string& ordner, int griff) {
  ordner_ = ordner;
  while (ordner_.size() > 1 && ordner_.back() == '/')
    ordner_.pop_back();
  Zustand zustand;
  if (griff >= 0 && beharrlich([&] { return dateien_.zustandOffen(griff, zustand); }) == 0) {
    eigener_ = zustand;
  }
  verweise_ = verweise();
}

int Ordnerwacht::oeffnen(const std::string& pfad, int flags, mode_t rechte) {
  const bool schreibt = (flags & O_ACCMODE) != O_RDONLY;
  if (schreibt && !gehoertDazu(pfad)) return -AUSGETAUSCHT;
  return dateien_.oeffnen(pfad, flags, rechte);
}

int Ordnerwacht::loeschen(const std::string& pfad) {
  return gehoertDazu(pfad) ? dateien_.loeschen(pfad) : -AUSGETAUSCHT;
}

bool Ordnerwacht::gehoertDazu(const std::string& pfad) {
  if (ordner_.empty() || !pfad.starts_with(ordner_)) return true;
  const bool gut = unveraendert();
  if (!gemeldet_.exchange(!gut) && !gut) {
    log("[hallkorb] Ordner ausgetauscht: " + ordner_ +
        " fuehrt woandershin, dort wird nichts geschrieben");
  }
  return gut;
}

// True also if that cannot be found out: the call itself then reports what is wrong.
bool Ordnerwacht::unveraendert() {
  Zustand dort;
  if (beharrlich([&] { return dateien_.zustand(ordner_, dort); }) != 0) return true;
  if (eigener_ && dort.selbeDatei(*eigener_)) return true;
  return dort.eigen && verweise() == verweise_;
}

// The symbolic link at each folder of the path; an empty text if there is none.
std::vector<std::string> Ordnerwacht::verweise() {
  std::vector<std::string> alle;
  for (std::size_t bis = 0; bis != std::string::npos;) {
    bis = ordner_.find('/', bis + 1);
    std::string ziel;
    beharrlich([&] { return dateien_.verweis(ordner_.substr(0, bis), ziel); });
    alle.push_back(std::move(ziel));
  }
  return alle;
}

}  // namespace hallkorb
