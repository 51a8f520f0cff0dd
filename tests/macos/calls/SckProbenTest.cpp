// What a stream of the capture service delivers, and what of it is passed on, run.
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "tests/macos/calls/SckLauf.h"

namespace hallkorb {
namespace {

namespace bildschirm = ersatz::bildschirm;
using ersatz::Zeitart;

constexpr std::uint32_t FENSTER = 7;
constexpr Zeitart KEINE_ZAHLEN[] = {Zeitart::ungueltig, Zeitart::unbestimmt, Zeitart::unendlich};

class SckProbenTest : public SckLauf {
 protected:
  void starteFenster() {
    bildschirm::inhalt({{.id = FENSTER}}, 1);
    starte(FENSTER);
  }
  static ersatz::Ton stereo() { return {.kanaele = {{1, 2}, {3, 4}}}; }
};

TEST_F(SckProbenTest, PicturesOfEveryStatusArePassedOnWithTheirTimes) {
  starteFenster();
  EXPECT_EQ(bildschirm::queue(), "sck.video");
  const std::vector<std::pair<long, BildStatus>> alle = {
      {0, BildStatus::vollstaendig}, {1, BildStatus::unveraendert}, {2, BildStatus::leer},
      {3, BildStatus::angehalten},   {4, BildStatus::begonnen},     {5, BildStatus::beendet}};
  std::vector<SckEmpfang::Gesehen> erwartet;
  for (const auto& [nummer, status] : alle) {
    const double zeit = 10.5 + static_cast<double>(nummer);
    EXPECT_TRUE(bildschirm::bild({.status = nummer}, {zeit}));
    erwartet.push_back({zeit, status, true});
  }
  EXPECT_EQ(empfang->bilder, erwartet);
}

TEST_F(SckProbenTest, PicturesOfAnUnknownStatusAreLeftOut) {
  starteFenster();
  for (const long nummer : {-1L, 6L, 1'000'000L})
    EXPECT_TRUE(bildschirm::bild({.status = nummer}, {1}));
  EXPECT_TRUE(empfang->bilder.empty());
}

TEST_F(SckProbenTest, PicturesWithoutAttachmentOrStatusAreLeftOut) {
  starteFenster();
  EXPECT_TRUE(bildschirm::bild({.mitAnhang = false}, {1}));
  EXPECT_TRUE(bildschirm::bild({.status = std::nullopt}, {1}));
  EXPECT_TRUE(empfang->bilder.empty());
}

TEST_F(SckProbenTest, PicturesWhoseTimeIsNoNumberAreLeftOut) {
  starteFenster();
  for (const Zeitart art : KEINE_ZAHLEN)
    EXPECT_TRUE(bildschirm::bild({}, {1, art}));
  EXPECT_TRUE(empfang->bilder.empty());
}

TEST_F(SckProbenTest, InvalidBuffersAndForeignOutputsAreLeftOut) {
  starteFenster();
  EXPECT_TRUE(bildschirm::bild({}, {1}, false));
  EXPECT_TRUE(bildschirm::fremdeProbe());
  EXPECT_TRUE(empfang->bilder.empty());
  EXPECT_TRUE(empfang->toene.empty());
}

TEST_F(SckProbenTest, SoundIsPassedOnWithItsFormatAndTime) {
  starte();
  EXPECT_TRUE(bildschirm::ton(stereo(), {12.25}));
  ASSERT_EQ(empfang->toene.size(), 1U);
  const SckEmpfang::Gehoert& block = empfang->toene.front();
  EXPECT_EQ(block.format.rate, 48000);
  EXPECT_EQ(block.format.channels, 2U);
  EXPECT_FALSE(block.format.interleaved);
  EXPECT_EQ(block.werte, (std::vector<float>{1, 2, 3, 4}));
  EXPECT_EQ(block.zeit, 12.25);
}

TEST_F(SckProbenTest, SoundWhoseTimeIsNoNumberHasNone) {
  starte();
  for (const Zeitart art : KEINE_ZAHLEN)
    EXPECT_TRUE(bildschirm::ton(stereo(), {1, art}));
  ASSERT_EQ(empfang->toene.size(), 3U);
  for (const SckEmpfang::Gehoert& block : empfang->toene)
    EXPECT_EQ(block.zeit, std::nullopt);
}

TEST_F(SckProbenTest, SoundThatCannotBeReadIsLeftOut) {
  starte();
  auto ohneFormat = stereo();
  ohneFormat.mitFormat = false;
  auto ohneStrom = stereo();
  ohneStrom.mitStrom = false;
  auto nichtKopiert = stereo();
  nichtKopiert.kopierstatus = -12737;
  auto leer = stereo();
  leer.frames = 0;
  auto unlesbar = stereo();
  unlesbar.bits = 24;
  auto komprimiert = stereo();
  komprimiert.kennung = 0x61616320;  // 'aac '
  for (const ersatz::Ton& ton : {ohneFormat, ohneStrom, nichtKopiert, leer, unlesbar, komprimiert})
    EXPECT_TRUE(bildschirm::ton(ton, {1}));
  EXPECT_TRUE(empfang->toene.empty());
  EXPECT_TRUE(bildschirm::ton(stereo(), {2}));  // the next one is whole again
  EXPECT_EQ(empfang->toene.size(), 1U);
}

TEST_F(SckProbenTest, AReceiverThatIsGoneIsNotCalled) {
  starteFenster();
  EXPECT_TRUE(bildschirm::bild({}, {1}));
  const std::weak_ptr<SckEmpfang> schwach = empfang;
  empfang.reset();
  EXPECT_TRUE(schwach.expired());  // the stream keeps it weakly
  EXPECT_TRUE(bildschirm::bild({}, {2}));
  bildschirm::beende(-3821);
}

TEST_F(SckProbenTest, TheEndByTheServiceComesWithItsReason) {
  starteFenster();
  bildschirm::beende(-3817);
  ASSERT_EQ(empfang->enden.size(), 1U);
  EXPECT_EQ(empfang->enden.front(),
            (Fehler{"SCStreamErrorDomain", -3817, "Der Stream wurde beendet"}));
  EXPECT_FALSE(bildschirm::bild({}, {1}));
}

TEST_F(SckProbenTest, AnEndWithoutAReasonIsAnErrorAllTheSame) {
  starte();
  bildschirm::beende(0, false);
  ASSERT_EQ(empfang->enden.size(), 1U);
  EXPECT_EQ(empfang->enden.front(), (Fehler{"hallkorb", 0, "Fehler ohne Beschreibung"}));
}

}  // namespace
}  // namespace hallkorb
