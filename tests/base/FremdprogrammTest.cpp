#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/Fremdprogramm.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

using Worte = std::vector<std::string>;

TEST(FremdprogrammTest, ItsStatusIsWhatItEndedWith) {
  EXPECT_TRUE(fuehreProgrammAus({"true"}).gelungen());
  const Programmende sieben = fuehreProgrammAus({"sh", "-c", "exit 7"});
  EXPECT_EQ(sieben.status, 7);
  EXPECT_EQ(sieben.nummer, 0);
  EXPECT_FALSE(sieben.gelungen());
  EXPECT_FALSE(sieben.fehlt());
}

TEST(FremdprogrammTest, AfterASignalThereIsNone) {
  const Programmende ende = fuehreProgrammAus({"sh", "-c", "kill -9 $$"});
  EXPECT_EQ(ende.status, -1);
  EXPECT_EQ(ende.nummer, 0);
  EXPECT_FALSE(ende.gelungen());
}

TEST(FremdprogrammTest, AProgramThatIsNotThereIsMissingAndNothingElseIs) {
  const TempOrdner ordner;
  const Programmende ende = fuehreProgrammAus({ordner / "gibt es nicht", "egal"});
  EXPECT_TRUE(ende.fehlt());
  EXPECT_FALSE(ende.gelungen());
  EXPECT_TRUE(fuehreProgrammAus({"sh", "-c", "exit 127"}).fehlt());  // what a shell says of it
  EXPECT_FALSE(fuehreProgrammAus({"true"}).fehlt());
}

TEST(FremdprogrammTest, ItGetsItsWordsUnchangedAndNeitherInputNorOutput) {
  const TempOrdner ordner;
  const std::string datei = ordner / "worte";
  constexpr const char* SKRIPT = R"(
      for n in 0 1 2; do [ /dev/fd/$n -ef /dev/null ] || exit 1; done
      echo laut; echo laut >&2
      printf '%s|' "$@" >"$0")";
  const Programmende ende =
      fuehreProgrammAus({"sh", "-c", SKRIPT, datei, "mit Leerzeichen", "", "$HOME"});
  EXPECT_TRUE(ende.gelungen());
  const auto bytes = dateiBytes(datei);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "mit Leerzeichen||$HOME|");
}

TEST(FremdprogrammTest, EachLineThatItPrintsIsHandedOver) {
  Worte zeilen;
  const auto nimm = [&](const std::string& zeile) { zeilen.push_back(zeile); };
  EXPECT_TRUE(fuehreProgrammAus({"sh", "-c", "echo eins; echo; echo nicht >&2; printf zwei"}, nimm)
                  .gelungen());
  EXPECT_EQ(zeilen, (Worte{"eins", "", "zwei"}));
  // More than a pipe holds, and a failure after it.
  zeilen.clear();
  EXPECT_EQ(fuehreProgrammAus({"sh", "-c",
                               "i=0; while [ $i -lt 9000 ]; do echo 0123456789; i=$((i+1)); done; "
                               "exit 7"},
                              nimm)
                .status,
            7);
  EXPECT_EQ(zeilen, Worte(9000, "0123456789"));
  zeilen.clear();
  EXPECT_TRUE(fuehreProgrammAus({"hallkorb-no-such-program"}, nimm).fehlt());
  EXPECT_EQ(zeilen, Worte{});
}

TEST(FremdprogrammTest, ItReadsNothing) {
  Worte zeilen;
  EXPECT_TRUE(fuehreProgrammAus({"cat"}, [&](const std::string& zeile) {
                zeilen.push_back(zeile);
              }).gelungen());
  EXPECT_EQ(zeilen, Worte{});
}

}  // namespace
}  // namespace hallkorb
