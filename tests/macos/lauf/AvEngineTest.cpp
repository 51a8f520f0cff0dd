// The calls into the audio engine, run.
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/macos/MacAufrufe.h"
#include "platform/macos/MacHostClock.h"
#include "tests/macos/ersatz/Mikrofon.h"
#include "tests/macos/ersatz/System.h"
#include "tests/macos/lauf/ErsatzTest.h"

namespace hallkorb {
namespace {

namespace mikrofon = ersatz::mikrofon;
using mikrofon::Ruf;

struct Empfang final : BlockEmpfaenger {
  std::vector<float> werte;
  std::optional<double> zeit;
  std::thread::id faden;
  int bloecke = 0;
  void block(const PcmBlock& b) override {
    werte.assign(b.samples.begin(), b.samples.end());
    zeit = b.hostTime;
    faden = std::this_thread::get_id();
    ++bloecke;
  }
  void ausgefallen(const Fehler&) override {}
};

class AvEngineTest : public ErsatzTest {
 protected:
  void SetUp() override {
    ErsatzTest::SetUp();
    engine = avEngine();
    engine->baue();
  }
  void TearDown() override {
    engine.reset();
    ErsatzTest::TearDown();
  }
  void laufe() {
    Eingang eingang;
    ASSERT_FALSE(engine->liesEingang(eingang));
    ASSERT_FALSE(engine->setzeAbgriff(4800, empfang));
    ASSERT_FALSE(engine->starte());
  }

  std::unique_ptr<EngineAufrufe> engine;
  std::shared_ptr<Empfang> empfang = std::make_shared<Empfang>();
};

TEST_F(AvEngineTest, BlocksArriveWithTheirTimeOnTheTapThread) {
  laufe();
  const double jetzt = MacHostClock().sekunden();
  ASSERT_TRUE(mikrofon::liefere({{0.25F, -0.5F, 1.0F}}, static_cast<std::uint64_t>(jetzt * 24e6)));
  EXPECT_EQ(empfang->werte, (std::vector<float>{0.25F, -0.5F, 1.0F}));
  ASSERT_TRUE(empfang->zeit);
  EXPECT_NEAR(*empfang->zeit, jetzt, 1e-6);
  EXPECT_NE(empfang->faden, std::this_thread::get_id());
}

}  // namespace
}  // namespace hallkorb
