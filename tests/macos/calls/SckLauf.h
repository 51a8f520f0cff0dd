// A stream of the capture service as the tests run it: made, started, and what it delivered.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/macos/MacAufrufe.h"
#include "tests/macos/calls/ErsatzTest.h"
#include "tests/macos/doubles/Bildschirm.h"
#include "tests/macos/doubles/System.h"

namespace hallkorb {

struct SckEmpfang final : StromEmpfaenger {
  struct Gesehen {
    double zeit;
    BildStatus status;
    bool mitProbe;
    friend bool operator==(const Gesehen&, const Gesehen&) = default;
  };
  struct Gehoert {
    PcmFormat format;
    std::vector<float> werte;
    std::optional<double> zeit;
  };
  std::vector<Gehoert> toene;
  std::vector<Gesehen> bilder;
  std::vector<Fehler> enden;

  void ton(const PcmBlock& block) override {
    toene.push_back({block.format, {block.samples.begin(), block.samples.end()}, block.hostTime});
  }
  void bild(const MacBild& bild) override {
    bilder.push_back({bild.zeit(), bild.status(), bild.probe() != nullptr});
  }
  void beendet(const Fehler& grund) override { enden.push_back(grund); }
};

// The answers to one call, in their order.
struct SckAntworten {
  std::vector<Ergebnis> alle;
  [[nodiscard]] SckFertig empfang() {
    return [this](Ergebnis ergebnis) { alle.push_back(std::move(ergebnis)); };
  }
  // The error of the only answer.
  [[nodiscard]] Fehler einzigerFehler() const {
    EXPECT_EQ(alle.size(), 1U);
    return alle.empty() ? Fehler{} : fehlerIn(alle.front());
  }
  [[nodiscard]] bool gelangEinmal() const { return alle.size() == 1 && gelang(alle.front()); }
};

class SckLauf : public ErsatzTest {
 protected:
  void TearDown() override {
    // One that is dropped while it captures counts as gone too early.
    if (strom != nullptr && gestartet_) strom->stoppe([](const Ergebnis&) {});
    strom.reset();
    dienst.reset();
    ErsatzTest::TearDown();
  }
  std::shared_ptr<const Inhalt> inhalt() {
    std::shared_ptr<const Inhalt> da;
    dienst->frageInhalt(false, [&](auto gefunden, const Ergebnis&) { da = gefunden; });
    EXPECT_TRUE(ersatz::ruhe());
    EXPECT_NE(da, nullptr);
    return da;
  }
  // With `fenster` its picture, otherwise the sound.
  void verbinde(std::optional<std::uint32_t> fenster = {}) {
    const auto einstellungen =
        fenster ? fensterEinstellungen({1280, 800, 1.0 / 15, true, 5}) : tonEinstellungen();
    ASSERT_TRUE(gelang(strom->baue(*inhalt(), fenster, einstellungen, empfang)));
    ASSERT_TRUE(gelang(fenster ? strom->verbinde(StromAusgang::bild, "sck.video")
                               : strom->verbinde(StromAusgang::ton, "sck.audio")));
  }
  void starte(std::optional<std::uint32_t> fenster = {}) {
    verbinde(fenster);
    SckAntworten antworten;
    strom->starte(antworten.empfang());
    ASSERT_TRUE(ersatz::ruhe());
    ASSERT_TRUE(antworten.gelangEinmal());
    gestartet_ = true;
  }

  std::shared_ptr<SckAufrufe> dienst = screenCaptureKit();
  std::unique_ptr<StromAufrufe> strom = dienst->strom();
  std::shared_ptr<SckEmpfang> empfang = std::make_shared<SckEmpfang>();

 private:
  bool gestartet_ = false;
};

}  // namespace hallkorb
