#include "platform/linux/screen/X11Fensterstrom.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <utility>

#include "base/Faden.h"
#include "base/Speichermangel.h"
#include "platform/linux/screen/X11Aufnahme.h"

namespace hallkorb {
namespace {

Fehler abgebrochen() {
  return {"x11", ECANCELED, "die Aufnahme wurde beendet"};
}

// Waits for the server, for `wecker`, or until `bis`.
void warte(xcb_connection_t* verbindung, const Wecker& wecker,
           std::optional<X11Aufnahme::Uhr::time_point> bis) {
  pollfd quellen[] = {{xcb_get_file_descriptor(verbindung), POLLIN, 0}, {wecker.fd(), POLLIN, 0}};
  timespec rest{};
  if (bis) {
    const auto ns = std::max(std::chrono::nanoseconds(0),
                             std::chrono::nanoseconds(*bis - X11Aufnahme::Uhr::now()));
    const auto s = std::chrono::floor<std::chrono::seconds>(ns);
    rest.tv_sec = static_cast<std::time_t>(s.count());
    rest.tv_nsec = static_cast<long>((ns - s).count());
  }
  ::ppoll(quellen, 2, bis ? &rest : nullptr, nullptr);
  wecker.leere();
}

}  // namespace

X11Fensterstrom::X11Fensterstrom(const std::string& display,
                                 const StreamKonfiguration& konfiguration, bool mitSegment,
                                 const Frist& frist, const AnstrichFristen& fristen)
    : konfiguration_(konfiguration),
      mitSegment_(mitSegment),
      frist_(frist),
      fristen_(fristen),
      verbindung_(display, frist.ganz) {}

X11Fensterstrom::~X11Fensterstrom() {
  X11Fensterstrom::stop();
}

Ergebnis X11Fensterstrom::start(std::uint32_t id, WindowStreamListener& listener) {
  if (wecker_.nummer() != 0) return Fehler::ausErrno(wecker_.nummer(), "Fensteraufnahme");
  Ergebnis ergebnis;
  {
    std::unique_lock halter(lock_);
    if (stopp_) return abgebrochen();
    auftrag_ = {id, Uhr::now() + frist_.ungemalt};
    {
      const std::lock_guard fadenHalter(fadenLock_);
      auto faden = neuerFaden("fenster", [this, &listener] { laufe(listener); });
      if (!faden) return keinFaden();
      faden_ = std::move(*faden);
    }
    ergebnis = warteAufAntwort(halter);
  }
  if (ergebnis.gescheitert()) stop();
  return ergebnis;
}

Ergebnis X11Fensterstrom::wechsle(std::uint32_t id) {
  std::unique_lock halter(lock_);
  if (stopp_ || zuEnde_) return abgebrochen();
  auftrag_ = {id, Uhr::now() + frist_.ungemalt};
  antwort_.reset();
  wecker_.wecke();
  return warteAufAntwort(halter);
}

void X11Fensterstrom::stop() {
  {
    const std::lock_guard halter(lock_);
    stopp_ = true;
  }
  geantwortet_.notify_all();
  verbindung_.brichAb();
  wecker_.wecke();
  const std::lock_guard halter(fadenLock_);
  if (faden_.joinable()) faden_.join();
}

Ergebnis X11Fensterstrom::warteAufAntwort(std::unique_lock<std::mutex>& halter) {
  const bool da = geantwortet_.wait_for(
      halter, frist_.ganz, [this] { return antwort_.has_value() || stopp_ || zuEnde_; });
  auftrag_.reset();
  if (antwort_) return *std::exchange(antwort_, std::nullopt);
  if (da) return abgebrochen();
  verbindung_.brichAb();
  return Fehler{"x11", ETIMEDOUT, "der X-Server antwortet nicht"};
}

void X11Fensterstrom::laufe(WindowStreamListener& listener) {
  std::optional<std::uint32_t> gezeigt;
  const Ergebnis ende = fangeMangel([&] { return nimmAuf(listener, gezeigt); });
  // Without memory for the answer, those who wait see that the thread has ended.
  if (ende.gescheitert()) static_cast<void>(fangeMangel([&] { antworte(ende); }));
  bool melden = false;
  {
    const std::lock_guard halter(lock_);
    zuEnde_ = true;
    melden = ende.gescheitert() && gezeigt && !stopp_;
  }
  geantwortet_.notify_all();
  if (melden) listener.gestoppt(ende.fehler());
}

Ergebnis X11Fensterstrom::nimmAuf(WindowStreamListener& listener,
                                  std::optional<std::uint32_t>& gezeigt) {
  X11Aufnahme aufnahme(verbindung_, konfiguration_, mitSegment_, fristen_);
  Ergebnis bereit = verbindung_.oeffne();
  if (bereit.gelungen()) bereit = aufnahme.beginne();
  if (bereit.gescheitert()) return bereit;
  std::optional<Auftrag> offen;  // its window was chosen and cannot be read yet
  while (!gestoppt()) {
    if (const auto neu = auftrag(); neu && !offen) {
      Ergebnis ergebnis = aufnahme.waehle(neu->fenster);
      if (ergebnis.gelungen()) {
        offen = neu;
      } else if (gezeigt) {
        antworte(ergebnis);
      } else {
        return ergebnis;
      }
    }
    if (offen && (aufnahme.lesbar() || Uhr::now() >= offen->ungemaltAb)) {
      const auto weg = aufnahme.verschwunden();
      if (weg && !gezeigt) return *weg;
      if (weg) {
        static_cast<void>(aufnahme.waehle(*gezeigt));
        antworte(*weg);
      } else {
        if (!antworte({}) && !gezeigt) return {};
        gezeigt = offen->fenster;
      }
      offen.reset();
    }
    if (!offen) {
      if (aufnahme.titelGeaendert()) listener.titelGeaendert();
      if (const auto bild = aufnahme.schritt()) {
        if (!listener.bild(*bild)) aufnahme.bieteAn();
        continue;  // libxcb may hold events that came with the picture
      }
    }
    if (auto verloren = verbindung_.verloren()) return *std::move(verloren);
    auto bis = aufnahme.naechster();
    if (offen) bis = std::min(bis.value_or(offen->ungemaltAb), offen->ungemaltAb);
    warte(verbindung_.get(), wecker_, bis);
  }
  return {};
}

std::optional<X11Fensterstrom::Auftrag> X11Fensterstrom::auftrag() {
  const std::lock_guard halter(lock_);
  return auftrag_;
}

bool X11Fensterstrom::antworte(const Ergebnis& ergebnis) {
  {
    const std::lock_guard halter(lock_);
    if (!auftrag_) return false;
    antwort_ = ergebnis;
    auftrag_.reset();
  }
  geantwortet_.notify_all();
  return true;
}

bool X11Fensterstrom::gestoppt() {
  const std::lock_guard halter(lock_);
  return stopp_;
}

}  // namespace hallkorb
