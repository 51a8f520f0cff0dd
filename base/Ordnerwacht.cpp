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
  erster_.reset();
  gesperrt_ = griff >= 0;
  Zustand dort;
  if ((gesperrt_ && beharrlich([&] { return dateien_.zustandOffen(griff, dort); }) == 0) ||
      beharrlich([&] { return dateien_.zustand(ordner_, dort); }) == 0) {
    erster_ = dort;
  }
  verweise_ = verweise();
}

Ordnerwacht::~Ordnerwacht() {
  for (const auto& ordner : {spaeterer_, vergebener_}) {
    if (ordner) hallkorb::schliesse(ordner->griff, dateien_);
  }
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
  const std::lock_guard halter(lock_);
  const OrdnerBefund befund = pruefe();
  if (befund != gemeldet_ && befund != OrdnerBefund::gut) {
    log("[hallkorb] Ordner ausgetauscht: " + ordner_ +
        (befund == OrdnerBefund::fremd ? " fuehrt woandershin"
                                       : " gehoert einer anderen Aufnahme") +
        ", dort wird nichts geschrieben");
  }
  gemeldet_ = befund;
  return befund == OrdnerBefund::gut;
}

// Good also if that cannot be found out: the call itself then reports what is wrong.
Ordnerwacht::OrdnerBefund Ordnerwacht::pruefe() {
  Zustand dort;
  if (beharrlich([&] { return dateien_.zustand(ordner_, dort); }) != 0) return OrdnerBefund::gut;
  const bool erster = erster_ && dort.selbeDatei(*erster_);
  if (erster && gesperrt_) return OrdnerBefund::gut;
  if (!erster && (!dort.eigen || verweise() != verweise_)) return OrdnerBefund::fremd;
  // It may be the first, which the caller has locked.
  if (gesperrt_ && !erster_) return OrdnerBefund::gut;
  if (spaeterer_ && dort.selbeDatei(spaeterer_->zustand)) return OrdnerBefund::gut;
  if (vergebener_ && dort.selbeDatei(vergebener_->zustand)) return OrdnerBefund::vergeben;
  return sperre(dort);
}

// The folder that is there now. It stays open as long as it counts, so that no other one can get
// its number.
Ordnerwacht::OrdnerBefund Ordnerwacht::sperre(const Zustand& dort) {
  const int griff =
      beharrlich([&] { return dateien_.oeffnen(ordner_, O_RDONLY | O_DIRECTORY, 0); });
  if (griff < 0) return OrdnerBefund::gut;
  Zustand offen;
  const bool bekannt = beharrlich([&] { return dateien_.zustandOffen(griff, offen); }) == 0;
  if (bekannt && !offen.selbeDatei(dort)) {
    hallkorb::schliesse(griff, dateien_);
    return OrdnerBefund::fremd;  // exchanged a moment ago: the next call finds out more
  }
  const bool vergeben = beharrlich([&] { return dateien_.sperren(griff); }) == -EWOULDBLOCK;
  auto& platz = vergeben ? vergebener_ : spaeterer_;
  if (platz) hallkorb::schliesse(platz->griff, dateien_);
  platz = Ordner{dort, griff};
  return vergeben ? OrdnerBefund::vergeben : OrdnerBefund::gut;
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
