// The ranking against a naive formulation of the same rules, on random screens made of what the
// rules look at and of near misses.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "meeting/Rangfolge.h"
#include "tests/oracles/NaiveRangfolge.h"

namespace hallkorb {
namespace {

class Zufallsbildschirm {
 public:
  explicit Zufallsbildschirm(std::uint64_t saat) : zufall_(saat) {}

  std::vector<FensterInfo> ziehe() {
    std::vector<FensterInfo> liste(wuerfle(9));
    for (FensterInfo& w : liste) {
      w = {static_cast<std::uint32_t>(zufall_() % 100),
           titel(),
           bundle(),
           wuerfle(4) == 0 ? "" : "App",
           0,
           0,
           laenge(),
           laenge(),
           wuerfle(6) != 0,
           0};
    }
    return liste;
  }

 private:
  std::size_t wuerfle(std::size_t seiten) { return zufall_() % seiten; }

  template <class Tabelle>
  std::string aus(const Tabelle& tabelle) {
    return std::string(tabelle[wuerfle(tabelle.size())]);
  }

  std::string bundle() {
    switch (wuerfle(12)) {
      case 0:
        return aus(EIGENE_BUNDLES);
      case 1:
        return aus(std::vector<std::string>{"", "org.gnome.Terminal", "com.google.Chrome.app",
                                            "com.google.Chrome.app.x", "com.microsoft.edgemac.app.",
                                            "us.zoom.xo", "com.apple.safari"});
      case 2:
      case 3:
      case 4:
        return aus(BROWSER_BUNDLES);
      default:
        return std::string(MEETING_BUNDLES[wuerfle(MEETING_BUNDLES.size())].bundle);
    }
  }

  double laenge() {
    static const std::vector<double> GRENZEN{0,   89,  90,  159, 160,    239, 239.99, 240,  319.5,
                                             320, 399, 400, 599, 600.25, 800, 1e6,    1e200};
    return wuerfle(2) == 0 ? GRENZEN[wuerfle(GRENZEN.size())]
                           : 320.0 + static_cast<double>(wuerfle(5)) * 120;
  }

  std::string wort() {
    static const std::vector<std::string> SONST{"zoom",
                                                "window",
                                                "meet",
                                                "meet - ",
                                                "google meet",
                                                "microsoft teams",
                                                "huddle",
                                                "anruf",
                                                "call",
                                                "floating video",
                                                "share toolbar",
                                                "share statusbar",
                                                "bildschirm von ",
                                                "'s screen",
                                                "s bildschirm",
                                                "webex",
                                                "cisco webex meetings",
                                                "webex meetings",
                                                "abc-defg-hij",
                                                "xyz-abcd-efg",
                                                "abc-defg-hi",
                                                "meet.google.com",
                                                "teams.microsoft.com",
                                                "teams.live.com"};
    static const std::vector<std::string> ZEICHEN{
        " ",      " ",      " ",      "-",      "–",      "—",
        "’",      "'",      "|",      "\n",     "\r\n",   "\t",
        "\u00A0", "\u2028", "\u3000", "\u200B", "\u200D", "👨‍👩‍👧",
        "🇩🇪",     "é",      "\u0308", "7",      "²",      "ß",
        "字",     "한",     "x",      "(",      "."};
    switch (wuerfle(10)) {
      case 0:
        return aus(MEETING_WORTE);
      case 1:
        return aus(TEILEN_WORTE);
      case 2:
        return aus(ZOOM_NEBENFENSTER);
      case 3:
        return aus(WEB_DIENSTE);
      case 4:
        return aus(TEAMS_SEITEN);
      case 5:
      case 6:
        return aus(SONST);
      default:
        return aus(ZEICHEN);
    }
  }

  // Varies a title: other letters in upper case, umlauts instead of vowels, a letter missing.
  std::string verfremde(std::string text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] < 'a' || text[i] > 'z') continue;
      switch (wuerfle(40)) {
        case 0:
          text[i] = static_cast<char>(text[i] - 'a' + 'A');
          break;
        case 1:
          text.insert(i + 1, "\u0308");
          break;
        case 2:
          if (wuerfle(3) == 0) text.erase(i, 1);
          break;
        default:
          break;
      }
    }
    return text;
  }

  std::string titel() {
    std::string text;
    for (std::size_t n = wuerfle(5); n > 0; --n)
      text += verfremde(wort());
    return text;
  }

  std::mt19937_64 zufall_;
};

TEST(RangfolgeEigenschaftTest, AgreesWithANaiveFormulation) {
  Zufallsbildschirm bildschirm(20240917);
  std::map<std::string, int> gruende;
  for (int runde = 0; runde < 20'000; ++runde) {
    const auto liste = bildschirm.ziehe();
    const auto soll = naiv::kandidaten(liste);
    const auto ist = meetingKandidaten(liste);
    ASSERT_EQ(ist.ohne, soll.ohne) << eingabeJSON({liste});
    ASSERT_EQ(ist.liste, soll.liste) << eingabeJSON({liste});
    for (const Wahl& w : ist.liste)
      ++gruende[w.grund];
  }
  // Each reason must come up often, or the screens would prove too little.
  for (const std::string& grund : naiv::gruende())
    EXPECT_GT(gruende[grund], 20) << grund;
}

}  // namespace
}  // namespace hallkorb
