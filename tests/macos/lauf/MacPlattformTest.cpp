// What the platform keeps awake and connects, run.
#include "platform/macos/MacPlattform.h"
#include "tests/macos/ersatz/System.h"
#include "tests/macos/lauf/ErsatzTest.h"

namespace hallkorb {
namespace {

class MacPlattformTest : public ErsatzTest {};

// On this thread, which has no pool: the base class looks for what went into none.
TEST_F(MacPlattformTest, TheComputerIsKeptAwakeFromTheFirstInputToTheEnd) {
  const long vorher = ersatz::aktivitaeten();
  {
    MacPlattform plattform;
    EXPECT_EQ(ersatz::aktivitaeten(), vorher);
    const auto mikrofon = plattform.mikrofon();
    EXPECT_EQ(ersatz::aktivitaeten(), vorher + 1);
    const auto system = plattform.systemAudio();
    EXPECT_EQ(ersatz::aktivitaeten(), vorher + 1);
  }
  EXPECT_EQ(ersatz::aktivitaeten(), vorher);
}

TEST_F(MacPlattformTest, TheWindowServerIsAskedForAtOnce) {
  const long vorher = ersatz::fensterserver();
  const MacPlattform plattform;
  EXPECT_EQ(ersatz::fensterserver(), vorher + 1);
}

}  // namespace
}  // namespace hallkorb
