#include "platform/macos/audio/MacInput.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <mutex>
#include <utility>

#include "base/Faden.h"
#include "platform/clock/Hosttakt.h"
#include "platform/clock/Stempelpruefung.h"
#include "platform/HostClock.h"
#include "platform/macos/Fehlertexte.h"

namespace hallkorb {

// The receiver of one opening of the device. Dropped when the device is closed, so that late blocks
// of an earlier opening are not taken for the new one's.
class MacInput::Oeffnung final : public BlockEmpfaenger {
 public:
  explicit Oeffnung(std::weak_ptr<Aufsicht> aufsicht) : aufsicht_(std::move(aufsicht)) {}

  void block(const PcmBlock& block) override;
  void ausgefallen(const Fehler& grund) override;

 private:
  std::weak_ptr<Aufsicht> aufsicht_;
};

// All that the input's thread needs. The thread owns it too and may outlive the input, in a call
// into the system that never returns.
class MacInput::Aufsicht final : public std::enable_shared_from_this<Aufsicht> {
 public:
  Aufsicht(std::string name, std::unique_ptr<AudioGeraet> geraet, const Zeiten& zeiten,
           std::shared_ptr<Wartestelle> stelle)
      : name_(std::move(name)),
        zeiten_(zeiten),
        stelle_(std::move(stelle)),
        geraet_(std::move(geraet)) {}

  Ergebnis start(AudioInputListener& listener);
  Ergebnis stop();
  void nimm(const Oeffnung& von, const PcmBlock& block);
  void merkeAusfall(const Oeffnung& von, const Fehler& grund);

 private:
  using Uhr = Wartestelle::Uhr;

  void laufe();
  void beaufsichtige();
  [[nodiscard]] std::optional<Fehler> warteAufAusfall();
  [[nodiscard]] std::optional<Fehler> warteBis(Uhr::time_point frist);
  void merkeDauer(bool still);
  void melde(const Fehler& grund);
  [[nodiscard]] bool oeffneWieder();
  [[nodiscard]] Ergebnis oeffne();
  Ergebnis schliesse();
  void warteAufStopp();
  [[nodiscard]] std::optional<std::chrono::milliseconds> strompause();
  void leereTakt();

  const std::string name_;
  const Zeiten zeiten_;
  const std::shared_ptr<Wartestelle> stelle_;

  // The thread's own.
  std::unique_ptr<AudioGeraet> geraet_;
  Uhr::time_point letzterVersuch_{};
  bool still_ = false;                  // the last loss was silence
  std::chrono::milliseconds pause_{0};  // from the last opening to the one after its loss

  // Under the lock of `stelle_`.
  bool benutzt_ = false;
  bool fadenLaeuft_ = false;
  std::optional<Ergebnis> startErgebnis_;
  Ergebnis stoppErgebnis_;
  std::optional<Fehler> ausfall_;
  bool stromBeginnt_ = false;

  std::atomic<std::uint64_t> bloecke_{0};

