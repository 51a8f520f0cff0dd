// The names of the default devices, asked of the stand-in of the audio service.
#include <cstdint>
#include <optional>
#include <string>

#include "platform/macos/MacAufrufe.h"
#include "tests/macos/calls/ErsatzTest.h"
#include "tests/macos/calls/Fehlercodes.h"
#include "tests/macos/doubles/System.h"

namespace hallkorb {
namespace {

using StandardgeraetTest = ErsatzTest;

std::optional<std::string> mikrofon() {
  return standardgeraet(Richtung::aufnahme);
}

std::optional<std::string> lautsprecher() {
  return standardgeraet(Richtung::wiedergabe);
}

TEST_F(StandardgeraetTest, EachDirectionHasItsOwn) {
  ersatz::geraetenamen("Kopfhörer", "Studiomonitor");
  EXPECT_EQ(mikrofon(), "Kopfhörer");
  EXPECT_EQ(lautsprecher(), "Studiomonitor");
}

TEST_F(StandardgeraetTest, NoDeviceAndAnEmptyNameAreNone) {
  ersatz::geraetenamen(std::nullopt, "");
  EXPECT_EQ(mikrofon(), std::nullopt);
  EXPECT_EQ(lautsprecher(), std::nullopt);
}

TEST_F(StandardgeraetTest, AServiceThatRefusesNamesNone) {
  for (const std::int32_t code : {vier("stop"), vier("what"), vier("who?"), vier("!siz"),
                                  vier("nope"), vier("!obj"), vier("!dev"), vier("unop")}) {
    ersatz::tondienstFehler(code, 0);
    EXPECT_EQ(mikrofon(), std::nullopt) << code;
    EXPECT_EQ(lautsprecher(), std::nullopt) << code;
    ersatz::tondienstFehler(0, code);
    EXPECT_EQ(mikrofon(), std::nullopt) << code;
    EXPECT_EQ(lautsprecher(), std::nullopt) << code;
  }
  ersatz::tondienstFehler(0, 0);
  EXPECT_NE(mikrofon(), std::nullopt);
}

}  // namespace
}  // namespace hallkorb
