#include "tests/support/Laute.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <string>
#include <utility>

namespace hallkorb {
namespace {

// One character per sound: small letters for long vowels and consonants, capitals for short ones.
// Ä Ö Ü are written as 1 2 3 (long ä, ö, ü), S is sch, C as in "ich", x as in "ach", N is ng.
Laut vokal(double f1, double f2, double f3, double dauer) {
  Laut l;
  l.f1 = f1, l.f2 = f2, l.f3 = f3;
  l.stimme = 1.0;
  l.hauch = 0.01;
  l.dauer = dauer;
  l.silbe = true;
  return l;
}

Laut klinger(double f1, double f2, double f3, double stimme, double dauer) {
  Laut l = vokal(f1, f2, f3, dauer);
  l.stimme = stimme;
  l.silbe = false;
  return l;
}

Laut reiber(double f2, double zischen, double mitte, double breite, double dauer,
            double stimme = 0.0) {
  Laut l;
  l.f1 = 330.0, l.f2 = f2, l.f3 = 2500.0;
  l.stimme = stimme;
  l.zischen = zischen;
  l.mitte = mitte, l.breite = breite;
  l.dauer = dauer;
  return l;
}

// A closure, then its release. Before a vowel a hard one is followed by breath.
void verschluss(double f2, double staerke, double mitte, double breite, bool hart,
                std::vector<Laut>& laute) {
  laute.push_back(reiber(f2, 0.0, mitte, breite, hart ? 0.055 : 0.045, hart ? 0.0 : 0.06));
  laute.push_back(reiber(f2, staerke, mitte, breite, hart ? 0.016 : 0.009));
  if (!hart) return;
  Laut behaucht = reiber(f2, 0.0, mitte, breite, 0.025);
  behaucht.hauch = 0.12;
  laute.push_back(behaucht);
}

void konsonant(char zeichen, std::vector<Laut>& laute) {
  switch (zeichen) {
    case 'm':
      laute.push_back(klinger(270, 1100, 2200, 0.35, 0.07));
      break;
    case 'n':
      laute.push_back(klinger(270, 1600, 2500, 0.35, 0.065));
      break;
    case 'N':
      laute.push_back(klinger(270, 2000, 2600, 0.35, 0.075));
      break;
    case 'l':
      laute.push_back(klinger(350, 1200, 2700, 0.5, 0.06));
      break;
    case 'j':
      laute.push_back(klinger(280, 2200, 2900, 0.5, 0.055));
      break;
    case 'r':
      laute.push_back(reiber(1150, 0.03, 1500, 900, 0.055, 0.4));
      break;
    case 'v':
      laute.push_back(reiber(1000, 0.05, 4500, 3000, 0.06, 0.25));
      break;
    case 'z':
      laute.push_back(reiber(1700, 0.12, 6000, 1600, 0.07, 0.2));
      break;
    case 'f':
      laute.push_back(reiber(1000, 0.1, 5200, 3500, 0.09));
      break;
    case 's':
      laute.push_back(reiber(1700, 0.3, 6300, 1600, 0.095));
      break;
    case 'S':
      laute.push_back(reiber(1800, 0.35, 3300, 1300, 0.105));
      break;
    case 'x':
      laute.push_back(reiber(1100, 0.22, 1700, 900, 0.085));
      break;
    case 'C':
      laute.push_back(reiber(2100, 0.22, 3900, 1500, 0.085));
      break;
    case 'h': {
      Laut l;
      l.hauch = 0.12;
      l.dauer = 0.055;
      laute.push_back(l);
      break;
    }
    case 'p':
      verschluss(900, 0.2, 1300, 1500, true, laute);
      break;
    case 't':
      verschluss(1700, 0.35, 4500, 2500, true, laute);
      break;
    case 'k':
      verschluss(1900, 0.3, 2000, 900, true, laute);
      break;
    case 'b':
      verschluss(900, 0.1, 1300, 1500, false, laute);
      break;
    case 'd':
      verschluss(1700, 0.16, 4500, 2500, false, laute);
      break;
    case 'g':
      verschluss(1900, 0.15, 2000, 900, false, laute);
      break;
    default:
      break;
  }
}

Laut selbstlaut(char zeichen) {
  switch (zeichen) {
    case 'a':
      return vokal(740, 1250, 2550, 0.15);
    case 'A':
      return vokal(730, 1300, 2500, 0.085);
    case 'e':
      return vokal(390, 2150, 2750, 0.14);
    case 'E':
      return vokal(550, 1850, 2550, 0.08);
    case 'i':
      return vokal(280, 2250, 2950, 0.13);
    case 'I':
      return vokal(370, 2000, 2600, 0.07);
    case 'o':
      return vokal(400, 800, 2500, 0.14);
    case 'O':
      return vokal(560, 1000, 2450, 0.08);
    case 'u':
      return vokal(310, 800, 2300, 0.13);
    case 'U':
      return vokal(400, 950, 2300, 0.07);
    case '1':
      return vokal(500, 1950, 2600, 0.14);
    case '2':
      return vokal(390, 1500, 2250, 0.13);
    case '3':
      return vokal(300, 1700, 2200, 0.12);
    case '6':
      return vokal(620, 1300, 2450, 0.07);
    default:
      return vokal(480, 1500, 2500, 0.055);
  }
}

bool istVokal(char zeichen) {
  return std::string_view("aAeEiIoOuU123@6").find(zeichen) != std::string_view::npos;
}

// Small letters, with ä, ö, ü, ß as 1, 2, 3, 4; marks stay, anything else becomes a space.
std::string vereinfacht(std::string_view text) {
  constexpr std::array<std::pair<std::string_view, char>, 7> UMLAUTE{
      {{"ä", '1'}, {"ö", '2'}, {"ü", '3'}, {"ß", '4'}, {"Ä", '1'}, {"Ö", '2'}, {"Ü", '3'}}};
  std::string einfach;
  while (!text.empty()) {
    const auto umlaut = std::find_if(UMLAUTE.begin(), UMLAUTE.end(), [&](const auto& paar) {
      return text.substr(0, 2) == paar.first;
    });
    if (umlaut != UMLAUTE.end()) {
      einfach += umlaut->second;
      text.remove_prefix(2);
      continue;
    }
    const auto zeichen = static_cast<unsigned char>(text.front());
    const bool marke = std::string_view(".,?!").find(text.front()) != std::string_view::npos;
    einfach += std::isalpha(zeichen) != 0 ? static_cast<char>(std::tolower(zeichen))
               : marke                    ? text.front()
                                          : ' ';
    text.remove_prefix(1);
  }
  return einfach;
}

bool langerVokal(std::string_view rest) {
  const std::string_view danach = rest.substr(1);
  if (danach.empty() || danach.front() == 'h') return true;
  if (istVokal(danach.front())) return true;
  return danach.size() >= 2 && istVokal(danach[1]);
}

// Letters that stand for other sounds than their own. `ende`: only at a word's end.
struct Regel {
  std::string_view buchstaben;
  std::string_view laute;
  bool anfang = false;
  bool ende = false;
};
constexpr std::array<Regel, 40> REGELN{{
    {"sch", "S"},
    {"st", "St", true},
    {"sp", "Sp", true},
    {"chs", "ks"},
    {"ck", "k"},
    {"ch", "?"},
    {"qu", "kv"},
    {"ph", "f"},
    {"th", "t"},
    {"tz", "ts"},
    {"pf", "pf"},
    {"ng", "N"},
    {"nk", "Nk"},
    {"ei", "AI"},
    {"ai", "AI"},
    {"eu", "OI"},
    {"1u", "OI"},
    {"au", "AU"},
    {"ie", "i"},
    {"aa", "a"},
    {"ee", "e"},
    {"oo", "o"},
    {"er", "6", false, true},
    {"e", "@", false, true},
    {"en", "@n", false, true},
    {"el", "@l", false, true},
    {"es", "@s", false, true},
    {"em", "@m", false, true},
    {"et", "@t", false, true},
    {"ig", "IC", false, true},
    {"b", "p", false, true},
    {"d", "t", false, true},
    {"g", "k", false, true},
    {"z", "ts"},
    {"w", "v"},
    {"v", "f"},
    {"4", "s"},
    {"c", "k"},
    {"y", "3"},
    {"q", "k"},
}};

// The sounds of one word.
std::string gesprochen(std::string_view wort) {
  std::string laute;
  for (std::size_t i = 0; i < wort.size();) {
    const std::string_view rest = wort.substr(i);
    if (rest.size() > 1 && rest[0] == rest[1] && !istVokal(rest[0])) {  // a double consonant is one
      ++i;
      continue;
    }
    const auto regel = std::find_if(REGELN.begin(), REGELN.end(), [&](const Regel& r) {
      // What holds only at the end needs a syllable before it.
      return rest.starts_with(r.buchstaben) && (!r.anfang || i == 0) &&
             (!r.ende || (rest.size() == r.buchstaben.size() && i > 1));
    });
    if (regel != REGELN.end()) {
      const bool hinten =
          !laute.empty() && std::string_view("aAoOuU").find(laute.back()) != std::string_view::npos;
      if (regel->laute == "?") {
        laute += hinten ? 'x' : 'C';
      } else {
        laute += regel->laute;
      }
      i += regel->buchstaben.size();
      continue;
    }
    const char zeichen = rest.front();
    if (istVokal(zeichen)) {
      const bool klein = zeichen >= 'a';
      laute += langerVokal(rest) || !klein ? zeichen : static_cast<char>(zeichen - 'a' + 'A');
    } else if (zeichen == 's') {
      laute += rest.size() > 1 && istVokal(rest[1]) ? 'z' : 's';
    } else if (zeichen == 'h') {  // after a vowel it only makes it long
      if (laute.empty() || !istVokal(laute.back())) laute += 'h';
    } else if (zeichen == 'x') {
      laute += "ks";
    } else if (zeichen == 'r' && !laute.empty() && istVokal(laute.back()) &&
               (rest.size() == 1 || !istVokal(rest[1]))) {
      laute += '6';
    } else {
      laute += zeichen;
    }
    ++i;
  }
  return laute;
}

void sprichWort(std::string_view wort, std::vector<Laut>& laute) {
  bool betont = wort.size() > 3;  // articles and the like are not
  for (const char zeichen : gesprochen(wort)) {
    if (!istVokal(zeichen)) {
      konsonant(zeichen, laute);
      continue;
    }
    Laut l = selbstlaut(zeichen);
    l.betont = std::exchange(betont, false);
    laute.push_back(l);
  }
}

}  // namespace

std::vector<Satz> lauteVon(std::string_view text) {
  std::vector<Satz> saetze;
  Satz satz;
  std::string wort;
  for (const char zeichen : vereinfacht(text) + ".") {
    if (zeichen != ' ' && std::string_view(".,?!").find(zeichen) == std::string_view::npos) {
      wort += zeichen;
      continue;
    }
    sprichWort(wort, satz.laute);
    wort.clear();
    if (zeichen == ' ' || satz.laute.empty()) continue;
    satz.pause = zeichen == ',' ? 0.2 : 0.5;
    satz.frage = zeichen == '?';
    saetze.push_back(std::exchange(satz, {}));
  }
  return saetze;
}

}  // namespace hallkorb
