#include "tests/support/SimBildschirm.h"

#include <algorithm>
#include <deque>
#include <fstream>
#include <functional>

#include "tests/support/SimPlattform.h"

namespace hallkorb::sim {
namespace {

class SimBild final : public Bild {
 public:
  SimBild(double zeit, BildStatus status, std::uint32_t fenster)
      : zeit_(zeit), status_(status), fenster_(fenster) {}
  [[nodiscard]] double zeit() const override { return zeit_; }
  [[nodiscard]] BildStatus status() const override { return status_; }
  [[nodiscard]] std::uint32_t fenster() const override { return fenster_; }

 private:
  const double zeit_;
  const BildStatus status_;
  const std::uint32_t fenster_;
};

}  // namespace

class Bildschirm::Strom final : public WindowStream {
 public:
  explicit Strom(Bildschirm& schirm) : schirm_(schirm), welt_(schirm.welt_) {}
  ~Strom() override { Strom::stop(); }

  Ergebnis start(std::uint32_t id, WindowStreamListener& hoerer) override {
    schirm_.aufrufe.push_back("start " + std::to_string(id));
    dauere(schirm_.startDauer);
    if (gestoppt_) return Fehler{"sim", 89, "abgebrochen"};
    if (schirm_.startFehler) return *schirm_.startFehler;
    id_ = id;
    faden_ = welt_.starte([this, &hoerer] { laufe(hoerer); });
    schirm_.stroeme_.push_back(this);
    if (schirm_.meldetAnfang) titelNeu();
    if (schirm_.bildNachStart) bild(BildStatus::vollstaendig);
    if (const auto ende = std::exchange(schirm_.endeNachStart, std::nullopt)) beende(*ende);
    dauere(schirm_.startEnde);
    return {};
  }

  Ergebnis wechsle(std::uint32_t id) override {
    schirm_.aufrufe.push_back("wechsle " + std::to_string(id));
    dauere(schirm_.wechselDauer);
    if (gestoppt_ || beendet_) return Fehler{"sim", 90, "Stream ist beendet"};
    if (schirm_.wechselFehler) return *schirm_.wechselFehler;
    if (std::exchange(id_, id) != id && schirm_.meldetAnfang) titelNeu();
    if (schirm_.wechselBelegt) schirm_.wechselBelegt();
    if (schirm_.bildNachStart) bild(BildStatus::vollstaendig);
    return {};
  }

  void stop() override {
    if (const auto belege = std::exchange(schirm_.stopBelegt, nullptr)) belege();
    if (!std::exchange(gestoppt_, true)) {
      schirm_.aufrufe.emplace_back("stop");
      if (schirm_.stopDauer > 0.0) {
        const double bis = welt_.jetzt() + schirm_.stopDauer;
        welt_.am(bis, [] {});
        welt_.warteBis([&] { return welt_.jetzt() >= bis; });
      }
      std::erase(schirm_.stroeme_, this);
      faden_ = nullptr;
      steht_ = true;
    }
    welt_.warteBis([this] { return steht_; });
  }

  void bild(BildStatus status) {
    const SimBild neues(welt_.sekunden(), status, id_);
    const double wann = welt_.jetzt() + schirm_.bildVerzug;
    welt_.am(wann, [] {});
    arbeit_.emplace_back([this, neues, wann](WindowStreamListener& hoerer) {
      welt_.warteBis([&] { return gestoppt_ || welt_.jetzt() >= wann; });
      if (!gestoppt_ && !hoerer.bild(neues) && schirm_.bietetAn) gibBald();
    });
  }

  [[nodiscard]] std::uint32_t fenster() const { return id_; }

  void titelNeu() {
    arbeit_.emplace_back([](WindowStreamListener& hoerer) { hoerer.titelGeaendert(); });
  }

  void beende(Fehler fehler) {
    beendet_ = true;
    std::erase(schirm_.stroeme_, this);
    arbeit_.emplace_back(
        [f = std::move(fehler)](WindowStreamListener& hoerer) { hoerer.gestoppt(f); });
  }

 private:
  void gibBald() {
    const double abstand = schirm_.konfigurationen.back().kleinsterAbstand;
    welt_.am(welt_.jetzt() + abstand, [&schirm = schirm_, selbst = this] {
      const auto& alle = schirm.stroeme_;
      if (std::find(alle.begin(), alle.end(), selbst) != alle.end())
        selbst->bild(BildStatus::vollstaendig);
    });
  }

  void dauere(double sekunden) {
    if (sekunden == 0.0) return;
    const double bis = welt_.jetzt() + sekunden;
    welt_.am(bis, [] {});
    welt_.warteBis([&] { return (gestoppt_ && !schirm_.startHaengt) || welt_.jetzt() >= bis; });
  }

  void laufe(WindowStreamListener& hoerer) {
    for (;;) {
      welt_.warteBis([this] { return gestoppt_ || !arbeit_.empty(); });
      if (gestoppt_) return;
      const auto arbeit = std::move(arbeit_.front());
      arbeit_.pop_front();
      arbeit(hoerer);
    }
  }

