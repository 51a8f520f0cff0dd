// Another program's end and what it prints, with the system's shell as that program.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/Fremdprogramm.h"

namespace hallkorb {
namespace {

using Worte = std::vector<std::string>;

TEST(Fremdprogramm, ItsEndIsReported) {
  EXPECT_TRUE(fuehreProgrammAus({"sh", "-c", "exit 0"}).gelungen());
  EXPECT_EQ(fuehreProgrammAus({"sh", "-c", "exit 3"}).status, 3);
  const Programmende getoetet = fuehreProgrammAus({"sh", "-c", "kill -9 $$"});
  EXPECT_EQ(getoetet.status, -1);
  EXPECT_FALSE(getoetet.gelungen() || getoetet.fehlt());
  EXPECT_TRUE(fuehreProgrammAus({"hallkorb-no-such-program"}).fehlt());
}

TEST(Fremdprogramm, EachLineThatItPrintsIsHandedOver) {
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

TEST(Fremdprogramm, ItReadsNothing) {
  Worte zeilen;
  EXPECT_TRUE(fuehreProgrammAus({"cat"}, [&](const std::string& zeile) {
                zeilen.push_back(zeile);
              }).gelungen());
  EXPECT_EQ(zeilen, Worte{});
}

}  // namespace
}  // namespace hallkorb
