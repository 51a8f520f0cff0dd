#include "platform/macos/screen/FensterStrom.h"

#include <chrono>
#include <optional>
#include <utility>

#include "base/Speichermangel.h"
#include "platform/macos/Fehlertexte.h"

namespace hallkorb {
namespace {

// For the service to end the stream. The recorder stops waiting earlier, and reports it: stop()
// could pass no reason on.
constexpr std::chrono::seconds ABBAU{3};

Wartestelle::Frist dreiSekunden() {
  return Wartestelle::Uhr::now() + std::chrono::seconds(3);
}

}  // namespace

void LetzterInhalt::merke(std::shared_ptr<const Inhalt> inhalt) {
  const std::lock_guard halter(lock_);
  inhalt_ = std::move(inhalt);
}

std::shared_ptr<const Inhalt> LetzterInhalt::hole() const {
  const std::lock_guard halter(lock_);
  return inhalt_;
}

// Hands the stream's pictures on while it is open.
class FensterStrom::Bildempfaenger final : public StromEmpfaenger {
 public:
  explicit Bildempfaenger(std::weak_ptr<SckStrom> strom) : strom_(std::move(strom)) {}

  // From now on pictures reach the listener. The first one may come before the service reports that
  // the stream runs, and if nothing moves it is the only one.
  void oeffne(WindowStreamListener& listener, std::uint32_t fenster) {
    const std::lock_guard halter(lock_);
    listener_ = &listener;
    fenster_ = fenster;
  }
  // A change of window was requested: until it is answered, it is unknown which window a picture
  // shows, and it counts as one of the old window.
  void beginneWechsel() {
    const std::lock_guard halter(lock_);
    ungewiss_ = false;
  }
  // The change has succeeded. Returns whether pictures came since the request: one of them may have
  // been the new window's first and, if nothing moves in it, only one.
  [[nodiscard]] bool beendeWechsel(std::uint32_t fenster) {
    const std::lock_guard halter(lock_);
    return std::exchange(fenster_, fenster) != fenster && ungewiss_;
  }
  // From now on the stream's end is reported to the listener, too. Returns the reason if it has
  // already ended.
  [[nodiscard]] std::optional<Fehler> gestartet() {
    const std::lock_guard halter(lock_);
    gestartet_ = true;
    return ende_;
  }
  void schliesse() {
    const std::lock_guard halter(lock_);
    listener_ = nullptr;
  }

  void bild(const MacBild& bild) override {
    const std::lock_guard halter(lock_);
    if (listener_ == nullptr || ende_) return;
    ungewiss_ = true;
    const Ergebnis ergebnis = fangeMangel([&] {
      // The service gives each picture once.
      static_cast<void>(
          listener_->bild(MacBild(bild.zeit(), bild.status(), bild.probe(), fenster_)));
    });
    if (ergebnis.gescheitert()) beende(ergebnis.fehler());
  }
  void beendet(const Fehler& grund) override {
    if (const auto strom = strom_.lock()) strom->merkeEnde();
    const std::lock_guard halter(lock_);
    if (ende_) return;
    Fehler ende = keinSpeicher();
    static_cast<void>(fangeMangel([&] { ende = erklaert(grund); }));
    beende(std::move(ende));
  }

 private:
  // With `lock_` held. Nothing may leave the service's thread.
  void beende(Fehler grund) {
    ende_ = std::move(grund);
    if (listener_ != nullptr && gestartet_) listener_->gestoppt(*ende_);
  }

  std::weak_ptr<SckStrom> strom_;
  std::mutex lock_;
  WindowStreamListener* listener_ = nullptr;
  std::uint32_t fenster_ = 0;  // the window whose pictures come
  bool ungewiss_ = false;      // a picture came since the last change was requested
  bool gestartet_ = false;
  std::optional<Fehler> ende_;
};

FensterStrom::FensterStrom(SckAufrufe& dienst, std::shared_ptr<const LetzterInhalt> inhalt,
                           const StreamKonfiguration& konfiguration)
    : inhalt_(std::move(inhalt)),
      konfiguration_(konfiguration),
      strom_(std::make_shared<SckStrom>(dienst.strom(), ABBAU)) {
  bildempfaenger_ = std::make_shared<Bildempfaenger>(strom_);
}

FensterStrom::~FensterStrom() {
  FensterStrom::stop();
}

Ergebnis FensterStrom::start(std::uint32_t id, WindowStreamListener& listener) {
  const auto frist = dreiSekunden();
  const std::lock_guard halter(ablauf_);
  if (stelle_->abgebrochen()) return ohneAntwort(*stelle_, {});
  const auto inhalt = inhalt_->hole();
  if (inhalt == nullptr || !inhalt->hatFenster(id)) return fensterVerschwunden();
  bildempfaenger_->oeffne(listener, id);
  Ergebnis ergebnis =
      strom_->starte(*inhalt, id, fensterEinstellungen(konfiguration_), StromAusgang::bild,
                     "sck.video", bildempfaenger_, stelle_, frist);
  if (ergebnis.gelungen()) {
    const std::optional<Fehler> beendet = bildempfaenger_->gestartet();
    if (!beendet) return {};
    ergebnis = *beendet;
  }
  bildempfaenger_->schliesse();
  static_cast<void>(strom_->beende());
  return erklaert(std::move(ergebnis).fehler());
}

Ergebnis FensterStrom::wechsle(std::uint32_t id) {
  const auto frist = dreiSekunden();
  const std::lock_guard halter(ablauf_);
  if (stelle_->abgebrochen()) return ohneAntwort(*stelle_, {});
  const auto inhalt = inhalt_->hole();
  if (inhalt == nullptr || !inhalt->hatFenster(id)) return fensterVerschwunden();
  bildempfaenger_->beginneWechsel();
  Ergebnis ergebnis = strom_->wechsle(*inhalt, id, stelle_, frist);
  // Requested once more, the change brings a picture that is certainly the new window's.
  if (ergebnis.gelungen() && bildempfaenger_->beendeWechsel(id))
    ergebnis = strom_->wechsle(*inhalt, id, stelle_, frist);
  if (ergebnis.gescheitert()) return erklaert(std::move(ergebnis).fehler());
  return {};
}

void FensterStrom::stop() {
  stelle_->brichAb();
  const std::lock_guard halter(ablauf_);
  static_cast<void>(strom_->beende());
  bildempfaenger_->schliesse();
}

}  // namespace hallkorb