  Bildschirm& schirm_;
  SimPlattform& welt_;
  std::uint32_t id_ = 0;
  bool gestoppt_ = false;  // stop() was called
  bool steht_ = false;     // and has done its work
  bool beendet_ = false;   // by the service
  std::deque<std::function<void(WindowStreamListener&)>> arbeit_;
  std::unique_ptr<Task> faden_;
};

class Bildschirm::Aufnahme final : public ScreenCapture {
 public:
  explicit Aufnahme(Bildschirm& schirm) : schirm_(schirm) {}

  Ergebnis inventar(ScreenContent& content) override {
    SimPlattform& welt = schirm_.welt_;
    ++schirm_.inventare;
    if (schirm_.inventarBelegt) schirm_.inventarBelegt();
    content.windows = schirm_.windows;
    const double bis = welt.jetzt() + schirm_.inventarDauer;
    welt.am(bis, [] {});
    welt.warteBis([&] { return welt.jetzt() >= bis; });
    if (schirm_.inventarFehler) return *schirm_.inventarFehler;
    if (!schirm_.inventarFrueh) content.windows = schirm_.windows;
    return {};
  }

  std::unique_ptr<WindowStream> stream(const StreamKonfiguration& konfiguration) override {
    schirm_.konfigurationen.push_back(konfiguration);
    return std::make_unique<Strom>(schirm_);
  }

 private:
  Bildschirm& schirm_;
};

class Bildschirm::Schreiber final : public VideoWriter {
 public:
  Schreiber(Bildschirm& schirm, std::size_t film) : schirm_(schirm), film_(film) {}

  bool starte(double basis) override {
    film().basis = basis - NULLZEIT;
    gestartet_ = schirm_.schreiberStartet;
    if (gestartet_) std::ofstream(film().pfad) << "film";
    return gestartet_;
  }
  bool schreibt() const override { return gestartet_ && schirm_.schreiberSchreibt; }
  bool bereit() const override { return schirm_.schreiberBereit; }
  bool haengeAn(const Bild& bild) override {
    if (schirm_.schreiberScheitert) {
      schirm_.schreiberFehler = schirm_.schreiberScheitert;
      schirm_.schreiberSchreibt = false;
    }
    if (!schirm_.schreiberNimmt || !schirm_.schreiberSchreibt) return false;
    if (film().bilder.empty()) film().basis = bild.zeit() - NULLZEIT;
    film().bilder.emplace_back(bild.zeit() - NULLZEIT, bild.fenster());
    return true;
  }
  void begrenze(std::optional<double> bis) override { grenze_ = bis; }
  std::int64_t nimmZurueck() override {
    auto& bilder = film().bilder;
    const double jetzt = hostSekunden();
    const double ab =
        std::min(jetzt, grenze_.value_or(jetzt)) - NULLZEIT - film().einstellungen.haltezeit;
    std::int64_t anzahl = 0;
    for (; schirm_.schreiberHaelt && !bilder.empty() && bilder.back().first > ab; ++anzahl)
      bilder.pop_back();
    return anzahl;
  }
  bool schliesseAb(double ende) override {
    if (schirm_.abschlussBelegt) schirm_.abschlussBelegt();
    film().ende = ende - NULLZEIT;
    return schirm_.schreiberSchliesst;
  }
  std::int64_t ausgelassen() const override { return schirm_.schreiberLaesstAus; }
  std::optional<Fehler> fehler() const override { return schirm_.schreiberFehler; }

 private:
  Film& film() { return schirm_.filme[film_]; }

  Bildschirm& schirm_;
  const std::size_t film_;
  bool gestartet_ = false;
  std::optional<double> grenze_;
};

void Bildschirm::bild(BildStatus status) {
  for (Strom* strom : stroeme_)
    strom->bild(status);
}

void Bildschirm::titelNeu() {
  for (Strom* strom : stroeme_)
    strom->titelNeu();
}

void Bildschirm::titelNeu(std::uint32_t id) {
  for (Strom* strom : stroeme_) {
    if (strom->fenster() == id) strom->titelNeu();
  }
}

void Bildschirm::beende(Fehler fehler) {
  const std::vector<Strom*> laufende = stroeme_;
  for (Strom* strom : laufende)
    strom->beende(fehler);
}

std::unique_ptr<ScreenCapture> Bildschirm::screenCapture() {
  return std::make_unique<Aufnahme>(*this);
}

std::unique_ptr<VideoWriter> Bildschirm::videoWriter(const std::string& pfad,
                                                     const VideoEinstellungen& einstellungen,
                                                     Fehler& fehler) {
  if (schreiberFehlt) {
    fehler = *schreiberFehlt;
    return nullptr;
  }
  if (eigenerSchreiber) return eigenerSchreiber(pfad);
  filme.push_back({pfad, einstellungen, {}, {}, {}});
  return std::make_unique<Schreiber>(*this, filme.size() - 1);
}

ScreenWindow fenster(std::uint32_t id, const std::string& bundle, const std::string& titel) {
  return {id, titel, ScreenWindow::Anwendung{bundle, "App"}, 0, 0, 1280, 800, true, 0};
}

}  // namespace hallkorb::sim
