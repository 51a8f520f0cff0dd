#include "tests/macos/calls/ErsatzTest.h"

#include <memory>

#include "platform/macos/MacAufrufe.h"
#include "platform/macos/MacPlattform.h"
#include "tests/macos/doubles/Bildschirm.h"
#include "tests/macos/doubles/Mikrofon.h"
#include "tests/macos/doubles/Schreiber.h"
#include "tests/macos/doubles/System.h"

namespace hallkorb {
namespace {

constexpr double EWIG = 1e6;  // seconds

// What the stand-ins make once for the process, before anything is counted.
void waermeAuf() {
  const auto engine = avEngine();
  engine->baue();
  EngineFormat format;
  static_cast<void>(engine->liesFormat(format));
  static_cast<void>(engine->starte());
  ersatz::mikrofon::melde();
  static_cast<void>(engine->stoppe());
  engine->gibFrei();
  screenCaptureKit()->frageInhalt(true, [](const auto&, const auto&) {});
  static_cast<void>(ersatz::beobachter());
  static_cast<void>(MacPlattform().mikrofon());
  ersatz::lassZeitVergehen(EWIG);
}

}  // namespace

void ErsatzTest::SetUp() {
  static const bool warm = [] {
    waermeAuf();
    return true;
  }();
  static_cast<void>(warm);
  ersatz::setzeZurueck();
  ASSERT_TRUE(ersatz::ruhe());
  vorher_ = laufzeit::lebende();
  bloecke_ = laufzeit::bloecke();
  ohnePool_ = laufzeit::ohnePool();
  beobachter_ = ersatz::beobachter();
  aktivitaeten_ = ersatz::aktivitaeten();
}

void ErsatzTest::TearDown() {
  EXPECT_EQ(ersatz::mikrofon::falscheFreigaben(), 0) << "an engine went on a thread of its own";
  EXPECT_EQ(ersatz::bildschirm::zuFruehFreigegeben(), 0) << "a stream went before its last call";
  EXPECT_EQ(ersatz::schreiber::zuFruehFreigegeben(), 0) << "a writer went before it was complete";
  ersatz::setzeZurueck();
  ASSERT_TRUE(ersatz::ruhe()) << "blocks still run";
  ersatz::lassZeitVergehen(EWIG);  // also what the last of them have put off
  ASSERT_TRUE(ersatz::ruhe()) << "blocks still run";
  EXPECT_EQ(laufzeit::unterschied(vorher_, laufzeit::lebende()), "") << "objects left alive";
  EXPECT_EQ(laufzeit::bloecke(), bloecke_) << "blocks left alive";
  EXPECT_EQ(laufzeit::ohnePool(), ohnePool_) << "autoreleased on a thread without a pool";
  EXPECT_EQ(ersatz::beobachter(), beobachter_) << "observers left";
  EXPECT_EQ(ersatz::aktivitaeten(), aktivitaeten_) << "activities left";
}

long ErsatzTest::neue(const std::string& klasse) const {
  const auto vorher = vorher_.find(klasse);
  return laufzeit::lebende(klasse) - (vorher != vorher_.end() ? vorher->second : 0);
}

void ErsatzTest::duldet(const std::string& klasse, long anzahl) {
  vorher_[klasse] += anzahl;
}

void ErsatzTest::duldetBloecke(long anzahl) {
  bloecke_ += anzahl;
}

}  // namespace hallkorb
