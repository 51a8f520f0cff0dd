#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <limits>
#include <thread>

#include "platform/linux/audio/Vorrang.h"

namespace hallkorb {
namespace {

int stufe() {
  return getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()));
}

// Each in a thread of its own, since what a thread has been raised to stays.
TEST(Vorrang, HebtSoweitErlaubtUndSagtWasIst) {
  std::thread([] {
    const int vorher = stufe();
    const Vorrang erreicht = hebeVorrang(0);
    if (erreicht == Vorrang::KEINER) {
      EXPECT_EQ(stufe(), vorher);
      EXPECT_GT(vorher, -11);
    } else {
      EXPECT_EQ(erreicht, Vorrang::ERHOEHT);
      EXPECT_LE(stufe(), -11);
    }
    EXPECT_EQ(hebeVorrang(0), erreicht);
    std::thread([erreicht] { EXPECT_EQ(hebeVorrang(0), erreicht); }).join();
  }).join();
}

TEST(Vorrang, HebtAuchEinenAnderenFaden) {
  std::thread([] {
    const pid_t anderer = ::gettid();
    std::thread([anderer] {
      const int eigene = stufe();
      const Vorrang erreicht = hebeVorrang(anderer);
      EXPECT_EQ(getpriority(PRIO_PROCESS, static_cast<id_t>(anderer)) <= -11,
                erreicht == Vorrang::ERHOEHT);
      EXPECT_EQ(stufe(), eigene);
    }).join();
  }).join();
}

TEST(Vorrang, LaesstEchtzeitWieSieIst) {
  std::thread([] {
    sched_param wunsch{};
    wunsch.sched_priority = 1;
    if (sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &wunsch) != 0) {
      GTEST_SKIP() << "real-time priority is not permitted here";
    }
    const int vorher = stufe();
    EXPECT_EQ(hebeVorrang(0), Vorrang::ECHTZEIT);
    EXPECT_EQ(stufe(), vorher);
    EXPECT_EQ(sched_getscheduler(0) & ~SCHED_RESET_ON_FORK, SCHED_FIFO);
  }).join();
}

TEST(Vorrang, EinFadenDenEsNichtGibtHatKeinen) {
  // Beyond every number that the system gives. That of an ended thread may be another's by now.
  EXPECT_EQ(hebeVorrang(std::numeric_limits<pid_t>::max()), Vorrang::KEINER);
}

}  // namespace
}  // namespace hallkorb
