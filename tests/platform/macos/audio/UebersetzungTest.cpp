// The translations that need no order of calls: audio buffers, conversion, errors.
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "platform/macos/audio/AvKonverter.h"
#include "platform/macos/audio/PcmUebersetzer.h"
#include "platform/macos/Fehlertexte.h"

namespace hallkorb {
namespace {

constexpr std::uint32_t LPCM = 0x6C70636D;
constexpr std::uint32_t FLOAT_PACKED = 1U | 8U;
constexpr std::uint32_t INT_PACKED = 4U | 8U;
constexpr std::uint32_t NON_INTERLEAVED = 32U;

template <class T, std::size_t N>
TonPuffer puffer(const std::array<T, N>& samples) {
  return {samples.data(), static_cast<std::uint32_t>(N * sizeof(T))};
}

std::vector<float> samples(const std::optional<PcmBlock>& block) {
  return block ? std::vector<float>(block->samples.begin(), block->samples.end())
               : std::vector<float>();
}

TEST(FramesAusTest, ABufferHasAsManyFramesAsItSays) {
  EXPECT_EQ(framesAus(1), 1U);
  EXPECT_EQ(framesAus(2'147'483'647), 2'147'483'647U);
  EXPECT_EQ(framesAus(0), std::nullopt);
}

TEST(FramesAusDeathTest, ANumberThatNoBufferCanHaveStopsTheProcess) {
  EXPECT_DEATH(static_cast<void>(framesAus(-1)), "Audiopuffer: unmoegliche Laenge");
  EXPECT_DEATH(static_cast<void>(framesAus(2'147'483'648)), "Audiopuffer: unmoegliche Laenge");
}

class PcmUebersetzerTest : public testing::Test {
 protected:
  PcmUebersetzer uebersetzer;
  const std::array<float, 4> links{0.1F, 0.2F, 0.3F, 0.4F};
  const std::array<float, 4> rechts{-0.1F, -0.2F, -0.3F, -0.4F};
};

TEST_F(PcmUebersetzerTest, InterleavedFloatsAreAView) {
  const TonPuffer p = puffer(links);
  const auto block = uebersetzer.uebersetze({48000, LPCM, FLOAT_PACKED, 2, 32}, {&p, 1}, 2, 17.25);
  ASSERT_TRUE(block);
  EXPECT_EQ(block->format, (PcmFormat{48000, 2, true}));
  EXPECT_EQ(block->frames, 2U);
  EXPECT_EQ(block->hostTime, 17.25);
  EXPECT_EQ(block->samples.data(), links.data());
  EXPECT_EQ(block->samples.size(), 4U);
}

TEST_F(PcmUebersetzerTest, ChannelsInBuffersOfTheirOwnComeOneAfterAnother) {
  const std::array p{puffer(links), puffer(rechts)};
  const auto block = uebersetzer.uebersetze({48000, LPCM, FLOAT_PACKED | NON_INTERLEAVED, 2, 32}, p,
                                            3, std::nullopt);
  ASSERT_TRUE(block);
  EXPECT_EQ(block->format, (PcmFormat{48000, 2, false}));
  EXPECT_EQ(block->hostTime, std::nullopt);
  EXPECT_EQ(samples(block), (std::vector<float>{0.1F, 0.2F, 0.3F, -0.1F, -0.2F, -0.3F}));
}

TEST_F(PcmUebersetzerTest, OneChannelIsAViewInEitherLayout) {
  const TonPuffer p = puffer(links);
  const auto block = uebersetzer.uebersetze({44100, LPCM, FLOAT_PACKED | NON_INTERLEAVED, 1, 32},
                                            {&p, 1}, 4, std::nullopt);
  ASSERT_TRUE(block);
  EXPECT_EQ(block->samples.data(), links.data());
}

TEST_F(PcmUebersetzerTest, IntegersAreScaledToOne) {
  const std::array<std::int16_t, 3> kurz{-32768, 0, 16384};
  const TonPuffer p = puffer(kurz);
  EXPECT_EQ(samples(uebersetzer.uebersetze({48000, LPCM, INT_PACKED, 1, 16}, {&p, 1}, 3, {})),
            (std::vector<float>{-1.0F, 0.0F, 0.5F}));
  const std::array<std::int32_t, 2> lang{std::numeric_limits<std::int32_t>::min(), 1 << 29};
  const TonPuffer q = puffer(lang);
  EXPECT_EQ(samples(uebersetzer.uebersetze({48000, LPCM, INT_PACKED, 1, 32}, {&q, 1}, 2, {})),
            (std::vector<float>{-1.0F, 0.25F}));
}

TEST_F(PcmUebersetzerTest, LongFloatsAreShortened) {
  const std::array<double, 2> werte{0.5, -0.25};
  const TonPuffer p = puffer(werte);
  EXPECT_EQ(samples(uebersetzer.uebersetze({48000, LPCM, FLOAT_PACKED, 2, 64}, {&p, 1}, 1, {})),
            (std::vector<float>{0.5F, -0.25F}));
}

TEST_F(PcmUebersetzerTest, WhatIsNoNativePcmIsNoBlock) {
  const TonPuffer p = puffer(links);
  const auto geht = [&](const TonBeschreibung& b) {
    return uebersetzer.uebersetze(b, {&p, 1}, 1, {}).has_value();
  };
  EXPECT_TRUE(geht({48000, LPCM, FLOAT_PACKED, 1, 32}));
  EXPECT_FALSE(geht({48000, 0x61616320, FLOAT_PACKED, 1, 32}));  // 'aac '
  EXPECT_FALSE(geht({48000, LPCM, FLOAT_PACKED | 2U, 1, 32}));   // big endian
  EXPECT_FALSE(geht({48000, LPCM, INT_PACKED, 1, 24}));
  EXPECT_FALSE(geht({48000, LPCM, 8U, 1, 16}));  // unsigned
  EXPECT_FALSE(geht({48000, LPCM, FLOAT_PACKED, 0, 32}));
}

// The converter decides which rates it can convert.
TEST_F(PcmUebersetzerTest, AFloatOfAnotherWidthIsNoBlock) {
  const TonPuffer p = puffer(links);
  for (const std::uint32_t bits : {16U, 80U}) {
    EXPECT_FALSE(uebersetzer.uebersetze({48000, LPCM, FLOAT_PACKED, 1, bits}, {&p, 1}, 1, 0.0));
  }
}

TEST_F(PcmUebersetzerTest, FloatsAtAnOddAddressAreCopied) {
  std::array<std::byte, 3 * sizeof(float) + 1> bytes{};
  std::memcpy(bytes.data() + 1, links.data(), 3 * sizeof(float));
  const TonPuffer p{bytes.data() + 1, 3 * sizeof(float)};
  const auto block = uebersetzer.uebersetze({48000, LPCM, FLOAT_PACKED, 1, 32}, {&p, 1}, 3, 0.0);
  EXPECT_EQ(samples(block), (std::vector<float>{0.1F, 0.2F, 0.3F}));
}

TEST_F(PcmUebersetzerTest, ARateOfZeroIsPassedOn) {
  const TonPuffer p = puffer(links);
  const auto block = uebersetzer.uebersetze({0, LPCM, FLOAT_PACKED, 1, 32}, {&p, 1}, 1, {});
  ASSERT_TRUE(block);
  EXPECT_EQ(block->format.rate, 0);
}

TEST_F(PcmUebersetzerTest, SampleTypeAndLayoutArePartOfTheFormat) {
  const TonPuffer p = puffer(links);
  const auto format = [&](const TonBeschreibung& b) {
    return uebersetzer.uebersetze(b, {&p, 1}, 1, {})->format;
  };
  const TonBeschreibung gleitkomma{48000, LPCM, FLOAT_PACKED, 1, 32};
  EXPECT_EQ(format(gleitkomma), format(gleitkomma));
  EXPECT_NE(format(gleitkomma), format({48000, LPCM, INT_PACKED, 1, 16}));
  EXPECT_NE(format({48000, LPCM, FLOAT_PACKED, 3, 32, 5}),
            format({48000, LPCM, FLOAT_PACKED, 3, 32, 6}));
}

TEST(LayoutNummerTest, ATagCountsUnlessItSaysThatTheLayoutIsDescribed) {
  using Kanaele = std::vector<std::uint32_t>;
  constexpr std::uint32_t JE_KANAL = 0;
  constexpr std::uint32_t JE_BIT = 1U << 16U;
  EXPECT_EQ(layoutNummer(0x00650002, 3, Kanaele{1, 2}), 0x00650002U);
  EXPECT_EQ(layoutNummer(JE_KANAL, 3, Kanaele{1, 2}), layoutNummer(JE_KANAL, 4, Kanaele{1, 2}));
  EXPECT_NE(layoutNummer(JE_KANAL, 3, Kanaele{1, 2}), layoutNummer(JE_KANAL, 3, Kanaele{2, 1}));
  EXPECT_NE(layoutNummer(JE_KANAL, 3, Kanaele{1, 2}), layoutNummer(JE_KANAL, 3, Kanaele{1, 2, 0}));
  EXPECT_EQ(layoutNummer(JE_BIT, 3, Kanaele{1, 2}), layoutNummer(JE_BIT, 3, Kanaele{2, 1}));
  EXPECT_NE(layoutNummer(JE_BIT, 3, Kanaele{}), layoutNummer(JE_BIT, 4, Kanaele{}));
}

TEST_F(PcmUebersetzerTest, BuffersThatHoldLessThanTheyShouldAreNoBlock) {
  const std::array p{puffer(links), puffer(rechts)};
  const TonBeschreibung getrennt{48000, LPCM, FLOAT_PACKED | NON_INTERLEAVED, 2, 32};
  EXPECT_TRUE(uebersetzer.uebersetze(getrennt, p, 4, {}));
  EXPECT_FALSE(uebersetzer.uebersetze(getrennt, p, 5, {}));
  EXPECT_FALSE(uebersetzer.uebersetze(getrennt, std::span(p).first(1), 4, {}));
  const TonPuffer leer;
  EXPECT_FALSE(uebersetzer.uebersetze({48000, LPCM, FLOAT_PACKED, 1, 32}, {&leer, 1}, 1, {}));
}

struct Wandler final : KonverterAufrufe {
  explicit Wandler(std::optional<Fehler> f) : fehler(std::move(f)) {}
  Umwandlung wandle(std::span<const float> samples, std::size_t kapazitaet,
                    std::vector<float>& ausgabe) override {
    ausgabe.assign(samples.begin(), samples.end());
    ausgabe.push_back(static_cast<float>(kapazitaet));
    return {!fehler, fehler};
  }
  std::optional<Fehler> fehler;
};

PcmBlock block(const PcmFormat& format, std::uint32_t frames, std::span<const float> samples) {
  return {format, frames, samples, std::nullopt};
}

TEST(AvKonverterTest, TheFirstChannelIsConverted) {
  const std::array<float, 4> werte{1, 2, 3, 4};
  std::vector<float> aus;
  AvKonverter verschraenkt({48000, 2, true}, std::make_unique<Wandler>(std::nullopt));
  EXPECT_EQ(verschraenkt.wandle(block({48000, 2, true}, 2, werte), 10, aus), Umwandlung{});
  EXPECT_EQ(aus, (std::vector<float>{1, 3, 10}));
  AvKonverter getrennt({48000, 2, false}, std::make_unique<Wandler>(std::nullopt));
  EXPECT_EQ(getrennt.wandle(block({48000, 2, false}, 2, werte), 10, aus), Umwandlung{});
  EXPECT_EQ(aus, (std::vector<float>{1, 2, 10}));
}

TEST(AvKonverterTest, ABlockThatDoesNotFitIsLostWithoutAnError) {
  const std::array<float, 4> werte{1, 2, 3, 4};
  std::vector<float> aus;
  AvKonverter konverter({48000, 1, true}, std::make_unique<Wandler>(std::nullopt));
  EXPECT_EQ(konverter.wandle(block({44100, 1, true}, 4, werte), 10, aus), Umwandlung::verloren());
  EXPECT_EQ(konverter.wandle(block({48000, 1, true}, 5, werte), 10, aus), Umwandlung::verloren());
}

TEST(AvKonverterTest, AnEmptyBlockConvertsToNothing) {
  std::vector<float> aus{1};
  AvKonverter konverter({48000, 1, true}, std::make_unique<Wandler>(std::nullopt));
  EXPECT_EQ(konverter.wandle(block({48000, 1, true}, 0, {}), 10, aus), Umwandlung{});
  EXPECT_TRUE(aus.empty());
}

TEST(AvKonverterTest, AnErrorLeavesNoSamples) {
  const std::array<float, 1> werte{1};
  const Fehler kaputt{"NSOSStatusErrorDomain", -50, "nein"};
  std::vector<float> aus;
  AvKonverter konverter({48000, 1, true}, std::make_unique<Wandler>(kaputt));
  EXPECT_EQ(konverter.wandle(block({48000, 1, true}, 1, werte), 10, aus),
            Umwandlung::gescheitert(kaputt));
  EXPECT_TRUE(aus.empty());
}

TEST(FehlertexteTest, EveryMissingPermissionSaysWhatToDo) {
  EXPECT_EQ(mikrofonNichtErlaubt(Erlaubnis::verweigert),
            (Fehler{"AVAuthorizationStatus", 2,
                    "Zugriff auf das Mikrofon verweigert; in den Systemeinstellungen unter "
                    "Datenschutz & Sicherheit > Mikrofon die App einschalten, die die Aufnahme "
                    "startet"}));
  EXPECT_EQ(mikrofonNichtErlaubt(Erlaubnis::eingeschraenkt),
            (Fehler{"AVAuthorizationStatus", 1,
                    "das Mikrofon ist auf diesem Mac durch Bildschirmzeit oder ein "
                    "Verwaltungsprofil gesperrt"}));
  EXPECT_EQ(mikrofonNichtErlaubt(Erlaubnis::nichtGefragt),
            (Fehler{"AVAuthorizationStatus", 0,
                    "die Frage von macOS nach dem Mikrofon ist noch nicht beantwortet; bitte "
                    "erlauben (spaeter in den Systemeinstellungen unter Datenschutz & Sicherheit > "
                    "Mikrofon) und die Aufnahme neu beginnen"}));
  EXPECT_EQ(erklaert({SCREEN_CAPTURE_DOMAIN, -3801, "declined"}).description,
            "Aufnahme von Bildschirm und Systemton nicht erlaubt; in den Systemeinstellungen unter "
            "Datenschutz & Sicherheit > Bildschirm- & Systemaudioaufnahme (bis macOS 14: "
            "Bildschirmaufnahme) die App einschalten, die die Aufnahme startet, und sie dann neu "
            "starten");
  EXPECT_EQ(erklaert({SCREEN_CAPTURE_DOMAIN, -3803, "x"}).description,
            "die App, die die Aufnahme startet, ist nicht fuer Bildschirmaufnahmen signiert");
}

TEST(FehlertexteTest, OtherErrorsKeepTheirOwnWords) {
  const Fehler intern{SCREEN_CAPTURE_DOMAIN, -3811, "Interner Fehler"};
  EXPECT_EQ(erklaert(intern), intern);
  const Fehler fremd{"NSOSStatusErrorDomain", -3801, "etwas anderes"};
  EXPECT_EQ(erklaert(fremd), fremd);
}

TEST(FehlertexteTest, ANoOfTheUserIsDistinguishedFromAFailure) {
  EXPECT_TRUE(istEntscheidungDesNutzers(mikrofonNichtErlaubt(Erlaubnis::verweigert)));
  EXPECT_TRUE(istEntscheidungDesNutzers({SCREEN_CAPTURE_DOMAIN, -3801, ""}));
  EXPECT_TRUE(istEntscheidungDesNutzers({SCREEN_CAPTURE_DOMAIN, -3817, ""}));
  EXPECT_FALSE(istEntscheidungDesNutzers({SCREEN_CAPTURE_DOMAIN, -3821, ""}));
  EXPECT_FALSE(istEntscheidungDesNutzers({"posix", -3801, ""}));
}

}  // namespace
}  // namespace hallkorb
