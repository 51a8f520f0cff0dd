// The choice on saved lists of windows (tests/vectors/windows): each line of expected.tsv is a
// list's name, a tab, and what `--fenster-wahl` prints for it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "meeting/FensterInfo.h"
#include "meeting/Rangfolge.h"
#include "meeting/Wahl.h"

namespace hallkorb {
namespace {

const std::string ORDNER = HALLKORB_LISTEN;

TEST(ListenTest, EachListGivesItsChoice) {
  std::ifstream erwartet(ORDNER + "/expected.tsv");
  std::set<std::string> geprueft;
  for (std::string zeile; std::getline(erwartet, zeile);) {
    const auto tab = zeile.find('\t');
    ASSERT_NE(tab, std::string::npos) << zeile;
    const std::string name = zeile.substr(0, tab);
    SCOPED_TRACE(name);
    geprueft.insert(name);
    std::ifstream datei(ORDNER + "/" + name, std::ios::binary);
    const std::string json{std::istreambuf_iterator<char>(datei), {}};
    const auto eingabe = liesEingabe(json);
    ASSERT_TRUE(eingabe);
    EXPECT_EQ(wahlJSON(waehleMeetingZiel(eingabe->fenster)), zeile.substr(tab + 1));
    // Written out and read again it is the same list.
    const auto wieder = liesEingabe(eingabeJSON(*eingabe));
    ASSERT_TRUE(wieder);
    EXPECT_EQ(*wieder, *eingabe);
  }
  std::set<std::string> vorhanden;
  for (const auto& eintrag : std::filesystem::directory_iterator(ORDNER)) {
    if (eintrag.path().extension() == ".json") vorhanden.insert(eintrag.path().filename());
  }
  EXPECT_FALSE(vorhanden.empty());
  EXPECT_EQ(geprueft, vorhanden);
}

}  // namespace
}  // namespace hallkorb
