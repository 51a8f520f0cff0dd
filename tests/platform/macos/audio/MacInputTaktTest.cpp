// A macOS device whose clock is off by some ppm, seen from behind the input: the timeline there has
// nothing to correct. On a virtual clock, since the input takes its times from the blocks.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

#include "capture/Zeitachse.h"
#include "platform/macos/audio/MacInput.h"
#include "tests/support/Kristall.h"
#include "tests/support/Testuhr.h"

namespace hallkorb {
namespace {

constexpr double RATE = 48000.0;
constexpr double NULLZEIT = 999.9;

struct Faden {
  std::weak_ptr<BlockEmpfaenger> empfaenger;
  int oeffnungen = 0;
};

class Geraet final : public AudioGeraet {
 public:
  explicit Geraet(Faden& faden) : faden_(faden) {}
  Ergebnis oeffne(std::weak_ptr<BlockEmpfaenger> empfaenger, const std::shared_ptr<Wartestelle>&,
                  Wartestelle::Frist) override {
    faden_.empfaenger = std::move(empfaenger);
    ++faden_.oeffnungen;
    return {};
  }
  bool laeuft() override { return true; }
  Ergebnis schliesse() override { return {}; }

 private:
  Faden& faden_;
};

// A test that is halted between two blocks does not make a pause of the stream.
class OhneUhr final : public Wartestelle {
  bool schlafe(std::unique_lock<std::mutex>& halter, Frist) override {
    return Wartestelle::schlafe(halter, Uhr::now() + std::chrono::hours(1));
  }
};

class Kanal final : public AudioInputListener {
 public:
  void block(const PcmBlock& block) override {
    std::vector<float> platz;
    const std::span<const float> erster = block.ersterKanal(platz);
    static_cast<void>(
        zeit.einordnen({erster.begin(), erster.end()}, block.hostTime, block.dauer()));
    if (letzte > 0) weiteste = std::fmax(weiteste, std::abs(*block.hostTime - letzte));
    letzte = *block.hostTime + block.dauer();
  }
  void unterbrochen(const Fehler&) override { ++ereignisse; }
  void fortgesetzt() override { ++ereignisse; }
  void verloren(std::uint64_t) override { ++ereignisse; }
  void hinweis(const Fehler&) override { ++ereignisse; }

  Zeitachse zeit{"me", RATE, NULLZEIT};
  double letzte = 0.0;    // the end of the last block
  double weiteste = 0.0;  // from one block's end to the next one's beginning, s
  int ereignisse = 0;
};

class MacInputTakt : public testing::TestWithParam<double> {};

// Ten minutes. The tap's blocks of 100 ms are longer than those of the stream, which are 20 ms.
TEST_P(MacInputTakt, AClockThatDriftsNeedsNoCorrection) {
  for (const std::uint32_t frames : {4800U, 960U}) {
    Faden faden;
    Kanal kanal;
    MacInput input("probe", std::make_unique<Geraet>(faden), {}, std::make_shared<OhneUhr>());
    ASSERT_EQ(input.start(kanal), Ergebnis());
    const auto empfaenger = faden.empfaenger.lock();

    Kristall::Art art;
    art.ppm = GetParam();
    art.frames = frames;
    art.zittern = 0.0001;
    art.wandern = 0.00005;
    Kristall kristall(art, [](double) { return 0.1; });
    Testuhr uhr(art.beginn);
    while (kristall.zeit() < art.beginn + 600.0) {
      const PcmBlock block = kristall.naechster();
      uhr.jetzt = kristall.zeit();
      empfaenger->block(block);
    }
    EXPECT_EQ(input.stop(), Ergebnis());

    EXPECT_EQ(kanal.zeit.luecken, 0);
    EXPECT_EQ(kanal.zeit.ueberlappungen, 0);
    EXPECT_NEAR(kanal.letzte, kristall.zeit(), 0.001);
    EXPECT_LT(kanal.weiteste, 0.001);
    EXPECT_EQ(faden.oeffnungen, 1);
    EXPECT_EQ(kanal.ereignisse, 0);
  }
}

// A device whose clock jumps by minutes and back, for longer than a false stamp lasts.
TEST(MacInputStempel, OneThatCannotBeTrueMovesNothing) {
  Faden faden;
  Kanal kanal;
  Testuhr uhr(NULLZEIT);
  MacInput input("probe", std::make_unique<Geraet>(faden), {}, std::make_shared<OhneUhr>());
  ASSERT_EQ(input.start(kanal), Ergebnis());
  const auto empfaenger = faden.empfaenger.lock();
  Kristall kristall({.ppm = 50}, [](double) { return 0.1; });
  for (int i = 0; i < 2000; ++i) {
    PcmBlock block = kristall.naechster();
    uhr.jetzt = kristall.zeit();
    const int stelle = i % 200;
    if (stelle >= 100 && stelle < 140) *block.hostTime += 300.0;
    if (stelle >= 160 && stelle < 190) *block.hostTime -= 300.0;
    empfaenger->block(block);
  }
  EXPECT_EQ(input.stop(), Ergebnis());
  EXPECT_EQ(kanal.zeit.luecken, 0);
  EXPECT_EQ(kanal.zeit.ueberlappungen, 0);
  EXPECT_NEAR(kanal.letzte, kristall.zeit(), 0.002);
}

INSTANTIATE_TEST_SUITE_P(Ppm, MacInputTakt, testing::Values(-200.0, 0.0, 60.0));

}  // namespace
}  // namespace hallkorb