  std::mutex lock_;  // one call on the listener at a time; null: no more calls
  AudioInputListener* listener_ = nullptr;
  std::shared_ptr<Oeffnung> oeffnung_;
  bool unterbrochen_ = false;
  Hosttakt takt_{[this](const PcmBlock& block) {
    if (listener_ != nullptr) listener_->block(block);
  }};
};

void MacInput::Oeffnung::block(const PcmBlock& block) {
  if (const auto aufsicht = aufsicht_.lock()) aufsicht->nimm(*this, block);
}

void MacInput::Oeffnung::ausgefallen(const Fehler& grund) {
  if (const auto aufsicht = aufsicht_.lock()) aufsicht->merkeAusfall(*this, grund);
}

Ergebnis MacInput::Aufsicht::start(AudioInputListener& listener) {
  const auto frist = Uhr::now() + zeiten_.start;
  bool darf = false;
  {
    const std::lock_guard halter(lock_);
    listener_ = &listener;
  }
  stelle_->aendere([&] {
    darf = !std::exchange(benutzt_, true);
    fadenLaeuft_ = fadenLaeuft_ || darf;
  });
  if (darf) {
    auto faden = neuerFaden(name_, [selbst = shared_from_this()] { selbst->laufe(); });
    if (!faden) {
      stelle_->aendere([this] {
        fadenLaeuft_ = false;
        startErgebnis_ = keinFaden();
      });
    } else {
      faden->detach();
    }
    stelle_->warte(frist, [this] { return startErgebnis_.has_value(); });
  }

  std::optional<Ergebnis> ergebnis;
  stelle_->aendere([&] { ergebnis = startErgebnis_; });
  if (stelle_->abgebrochen() || !ergebnis) ergebnis = ohneAntwort(*stelle_, "das Audiogeraet");
  if (ergebnis->gescheitert()) {
    stelle_->brichAb();
    const std::lock_guard halter(lock_);
    listener_ = nullptr;
  }
  return *ergebnis;
}

Ergebnis MacInput::Aufsicht::stop() {
  stelle_->aendere([this] { benutzt_ = true; });
  stelle_->brichAb();
  // Closing hands over what was captured so far, so the listener is shut off only then.
  Ergebnis ergebnis;
  const bool zu = stelle_->warte(
      Uhr::now() + zeiten_.abbau,
      [&] {
        if (!fadenLaeuft_) ergebnis = stoppErgebnis_;
        return !fadenLaeuft_;
      },
      Abbrechbar::nein);
  const std::lock_guard halter(lock_);
  takt_.leere();
  listener_ = nullptr;
  if (!zu) return Fehler{"posix", ETIMEDOUT, "das Audiogeraet antwortet nicht"};
  return ergebnis;
}

void MacInput::Aufsicht::laufe() {
  const Ergebnis ergebnis = oeffne();
  stelle_->aendere([&] { startErgebnis_ = ergebnis; });
  if (ergebnis.gelungen()) beaufsichtige();
  Ergebnis ende = schliesse();
  // On this thread: an engine that is released by one of its own callbacks waits for itself.
  geraet_.reset();
  stelle_->aendere([&] {
    fadenLaeuft_ = false;
    stoppErgebnis_ = std::move(ende);
  });
}

void MacInput::Aufsicht::beaufsichtige() {
  while (const std::optional<Fehler> grund = warteAufAusfall()) {
    merkeDauer(still_);
    static_cast<void>(schliesse());
    melde(*grund);
    if (istEntscheidungDesNutzers(*grund)) return warteAufStopp();
    if (!oeffneWieder()) return;
  }
}

// Why the device is gone; nullopt at the stop.
std::optional<Fehler> MacInput::Aufsicht::warteAufAusfall() {
  constexpr std::chrono::hours ruhe{1};  // a wait without a limit, in portions
  while (!stelle_->abgebrochen()) {
    const std::uint64_t vorher = bloecke_;
    const auto frist = Uhr::now() + (zeiten_.stille ? *zeiten_.stille : ruhe);
    std::optional<Fehler> grund = warteBis(frist);
    if (grund && !geraet_->laeuft()) {
      still_ = false;
      return grund;
    }
    if (!grund && zeiten_.stille && bloecke_ == vorher && !stelle_->abgebrochen()) {
      still_ = true;
      return Fehler{"posix", ETIMEDOUT, "das Geraet liefert nichts mehr"};
    }
  }
  return std::nullopt;
}

// Waits until the device reports its end, or `frist`. Meanwhile, if the stream pauses, hands on
// what is held back; a stream that has only just begun does not count as pausing.
std::optional<Fehler> MacInput::Aufsicht::warteBis(Uhr::time_point frist) {
  std::optional<Fehler> grund;
  for (bool weiter = true; weiter;) {
    const auto dauer = strompause();
    const std::uint64_t bisher = bloecke_;
    bool beginnt = false;
    stelle_->warte(dauer ? std::min(frist, Uhr::now() + *dauer) : frist, [&] {
      if (!grund) grund = std::exchange(ausfall_, std::nullopt);
      beginnt = std::exchange(stromBeginnt_, false) || beginnt;
      return grund.has_value() || beginnt;
    });
    weiter = dauer && !grund && !stelle_->abgebrochen() && Uhr::now() < frist;
    if (weiter && !beginnt && bloecke_ == bisher) leereTakt();
  }
  return grund;
}

// How long the device lasted decides how soon it is opened again. One that only fell silent was not
// lost by being opened.
void MacInput::Aufsicht::merkeDauer(bool still) {
  const bool frueh = !still && Uhr::now() - letzterVersuch_ < zeiten_.frueh;
  pause_ = frueh && pause_.count() > 0 ? std::min(pause_ * 2, zeiten_.laengsterAbstand)
                                       : zeiten_.abstand;
}

void MacInput::Aufsicht::melde(const Fehler& grund) {
  const std::lock_guard halter(lock_);
  if (listener_ == nullptr || std::exchange(unterbrochen_, true)) return;
  listener_->unterbrochen(grund);
}

// Waits until the device is open again; false at the stop, or if only the user can bring it back.
bool MacInput::Aufsicht::oeffneWieder() {
  for (auto pause = pause_;; pause = zeiten_.abstand) {
    stelle_->warte(letzterVersuch_ + pause, [] { return false; });
    if (stelle_->abgebrochen()) return false;
    const Ergebnis ergebnis = oeffne();
    if (ergebnis.gelungen()) return true;
    static_cast<void>(schliesse());
    if (istEntscheidungDesNutzers(ergebnis.fehler())) {
      warteAufStopp();
      return false;
    }
  }
}

Ergebnis MacInput::Aufsicht::oeffne() {
  letzterVersuch_ = Uhr::now();
  auto oeffnung = std::make_shared<Oeffnung>(weak_from_this());
  {
    const std::lock_guard halter(lock_);
    oeffnung_ = oeffnung;
  }
  return geraet_->oeffne(oeffnung, stelle_, letzterVersuch_ + zeiten_.oeffnen);
}

Ergebnis MacInput::Aufsicht::schliesse() {
  Ergebnis ergebnis = geraet_->schliesse();
  {
    const std::lock_guard halter(lock_);
    oeffnung_.reset();
    takt_.leere();  // another opening is another device, with a clock of its own
  }
  // The last block may have begun a stream, which is over: for the next opening it is no beginning.
  stelle_->aendere([this] {
    ausfall_.reset();
    stromBeginnt_ = false;
  });
  return ergebnis;
}

void MacInput::Aufsicht::warteAufStopp() {
  while (!stelle_->abgebrochen()) {
    stelle_->warte(Uhr::now() + std::chrono::hours(1), [] { return false; });
  }
}

void MacInput::Aufsicht::nimm(const Oeffnung& von, const PcmBlock& block) {
  const std::lock_guard halter(lock_);
  if (listener_ == nullptr || oeffnung_.get() != &von) return;
  ++bloecke_;
  // The source is back when it delivers, not when the system has reported success.
  if (std::exchange(unterbrochen_, false)) listener_->fortgesetzt();
  const bool neu = takt_.leer();
  PcmBlock glaubhaft = block;
  if (block.hostTime) glaubhaft.hostTime = glaubhafterStempel(block.hostTime, hostSekunden());
  takt_.nimm(glaubhaft);
  if (neu && !takt_.leer()) stelle_->aendere([this] { stromBeginnt_ = true; });
}

// How long no block has to come for the stream to pause; nullopt if nothing is held back.
std::optional<std::chrono::milliseconds> MacInput::Aufsicht::strompause() {
  const std::lock_guard halter(lock_);
  return takt_.leer() ? std::nullopt : std::optional(takt_.pause());
}

void MacInput::Aufsicht::leereTakt() {
  const std::lock_guard halter(lock_);
  takt_.leere();
}

void MacInput::Aufsicht::merkeAusfall(const Oeffnung& von, const Fehler& grund) {
  const std::lock_guard halter(lock_);  // so that it is not kept for the next opening
  if (oeffnung_.get() != &von) return;
  stelle_->aendere([&] {
    if (!ausfall_) ausfall_ = grund;
  });
}

MacInput::MacInput(std::string name, std::unique_ptr<AudioGeraet> geraet, const Zeiten& zeiten,
                   std::shared_ptr<Wartestelle> stelle)
    : aufsicht_(std::make_shared<Aufsicht>(std::move(name), std::move(geraet), zeiten,
                                           std::move(stelle))) {}

MacInput::~MacInput() {
  static_cast<void>(MacInput::stop());
}

Ergebnis MacInput::start(AudioInputListener& listener) {
  return aufsicht_->start(listener);
}

Ergebnis MacInput::stop() {
  return aufsicht_->stop();
}

}  // namespace hallkorb
