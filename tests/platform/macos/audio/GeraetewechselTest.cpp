// The microphone's whole road, from the engine's callbacks to the timeline, while its device
// changes.
#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>

#include "capture/MicCapture.h"
#include "platform/macos/audio/AvKonverter.h"
#include "platform/macos/audio/MacInput.h"
#include "platform/macos/audio/MikrofonGeraet.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/Testuhr.h"

namespace hallkorb {
namespace {

constexpr double NULLZEIT = 1000.0;

// What the test sees of the engines: how many there were, and whom the last one delivers to.
struct Mac {
  std::mutex lock;
  std::condition_variable neues;
  int gestartet = 0;
  std::weak_ptr<BlockEmpfaenger> empfaenger;
  std::function<void()> veraendert;

  void warteAufEngine(int nummer) {
    std::unique_lock halter(lock);
    ASSERT_TRUE(
        neues.wait_for(halter, std::chrono::seconds(60), [&] { return gestartet == nummer; }));
  }
};

class Engine final : public EngineAufrufe {
 public:
  explicit Engine(Mac& mac) : mac_(mac) {}
  Erlaubnis erlaubnis() override { return Erlaubnis::erteilt; }
  void frageErlaubnis(std::function<void(bool)>) override {}
  void baue() override {}
  void beobachte(std::function<void()> veraendert) override {
    const std::lock_guard halter(mac_.lock);
    mac_.veraendert = std::move(veraendert);
  }
  Ergebnis liesFormat(EngineFormat& format) override {
    format = {48000, 2};
    return {};
  }
  Ergebnis setzeAbgriff(std::uint32_t, std::weak_ptr<BlockEmpfaenger> empfaenger) override {
    const std::lock_guard halter(mac_.lock);
    mac_.empfaenger = std::move(empfaenger);
    return {};
  }
  Ergebnis starte() override {
    {
      const std::lock_guard halter(mac_.lock);
      ++mac_.gestartet;
    }
    mac_.neues.notify_all();
    return {};
  }
  bool laeuft() override { return false; }
  void beobachteNichtMehr() override {}
  Ergebnis entferneAbgriff() override { return {}; }
  Ergebnis stoppe() override { return {}; }
  void gibFrei() override {}

 private:
  Mac& mac_;
};

// To 16 kHz by leaving samples out.
class Auslassen final : public KonverterAufrufe {
 public:
  explicit Auslassen(std::size_t jeder) : jeder_(jeder) {}
  Umwandlung wandle(std::span<const float> samples, std::size_t, std::vector<float>& aus) override {
    for (std::size_t i = 0; i < samples.size(); i += jeder_)
      aus.push_back(samples[i]);
    return {};
  }

 private:
  std::size_t jeder_;
};

class Fabrik final : public AudioConverterFactory {
 public:
  std::unique_ptr<AudioConverter> konverter(const PcmFormat& quellformat, double rate) override {
    return std::make_unique<AvKonverter>(
        quellformat,
        std::make_unique<Auslassen>(static_cast<std::size_t>(quellformat.rate / rate)));
  }
};

TEST(GeraetewechselTest, AHeadsetTakesOverAndTheTimelineFillsTheHole) {
  AusgabeFaenger faenger;
  Mac mac;
  Fabrik fabrik;
  const Testuhr uhr(NULLZEIT + 5.0);
  Zeitachse zeit("me", 16000.0, NULLZEIT);
  std::vector<float> strom;
  MacInput::Zeiten zeiten;
  zeiten.abstand = std::chrono::milliseconds(0);
  zeiten.oeffnen = zeiten.start = zeiten.abbau = std::chrono::hours(1);
  MicCapture capture(
      16000.0, zeit,
      [&](const std::vector<float>& samples) {
        strom.insert(strom.end(), samples.begin(), samples.end());
      },
      std::make_unique<MacInput>(
          "mikrofon", std::make_unique<MikrofonGeraet>(std::make_unique<Engine>(mac)), zeiten),
      fabrik);
  const auto liefere = [&](const PcmFormat& format, double t, float wert) {
    const std::vector<float> samples(static_cast<std::size_t>(format.rate / 10) * format.channels,
                                     wert);
    if (const auto e = mac.empfaenger.lock()) {
      e->block({format, static_cast<std::uint32_t>(format.rate / 10), samples, NULLZEIT + t});
    }
  };

  ASSERT_EQ(capture.start(), Ergebnis());
  liefere({48000, 2, false}, 0.0, 0.25F);
  mac.veraendert();
  mac.warteAufEngine(2);
  liefere({16000, 1, true}, 0.35, 0.5F);
  EXPECT_EQ(capture.stop(), Ergebnis());

  ASSERT_EQ(strom.size(), 7200U);
  EXPECT_TRUE(std::all_of(strom.begin(), strom.begin() + 1600, [](float x) { return x == 0.25F; }));
  EXPECT_TRUE(
      std::all_of(strom.begin() + 1600, strom.begin() + 5600, [](float x) { return x == 0; }));
  EXPECT_TRUE(std::all_of(strom.begin() + 5600, strom.end(), [](float x) { return x == 0.5F; }));
  EXPECT_EQ(faenger.fehlerZeilen(),
            (std::vector<std::string>{
                "[hallkorb] Mikrofon-Capture gestartet",
                "[hallkorb] Mikrofon unterbrochen: das Eingabegeraet hat gewechselt",
                "[hallkorb] Mikrofon wieder da",
                "[hallkorb] Zeitachse me: Luecke 250.0 ms bei 0.10 s aufgefuellt"}));
}

}  // namespace
}  // namespace hallkorb
