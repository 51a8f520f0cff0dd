// The window video's start and stop without memory: the n-th allocation of the thread that calls
// them fails, for every n, alone or with all that follow.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <optional>

#include "meeting/WindowVideoCapture.h"
#include "platform/HostClock.h"
#include "tests/support/AusgabeFaenger.h"
#include "tests/support/SimPlattform.h"
#include "tests/support/Speicherwacht.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {
namespace {

// Returns whether there was an n-th allocation.
bool ohneSpeicher(std::size_t n, bool immer, const std::function<void()>& arbeit) {
  char bisher[16];
  ::pthread_getname_np(::pthread_self(), bisher, sizeof bisher);
  ::pthread_setname_np(::pthread_self(), "aufrufer");
  speicherwacht::scheitereIn("aufrufer", n, immer);
  bool entkommen = false;
  try {
    arbeit();
  } catch (const std::bad_alloc&) {
    entkommen = true;
  }
  const std::size_t rufe = speicherwacht::rufe();
  speicherwacht::scheitereNicht();
  ::pthread_setname_np(::pthread_self(), bisher);
  EXPECT_FALSE(entkommen) << "the exception has left the call";
  return rufe > n;
}

// A recording with a meeting window; each of them runs once.
struct Szene {
  Szene() {
    setzeHostClock(welt);
    welt.bildschirm.windows = {sim::fenster(4, "us.zoom.xos", "Zoom Meeting")};
    video = WindowVideoCapture::baue(ordner.pfad(), sim::NULLZEIT, welt);
  }
  void bis(double zeit) {
    welt.am(zeit, [] {});
    welt.warteBis([&] { return welt.jetzt() >= zeit; });
  }

  TempOrdner ordner;
  AusgabeFaenger faenger;
  sim::SimPlattform welt;
  std::shared_ptr<WindowVideoCapture> video;
};

TEST(BildspeicherTest, AStartThatGetsNoMoreMemoryIsSilentAndTheStopDoesNotWaitForIt) {
  std::size_t n = 0;
  for (bool getroffen = true; getroffen; ++n) {
    SCOPED_TRACE(n);
    Szene szene;
    getroffen = ohneSpeicher(n, true, [&] { szene.video->starteGeduldig(9); });
    szene.bis(20);
    EXPECT_EQ(szene.video->stop().has_value(), !getroffen);
    EXPECT_EQ(szene.welt.jetzt(), 20.0);
    if (!getroffen) continue;
    EXPECT_EQ(szene.welt.bildschirm.inventare, 0U);
    EXPECT_EQ(szene.faenger.ausgabe() + szene.faenger.fehler(), "");
  }
  EXPECT_GT(n, 2U);
}

TEST(BildspeicherTest, AStartThatFailsForOneAllocationReportsIt) {
  std::size_t n = 0;
  for (bool getroffen = true; getroffen; ++n) {
    SCOPED_TRACE(n);
    Szene szene;
    getroffen = ohneSpeicher(n, false, [&] { szene.video->starteGeduldig(9); });
    szene.bis(1);
    EXPECT_EQ(szene.video->stop().has_value(), !getroffen);
    EXPECT_EQ(szene.welt.jetzt(), 1.0);
    if (!getroffen) continue;
    EXPECT_EQ(szene.faenger.ausgabe(), R"({"event":"video_none","message":"kein Speicher"})"
                                       "\n");
    EXPECT_EQ(szene.faenger.fehler(), "[hallkorb] Video-Start fehlgeschlagen: kein Speicher\n");
  }
  EXPECT_GT(n, 2U);
}

// The stream calls objects that are gone once the stop has returned, and what was filmed is there.
TEST(BildspeicherTest, AStopEndsTheStreamAndFinishesTheFileWhateverGetsNoMemory) {
  for (const bool immer : {false, true}) {
    std::size_t n = 0;
    for (bool getroffen = true; getroffen; ++n) {
      SCOPED_TRACE(testing::Message() << n << (immer ? " and all that follow" : ""));
      Szene szene;
      const sim::Bildschirm& schirm = szene.welt.bildschirm;
      szene.welt.bildschirm.aufrufe.reserve(4);
      szene.video->starteGeduldig(9);
      szene.bis(5);
      std::optional<WindowVideoCapture::Video> video;
      getroffen = ohneSpeicher(n, immer, [&] { video = szene.video->stop(); });
      EXPECT_EQ(szene.welt.jetzt(), 5.0);
      EXPECT_EQ(schirm.aufrufe.back(), "stop");
      EXPECT_EQ(schirm.filme.at(0).ende, 5.0);
      EXPECT_TRUE(video || getroffen);
    }
    EXPECT_GT(n, 5U);
  }
}

}  // namespace
}  // namespace hallkorb
