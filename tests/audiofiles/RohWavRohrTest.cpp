// The continuous file as a pipe whose reader takes its time.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/audiofiles/RohWavTest.h"
#include "tests/support/FehlerDateien.h"

namespace hallkorb {
namespace {

using Ruf = FehlerDateien::Ruf;

constexpr double BLOCK = 0.1;

// A reader that the test lets read, on a clock of its own.
class Leserdateien final : public FehlerDateien {
 public:
  explicit Leserdateien(double& uhr) : uhr_(uhr) {}

  int warteAufPlatz(int, std::chrono::milliseconds hoechstens) override {
    const double sekunden = std::chrono::duration<double>(hoechstens).count();
    const double dauer = liest && *liest < sekunden ? *liest : sekunden;
    uhr_ += dauer;
    gewartet += dauer;
    if (dauer == sekunden) return -ETIMEDOUT;
    lies();
    return 0;
  }

  std::optional<double> liest;  // seconds until the reader makes room, if it does
  std::function<void()> lies;
  double gewartet = 0.0;

 private:
  double& uhr_;
};

class RohWavRohrTest : public RohWavTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(::mkfifo(pfad.c_str(), 0600), 0);
    leser = ::open(pfad.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(leser, 0);
    rohr.lies = [this] { leere(); };
    roh = RohWav::oeffne(pfad, RATE, rohr, [this] { return jetzt; });
    ASSERT_TRUE(roh);
  }
  void TearDown() override { ::close(leser); }

  void leere() { angekommen += lies().size(); }
  [[nodiscard]] std::vector<std::uint8_t> lies() const {
    std::vector<std::uint8_t> alles;
    std::array<std::uint8_t, 4096> puffer{};
    for (ssize_t n = 0; (n = ::read(leser, puffer.data(), puffer.size())) > 0;)
      alles.insert(alles.end(), puffer.begin(), puffer.begin() + n);
    return alles;
  }
  void nimmAuf(double sekunden) {
    const std::vector<float> block(static_cast<std::size_t>(RATE * BLOCK), 0.5F);
    for (double t = 0; t < sekunden - BLOCK / 2; t += BLOCK) {
      roh->schreiben(block);
      jetzt += BLOCK;
      aufgenommen += 2 * block.size();
    }
  }

  Leserdateien rohr{jetzt};
  int leser = -1;
  std::unique_ptr<RohWav> roh;
  std::size_t aufgenommen = 44;  // bytes, with the header
  std::size_t angekommen = 0;
};

TEST_F(RohWavRohrTest, WithoutAReaderItCostsNoMoreThanATenthOfTheTime) {
  nimmAuf(600);
  EXPECT_LE(rohr.gewartet, 5.0 + 0.1 * (jetzt - 1000.0));
  EXPECT_GE(rohr.gewartet, 5.0);
  EXPECT_EQ(
      ausgabe.fehlerZeilen(),
      (std::vector<std::string>{"[hallkorb] mikro_roh.wav: Schreibfehler: Connection timed out"}));
  const std::size_t bisher = aufgenommen;
  leere();
  nimmAuf(1);
  leere();
  EXPECT_TRUE(roh->schliessen().gelungen());
  const std::size_t fehlen = (aufgenommen - angekommen) / 2;
  EXPECT_GT(fehlen, bisher / 4);
  EXPECT_EQ(ausgabe.fehlerZeilen().back(), "[hallkorb] mikro_roh.wav: Schreiben geht wieder, " +
                                               std::to_string(fehlen) + " Samples fehlen");
}

TEST_F(RohWavRohrTest, AReaderThatIsBusyForAMomentMissesNothing) {
  rohr.liest = 4.0;
  nimmAuf(2.5);  // a pipe holds a block in each of its 16 pages
  EXPECT_EQ(rohr.gewartet, 4.0);
  rohr.liest = 0.0005;
  nimmAuf(60);
  leere();
  EXPECT_EQ(angekommen, aufgenommen);
  EXPECT_TRUE(ausgabe.fehlerZeilen().empty());
}

// A terminal takes as many bytes as it has room for.
TEST_F(RohWavRohrTest, AReaderNeverGetsHalfASample) {
  leere();
  std::vector<float> erwartet(sekunde(1));
  erwartet.resize(1600);
  rohr.kurz(3);
  rohr.scheitere(Ruf::schreiben, 5, EAGAIN);
  roh->schreiben(erwartet);  // 15 bytes
  rohr.kurz(FehlerDateien::IMMER);
  const std::vector<float> danach = sekunde(2);
  roh->schreiben(danach);
  erwartet.resize(8);
  erwartet.insert(erwartet.end(), danach.begin(), danach.end());
  const auto datei = WavBytes::datei(erwartet, RATE);
  EXPECT_EQ(lies(), std::vector(datei.begin() + 44, datei.end()));
  EXPECT_EQ(ausgabe.fehlerZeilen().back(),
            "[hallkorb] mikro_roh.wav: Schreiben geht wieder, 1592 Samples fehlen");
}

TEST_F(RohWavRohrTest, TheLastSampleIsWholeToo) {
  leere();
  rohr.kurz(3);
  rohr.scheitere(Ruf::schreiben, 1, EAGAIN);
  roh->schreiben(sekunde(1));  // 3 bytes
  rohr.kurz(FehlerDateien::IMMER);
  EXPECT_TRUE(roh->schliessen().gelungen());
  EXPECT_EQ(lies().size(), 4U);
}

TEST_F(RohWavRohrTest, AReaderThatGoesIsReported) {
  rohr.scheitere(Ruf::schreiben, 0, EPIPE);
  roh->schreiben(sekunde(1));
  roh->schreiben(sekunde(2));
  EXPECT_EQ(ausgabe.fehlerZeilen(),
            (std::vector<std::string>{"[hallkorb] mikro_roh.wav: Schreibfehler: Broken pipe",
                                      "[hallkorb] mikro_roh.wav: Schreiben geht wieder, " +
                                          std::to_string(sekunde(1).size()) + " Samples fehlen"}));
}

TEST_F(RohWavRohrTest, AReaderGetsTheHeaderFirstHoweverLate) {
  for (const std::size_t bytes : {0U, 21U}) {
    SCOPED_TRACE(bytes);
    roh.reset();
    static_cast<void>(lies());
    rohr.kurz(bytes == 0 ? FehlerDateien::IMMER : bytes);
    rohr.scheitere(Ruf::schreiben, bytes == 0 ? 0 : 1, EAGAIN);
    roh = RohWav::oeffne(pfad, RATE, rohr, [this] { return jetzt; });
    rohr.kurz(FehlerDateien::IMMER);
    ASSERT_TRUE(roh);
    roh->schreiben(sekunde(0));
    const auto kopf = RohWav::kopf(RATE, 0);
    const auto alles = lies();
    ASSERT_EQ(alles.size(), static_cast<std::size_t>(44 + 2 * RATE));
    EXPECT_TRUE(std::equal(kopf.begin(), kopf.end(), alles.begin()));
  }
}

// Patience comes back, but not for a reader that always needs it.
TEST_F(RohWavRohrTest, AReaderThatIsAlwaysLateLosesSamples) {
  rohr.liest = 4.9;
  nimmAuf(600);
  EXPECT_LE(rohr.gewartet, 5.0 + 0.1 * (jetzt - 1000.0));
  EXPECT_GE(rohr.gewartet, 5.0);
}

}  // namespace
}  // namespace hallkorb
