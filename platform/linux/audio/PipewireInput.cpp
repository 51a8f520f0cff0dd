#include "platform/linux/audio/PipewireInput.h"

#include <poll.h>

#include <cerrno>
#include <optional>
#include <utility>

#include "base/Faden.h"
#include "platform/linux/audio/PipewireAufsicht.h"
#include "platform/linux/audio/SwrKonverter.h"
#include "platform/linux/audio/Vorrang.h"

namespace hallkorb {
namespace {

Fehler abgebrochen() {
  return {"pipewire", ECANCELED, "der Start wurde abgebrochen"};
}

}  // namespace

PipewireInput::PipewireInput(PipewireQuelle quelle) : quelle_(quelle) {}

PipewireInput::~PipewireInput() {
  static_cast<void>(PipewireInput::stop());
}

Ergebnis PipewireInput::start(AudioInputListener& listener) {
  if (wecker_.nummer() != 0) {
    return Fehler::ausErrno(wecker_.nummer(), "PipeWire konnte nicht vorbereitet werden");
  }
  std::promise<Ergebnis> versprechen;
  std::future<Ergebnis> antwort = versprechen.get_future();
  {
    const std::lock_guard halter(fadenLock_);
    if (stopp_ || faden_.joinable()) return abgebrochen();
    if (Ergebnis ergebnis = SwrKonverter::moeglich(); ergebnis.gescheitert())
      return ergebnis;  // nothing could be converted
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): the promise moves into the thread
    auto faden = neuerFaden(
        quelle_ == PipewireQuelle::MIKROFON ? "mikrofon" : "system-audio",
        [this, &listener, v = std::move(versprechen)]() mutable { laufe(listener, std::move(v)); });
    if (!faden) return keinFaden();
    faden_ = std::move(*faden);
  }
  Ergebnis ergebnis = antwort.get();
  if (ergebnis.gescheitert()) static_cast<void>(stop());
  return ergebnis;
}

// Nothing is asked of the server, so no error can come from it.
Ergebnis PipewireInput::stop() {
  stopp_ = true;
  wecker_.wecke();
  const std::lock_guard halter(fadenLock_);
  if (faden_.joinable()) faden_.join();
  return {};
}

void PipewireInput::laufe(AudioInputListener& listener, std::promise<Ergebnis> ergebnis) {
  // Before there are threads below this one, which inherit it.
  hebeVorrang(0);
  bool gestartet = false;
  PipewireAufsicht aufsicht(quelle_, listener, wecker_);
  while (!stopp_) {
    aufsicht.schritt();
    if (!gestartet && aufsicht.begonnen()) {
      gestartet = true;
      ergebnis.set_value({});
    }
    if (!gestartet) {
      if (auto fehler = aufsicht.startFehler()) {
        ergebnis.set_value(*std::move(fehler));
        return;
      }
    }
    pollfd warten{wecker_.fd(), POLLIN, 0};
    ::poll(&warten, 1, static_cast<int>(PipewireAufsicht::TAKT.count()));
    wecker_.leere();
  }
  aufsicht.ende();
  if (!gestartet) ergebnis.set_value(abgebrochen());
}

}  // namespace hallkorb
