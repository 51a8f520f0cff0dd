// The choice on saved lists of windows (tests/meeting/listen): each line of expected.tsv is a
// list's name, a tab, and what `--fenster-wahl` prints for it.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "meeting/FensterInfo.h"
#include "meeting/Rangfolge.h"
#include "meeting/Wahl.h"

namespace hallkorb {
namespace {

const std::string ORDNER = HALLKORB_LISTEN;

TEST(ListenTest, EachListGivesItsChoice) {
  std::ifstream erwartet(ORDNER + "/expected.tsv");
  int anzahl = 0;
  for (std::string zeile; std::getline(erwartet, zeile); ++anzahl) {
    const auto tab = zeile.find('\t');
    ASSERT_NE(tab, std::string::npos) << zeile;
    const std::string name = zeile.substr(0, tab);
    SCOPED_TRACE(name);
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
  EXPECT_EQ(anzahl, 40);
}

}  // namespace
}  // namespace hallkorb
