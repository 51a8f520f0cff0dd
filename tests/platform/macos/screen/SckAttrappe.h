// A capture service whose answers the test decides, and which writes down how it is called.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/macos/screen/SckAufrufe.h"
#include "tests/platform/macos/Buch.h"

namespace hallkorb {

struct SckDienst {
  // What a call answers: at once, or never.
  using Antwort = std::optional<Ergebnis>;

  Buch buch;
  bool display = true;
  std::vector<ScreenWindow> fenster;
  Antwort inhalt = Ergebnis();
  bool ohneInhalt = false;  // the answer holds neither a snapshot nor an error
  Ergebnis bauen;
  Ergebnis verbinden;
  Antwort start = Ergebnis();
  Antwort wechsel = Ergebnis();
  Antwort stopp = Ergebnis();
  std::weak_ptr<StromEmpfaenger> empfaenger;  // of the last stream
  StromEinstellungen einstellungen;           // of the last stream
  std::function<void()> beimStart;            // before the start is answered
  std::function<void()> beimWechsel;          // before a change is answered

  void fensterMit(std::uint32_t id) {
    ScreenWindow w;
    w.id = id;
    fenster.push_back(w);
  }
};

class SckAttrappe final : public SckAufrufe {
 public:
  explicit SckAttrappe(SckDienst& dienst) : dienst_(dienst) {}

  void frageInhalt(bool ohneDesktop, InhaltFertig fertig) override {
    dienst_.buch.schreibe(ohneDesktop ? "inhalt ohne desktop" : "inhalt");
    if (!dienst_.inhalt) return;
    if (dienst_.inhalt->gescheitert() || dienst_.ohneInhalt)
      return fertig(nullptr, *dienst_.inhalt);
    fertig(std::make_shared<Schnappschuss>(dienst_), Ergebnis());
  }
  std::unique_ptr<StromAufrufe> strom() override { return std::make_unique<Strom>(dienst_); }

 private:
  class Schnappschuss final : public Inhalt {
   public:
    explicit Schnappschuss(const SckDienst& dienst)
        : display_(dienst.display), content_{dienst.fenster} {}
    ScreenContent fenster() const override { return content_; }
    bool hatDisplay() const override { return display_; }
    bool hatFenster(std::uint32_t id) const override {
      for (const ScreenWindow& w : content_.windows) {
        if (w.id == id) return true;
      }
      return false;
    }

   private:
    bool display_;
    ScreenContent content_;
  };

  class Strom final : public StromAufrufe {
   public:
    explicit Strom(SckDienst& dienst) : dienst_(dienst) {}
    Ergebnis baue(const Inhalt&, std::optional<std::uint32_t> fenster,
                  const StromEinstellungen& einstellungen,
                  std::weak_ptr<StromEmpfaenger> empfaenger) override {
      dienst_.buch.schreibe(fenster ? "baue fenster " + std::to_string(*fenster) : "baue display");
      dienst_.einstellungen = einstellungen;
      dienst_.empfaenger = std::move(empfaenger);
      return dienst_.bauen;
    }
    Ergebnis verbinde(StromAusgang ausgang, const char* queue) override {
      dienst_.buch.schreibe((ausgang == StromAusgang::ton ? "ton auf " : "bild auf ") +
                            std::string(queue));
      return dienst_.verbinden;
    }
    void starte(SckFertig fertig) override {
      dienst_.buch.schreibe("starte");
      if (dienst_.beimStart) dienst_.beimStart();
      antworte(dienst_.start, fertig);
    }
    void wechsle(const Inhalt&, std::uint32_t fenster, SckFertig fertig) override {
      dienst_.buch.schreibe("wechsle " + std::to_string(fenster));
      if (dienst_.beimWechsel) dienst_.beimWechsel();
      antworte(dienst_.wechsel, fertig);
    }
    void stoppe(SckFertig fertig) override {
      dienst_.buch.schreibe("stoppe");
      antworte(dienst_.stopp, fertig);
    }
    void gibFrei() override { dienst_.buch.schreibe("gib frei"); }

   private:
    static void antworte(const SckDienst::Antwort& antwort, const SckFertig& fertig) {
      if (antwort) fertig(*antwort);
    }

    SckDienst& dienst_;
  };

  SckDienst& dienst_;
};

}  // namespace hallkorb
