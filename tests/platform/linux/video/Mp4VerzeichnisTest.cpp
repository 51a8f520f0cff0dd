// The index of a whole file, from fragments in every form that the standard allows, and in none.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "platform/linux/video/Mp4Verzeichnis.h"

namespace hallkorb {
namespace {

using Bytes = std::vector<std::uint8_t>;

// A fragment that begins at a byte which none of its fields happens to hold.
constexpr std::int64_t ORT = 0x5000;

struct Form {
  std::uint32_t tfhd = 0x020000;
  std::uint32_t trun = 0x201;
  std::vector<std::uint32_t> groessen{5, 7};
  std::size_t daten = 12;  // bytes of the samples
};

Bytes fragment(const Form& form) {
  Bytes ziel;
  std::size_t ortFeld = 0;
  mp4Kasten(ziel, "moof", [&] {
    mp4Kasten(ziel, "mfhd", [&] { mp4Acht(ziel, 1); });
    mp4Kasten(ziel, "traf", [&] {
      mp4Kasten(ziel, "tfhd", [&] {
        mp4Vier(ziel, form.tfhd);
        mp4Vier(ziel, 1);
        if (form.tfhd & 0x1) mp4Acht(ziel, ORT);
        if (form.tfhd & 0x2) mp4Vier(ziel, 1);
        if (form.tfhd & 0x8) mp4Vier(ziel, 700);
        if (form.tfhd & 0x10) mp4Vier(ziel, 6);
        if (form.tfhd & 0x20) mp4Vier(ziel, 0);
      });
      mp4Kasten(ziel, "trun", [&] {
        mp4Vier(ziel, form.trun);
        mp4Vier(ziel, static_cast<std::uint32_t>(form.groessen.size()));
        ortFeld = ziel.size();
        if (form.trun & 0x1) mp4Vier(ziel, 0);
        if (form.trun & 0x4) mp4Vier(ziel, 0);
        for (const std::uint32_t groesse : form.groessen) {
          if (form.trun & 0x100) mp4Vier(ziel, 800);
          if (form.trun & 0x200) mp4Vier(ziel, groesse);
          if (form.trun & 0x400) mp4Vier(ziel, 0x1010000);
          if (form.trun & 0x800) mp4Vier(ziel, 3);
        }
      });
    });
  });
  if (form.trun & 0x1) {
    EXPECT_TRUE(mp4SetzeVier(ziel, ortFeld, static_cast<std::uint32_t>(ziel.size() + 8)));
  }
  mp4Kasten(ziel, "mdat", [&] { ziel.insert(ziel.end(), form.daten, 0x55); });
  return ziel;
}

void kopf(Bytes& ziel, std::string_view name, bool breit) {
  mp4Kasten(ziel, name, [&] {
    mp4Vier(ziel, breit ? 1U << 24 : 0U);
    for (int i = 0; i < (breit ? 4 : 2); ++i)
      mp4Vier(ziel, 0);
    if (name == "tkhd") mp4Acht(ziel, std::uint64_t{1} << 32);
    if (name != "tkhd") mp4Vier(ziel, name == "mvhd" ? 1000 : 10000);
    mp4Acht(ziel, 0x1234);
  });
}

// The head of a file without samples; its heads have numbers of eight bytes if `breit`.
Bytes muster(bool breit = false, int spuren = 1) {
  Bytes ziel;
  mp4Kasten(ziel, "moov", [&] {
    kopf(ziel, "mvhd", breit);
    for (int i = 0; i < spuren; ++i) {
      mp4Kasten(ziel, "trak", [&] {
        kopf(ziel, "tkhd", breit);
        mp4Kasten(ziel, "edts", [&] { mp4Acht(ziel, 0); });
        mp4Kasten(ziel, "mdia", [&] {
          kopf(ziel, "mdhd", breit);
          mp4Kasten(ziel, "minf", [&] {
            mp4Kasten(ziel, "stbl", [&] {
              mp4Kasten(ziel, "stsd", [&] { mp4Acht(ziel, 0x77); });
              for (const char* leer : {"stts", "stsc", "stco"})
                mp4Kasten(ziel, leer, [&] { mp4Acht(ziel, 0); });
            });
          });
        });
      });
    }
    mp4Kasten(ziel, "mvex", [&] { mp4Acht(ziel, 0); });
  });
  return ziel;
}

Bytes finde(Mp4Bytes bytes, const std::vector<std::string_view>& weg) {
  for (const std::string_view name : weg) {
    const auto inhalt = mp4Inhalt(bytes, name);
    if (!inhalt) return {};
    bytes = *inhalt;
  }
  return {bytes.begin(), bytes.end()};
}

// The words of one of the tables, version and flags left out.
std::vector<std::uint32_t> tafel(const Bytes& moov, std::string_view name) {
  const Bytes inhalt = finde(moov, {"moov", "trak", "mdia", "minf", "stbl", name});
  Mp4Zahlen zahlen(inhalt);
  std::vector<std::uint32_t> alle;
  zahlen.ueberspringe(4);
  while (zahlen.stelle() + 4 <= inhalt.size())
    alle.push_back(zahlen.vier());
  return alle;
}

using Tafel = std::vector<std::uint32_t>;

// Two samples at 0 and 900 ticks in one fragment.
Mp4Verzeichnis mitZweien(const Form& form) {
  Mp4Verzeichnis verzeichnis;
  verzeichnis.merke(0, true);
  verzeichnis.merke(900, false);
  verzeichnis.nimmFragment(fragment(form), ORT);
  return verzeichnis;
}

TEST(Mp4Verzeichnis, ListsEverySampleWhereItLies) {
  Mp4Verzeichnis verzeichnis = mitZweien({});
  verzeichnis.merke(1800, true);
  const Bytes einzeln = fragment({0x020000, 0x201, {9}, 9});
  verzeichnis.nimmFragment(einzeln, 0x100000000);
  verzeichnis.merke(2000, false);
  verzeichnis.nimmFragment(einzeln, 0x200000000);
  const Bytes moov = verzeichnis.kasten(muster(), 5000);
  const auto ersterKopf = static_cast<std::uint32_t>(ORT + fragment({}).size() - 12);
  const auto kopfLaenge = static_cast<std::uint32_t>(einzeln.size() - 9);
  EXPECT_EQ(tafel(moov, "stsz"), (Tafel{0, 4, 5, 7, 9, 9}));
  EXPECT_EQ(tafel(moov, "stts"), (Tafel{3, 2, 900, 1, 200, 1, 3000}));
  EXPECT_EQ(tafel(moov, "stss"), (Tafel{2, 1, 3}));
  EXPECT_EQ(tafel(moov, "stsc"), (Tafel{2, 1, 2, 1, 2, 1, 1}));
  EXPECT_EQ(tafel(moov, "co64"), (Tafel{3, 0, ersterKopf, 1, kopfLaenge, 2, kopfLaenge}));
}

TEST(Mp4Verzeichnis, KeepsThePatternButForWhatSaysThatItHasNoSamples) {
  const Bytes moov = mitZweien({}).kasten(muster(), 2000);
  EXPECT_EQ(tafel(moov, "stsd"), (Tafel{0x77}));
  for (const char* weg : {"stco"})
    EXPECT_TRUE(tafel(moov, weg).empty());
  EXPECT_TRUE(finde(moov, {"moov", "mvex"}).empty());
  EXPECT_TRUE(finde(moov, {"moov", "trak", "edts"}).empty());
}

TEST(Mp4Verzeichnis, SetsTheDurationsOfFileAndTrack) {
  for (const bool breit : {false, true}) {
    SCOPED_TRACE(breit);
    const Bytes moov = mitZweien({}).kasten(muster(breit), 2005);
    const auto dauer = [&](const std::vector<std::string_view>& weg, std::size_t davor) {
      const Bytes kasten = finde(moov, weg);
      Mp4Zahlen zahlen(kasten);
      zahlen.ueberspringe(davor);
      return breit ? zahlen.acht() : zahlen.vier();
    };
    const std::size_t daten = breit ? 16 : 8;
    EXPECT_EQ(dauer({"moov", "mvhd"}, 4 + daten + 4), 201U);  // thousandths, upward
    EXPECT_EQ(dauer({"moov", "trak", "tkhd"}, 4 + daten + 8), 201U);
    EXPECT_EQ(dauer({"moov", "trak", "mdia", "mdhd"}, 4 + daten + 4), 2005U);
  }
}

TEST(Mp4Verzeichnis, TheLastSampleLastsAtLeastATick) {
  EXPECT_EQ(tafel(mitZweien({}).kasten(muster(), 0), "stts"), (Tafel{2, 1, 900, 1, 1}));
}

TEST(Mp4Verzeichnis, UnderstandsEveryForm) {
  for (const std::uint32_t tfhd : {0x0U, 0x1U, 0x2U, 0x8U, 0x3BU, 0x020038U}) {
    for (const std::uint32_t trun : {0x201U, 0x205U, 0x301U, 0x705U, 0xF05U}) {
      SCOPED_TRACE(testing::Message() << std::hex << tfhd << ' ' << trun);
      const Form form{tfhd, trun, {5, 7}, 12};
      const Bytes moov = mitZweien(form).kasten(muster(), 2000);
      EXPECT_EQ(tafel(moov, "stsz"), (Tafel{0, 2, 5, 7}));
      EXPECT_EQ(tafel(moov, "co64"),
                (Tafel{1, 0, static_cast<std::uint32_t>(ORT + fragment(form).size() - 12)}));
    }
  }
  // One size for all.
  const Bytes moov = mitZweien({0x10, 0x1, {0, 0}, 12}).kasten(muster(), 2000);
  EXPECT_EQ(tafel(moov, "stsz"), (Tafel{0, 2, 6, 6}));
}

TEST(Mp4Verzeichnis, ThereIsNoneIfAFragmentDoesNotHoldWhatWasHandedOver) {
  const Form falsche[] = {
      {0x020000, 0x201, {5}, 5},         // a sample too few
      {0x020000, 0x201, {5, 7, 1}, 13},  // a sample too many
      {0x020000, 0x201, {5, 7}, 11},     // sizes that are not those of the bytes
      {0x020001, 0x200, {5, 7}, 12},     // no place
      {0x020000, 0x001, {5, 7}, 12},     // no size
  };
  for (const Form& form : falsche)
    EXPECT_TRUE(mitZweien(form).kasten(muster(), 2000).empty());
  EXPECT_TRUE(Mp4Verzeichnis().kasten(muster(), 2000).empty());
  // Once not understood, for good.
  Mp4Verzeichnis verzeichnis = mitZweien(falsche[2]);
  verzeichnis.merke(2000, true);
  verzeichnis.nimmFragment(fragment({0x020000, 0x201, {9}, 9}), 0x10000);
  EXPECT_TRUE(verzeichnis.kasten(muster(), 3000).empty());
}

TEST(Mp4Verzeichnis, ThereIsNoneOfBytesThatEndEarly) {
  const Bytes ganz = fragment({0x02003B, 0xF05, {5, 7}, 12});
  for (std::size_t laenge = 0; laenge < ganz.size(); ++laenge) {
    Mp4Verzeichnis verzeichnis;
    verzeichnis.merke(0, true);
    verzeichnis.merke(900, false);
    verzeichnis.nimmFragment(Mp4Bytes(ganz).first(laenge), ORT);
    EXPECT_TRUE(verzeichnis.kasten(muster(), 2000).empty()) << laenge;
  }
  const Bytes kopf = muster();
  const Mp4Verzeichnis heil = mitZweien({});
  for (std::size_t laenge = 0; laenge < kopf.size(); ++laenge)
    EXPECT_TRUE(heil.kasten(Mp4Bytes(kopf).first(laenge), 2000).empty()) << laenge;
  EXPECT_TRUE(heil.kasten(muster(false, 2), 2000).empty());
  EXPECT_FALSE(heil.kasten(kopf, 2000).empty());
}

// Lengths that lie about the boxes inside: whatever comes of it, nothing outside is read.
TEST(Mp4Verzeichnis, NoByteOfItIsTrusted) {
  const Bytes ganz = fragment({0x02003B, 0xF05, {5, 7}, 12});
  const Bytes kopf = muster();
  for (const std::uint8_t wert : Bytes{0x00, 0x01, 0x07, 0x7F, 0xFF}) {
    for (std::size_t i = 0; i < ganz.size(); ++i) {
      Bytes verdorben = ganz;
      verdorben[i] = wert;
      Mp4Verzeichnis verzeichnis;
      verzeichnis.merke(0, true);
      verzeichnis.merke(900, false);
      verzeichnis.nimmFragment(verdorben, ORT);
      const Bytes moov = verzeichnis.kasten(kopf, 2000);
      if (!moov.empty()) {
        EXPECT_EQ(tafel(moov, "stsz").size(), 4U) << i;
      }
      static_cast<void>(mp4DauerFeld(verdorben));
    }
    for (std::size_t i = 0; i < kopf.size(); ++i) {
      Bytes verdorben = kopf;
      verdorben[i] = wert;
      const Bytes moov = mitZweien({}).kasten(verdorben, 2000);
      EXPECT_LT(moov.size(), 2 * kopf.size() + 200) << i;
    }
  }
}

TEST(Mp4Verzeichnis, FindsTheDurationThatSamplesHaveInCommon) {
  for (const std::uint32_t tfhd : {0x8U, 0xAU, 0x3BU, 0x020038U}) {
    const Bytes bytes = fragment({tfhd, 0x201, {12}, 12});
    const auto feld = mp4DauerFeld(bytes);
    ASSERT_TRUE(feld) << tfhd;
    EXPECT_EQ(Mp4Zahlen(Mp4Bytes(bytes).subspan(static_cast<std::size_t>(*feld))).vier(), 700U);
  }
  EXPECT_FALSE(mp4DauerFeld(fragment({0x020030, 0x301, {12}, 12})));
  EXPECT_FALSE(mp4DauerFeld({}));
}

}  // namespace
}  // namespace hallkorb
