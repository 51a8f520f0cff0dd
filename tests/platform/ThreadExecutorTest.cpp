#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cmath>
#include <csignal>
#include <future>
#include <limits>
#include <memory>
#include <numeric>
#include <thread>
#include <utility>
#include <vector>

#include "platform/Befristet.h"
#include "platform/ThreadExecutor.h"

namespace hallkorb {
namespace {

TEST(ThreadExecutor, RunsQueuedWorkInOrderAndOneAtATime) {
  ThreadExecutor executor;
  std::vector<int> reihenfolge;  // written without a lock: that is the point
  {
    const auto queue = executor.queue("reihe");
    for (int i = 0; i < 1000; ++i)
      queue->async([&, i] { reihenfolge.push_back(i); });
  }  // waits for all of it
  std::vector<int> erwartet(1000);
  std::iota(erwartet.begin(), erwartet.end(), 0);
  EXPECT_EQ(reihenfolge, erwartet);
}

TEST(ThreadExecutor, SyncReturnsWhenAllBeforeItHasRun) {
  ThreadExecutor executor;
  const auto queue = executor.queue("reihe");
  std::promise<void> freigabe;
  int gelaufen = 0;
  queue->async([&] { freigabe.get_future().wait(); });
  queue->async([&] { gelaufen = 1; });
  std::thread spaeter([&] { freigabe.set_value(); });
  queue->sync([&] { gelaufen *= 10; });
  EXPECT_EQ(gelaufen, 10);
  spaeter.join();
}

TEST(ThreadExecutor, ManyThreadsMayQueueAndWait) {
  ThreadExecutor executor;
  const auto queue = executor.queue("reihe");
  int summe = 0;
  std::vector<std::thread> faeden;
  faeden.reserve(8);
  for (int faden = 0; faden < 8; ++faden) {
    faeden.emplace_back([&, faden] {
      for (int i = 0; i < 200; ++i) {
        if ((i + faden) % 3 == 0) {
          bool gelaufen = false;
          queue->sync([&] { ++summe, gelaufen = true; });
          EXPECT_TRUE(gelaufen);
        } else {
          queue->async([&] { ++summe; });
        }
      }
    });
  }
  for (std::thread& faden : faeden)
    faden.join();
  queue->sync([] {});
  EXPECT_EQ(summe, 1600);
}

TEST(ThreadExecutor, WorkMayQueueMoreWork) {
  ThreadExecutor executor;
  int gelaufen = 0;
  {
    const auto queue = executor.queue("reihe");
    queue->async([&] { queue->async([&] { ++gelaufen; }); });
    queue->sync([] {});
  }
  EXPECT_EQ(gelaufen, 1);
}

TEST(ThreadExecutor, WhatAnItemHoldsIsGoneWhenSyncReturns) {
  ThreadExecutor executor;
  const auto queue = executor.queue("reihe");
  auto gehalten = std::make_shared<int>(1);
  const std::weak_ptr<int> beobachtet = gehalten;
  queue->sync([halter = std::move(gehalten)] {});
  EXPECT_TRUE(beobachtet.expired());
}

TEST(ThreadExecutor, TasksRunBesideTheCallerAndEachOther) {
  ThreadExecutor executor;
  std::promise<int> hin;
  std::promise<int> her;
  int antwort = 0;
  const auto erster = executor.starte([&] { hin.set_value(1), antwort = her.get_future().get(); });
  const auto zweiter = executor.starte([&] { her.set_value(hin.get_future().get() + 1); });
  erster->warte();
  erster->warte();
  EXPECT_EQ(antwort, 2);
}

TEST(ThreadExecutor, ATaskThatGoesOutOfScopeIsWaitedFor) {
  ThreadExecutor executor;
  std::promise<void> freigabe;
  std::atomic<bool> fertig{false};
  std::thread spaeter([&] { freigabe.set_value(); });
  {
    const auto task = executor.starte([&] {
      freigabe.get_future().wait();
      fertig = true;
    });
  }
  EXPECT_TRUE(fertig);
  spaeter.join();
}

TEST(ThreadExecutor, ASleepEndsWhenItIsWokenAndNeverBeginsAgain) {
  ThreadExecutor executor;
  const auto schlaf = executor.schlaf();
  const auto wecker = executor.starte([&] { schlaf->wecke(); });
  EXPECT_TRUE(schlaf->warte(1e9));
  EXPECT_TRUE(schlaf->warte(std::numeric_limits<double>::infinity()));
  EXPECT_TRUE(schlaf->warte(0.0));
}

TEST(ThreadExecutor, ASleepThatNobodyEndsSaysSo) {
  ThreadExecutor executor;
  const auto schlaf = executor.schlaf();
  for (const double sekunden : {0.001, 0.0, -1.0, std::nan("")}) {
    EXPECT_FALSE(schlaf->warte(sekunden)) << sekunden;
  }
}

TEST(ThreadExecutor, IndependentWorkMayOutliveItsExecutor) {
  const auto freigabe = std::make_shared<std::promise<void>>();
  const auto ergebnis = std::make_shared<std::promise<int>>();
  std::make_unique<ThreadExecutor>()->starteUnabhaengig([freigabe, ergebnis] {
    freigabe->get_future().wait();
    ergebnis->set_value(7);
  });
  freigabe->set_value();
  EXPECT_EQ(ergebnis->get_future().get(), 7);
}

TEST(Befristet, WorkThatEndsInTimeHasLetGoOfAllThatItOwned) {
  ThreadExecutor executor;
  const auto besitz = std::make_shared<int>(1);
  for (int i = 0; i < 200; ++i) {
    ASSERT_TRUE(laufeBefristet(executor, 1e9, [besitz] { ++*besitz; }));
    ASSERT_EQ(besitz.use_count(), 1);
  }
  EXPECT_EQ(*besitz, 201);
}

TEST(Befristet, WorkThatDoesNotEndIsLeftToItself) {
  ThreadExecutor executor;
  const auto freigabe = std::make_shared<std::promise<void>>();
  const auto ergebnis = std::make_shared<std::promise<int>>();
  EXPECT_FALSE(laufeBefristet(executor, 0.001, [freigabe, ergebnis] {
    freigabe->get_future().wait();
    ergebnis->set_value(7);
  }));
  freigabe->set_value();
  EXPECT_EQ(ergebnis->get_future().get(), 7);
}

TEST(Befristet, AThreadThatIsKeptReadyWorksOnce) {
  ThreadExecutor executor;
  const auto besitz = std::make_shared<int>(1);
  for (int i = 0; i < 50; ++i) {
    const auto bereitschaft = Bereitschaft::neu(executor);
    ASSERT_TRUE(bereitschaft);
    if (i % 2 == 0) continue;  // never needed
    ASSERT_TRUE(bereitschaft->laufe(1e9, [besitz] { ++*besitz; }));
    ASSERT_EQ(besitz.use_count(), 1);
  }
  EXPECT_EQ(*besitz, 26);
  const auto freigabe = std::make_shared<std::promise<void>>();
  const auto ergebnis = std::make_shared<std::promise<int>>();
  EXPECT_FALSE(Bereitschaft::neu(executor)->laufe(0.001, [freigabe, ergebnis] {
    freigabe->get_future().wait();
    ergebnis->set_value(7);
  }));
  freigabe->set_value();
  EXPECT_EQ(ergebnis->get_future().get(), 7);
}

// Otherwise the kernel would end the process through such a thread while the main thread waits for
// the signal in its run loop.
TEST(ThreadExecutor, ItsThreadsTakeNoSignals) {
  ThreadExecutor executor;
  const auto blockiert = [](int nummer) {
    sigset_t maske;
    pthread_sigmask(SIG_BLOCK, nullptr, &maske);
    return sigismember(&maske, nummer) == 1;
  };
  const auto pruefe = [&] {
    for (const int nummer : {SIGINT, SIGTERM, SIGHUP})
      EXPECT_TRUE(blockiert(nummer)) << nummer;
    EXPECT_FALSE(blockiert(SIGSEGV));
  };
  const bool hier = blockiert(SIGHUP);
  executor.queue("reihe")->sync(pruefe);
  executor.starte(pruefe)->warte();
  EXPECT_TRUE(laufeBefristet(executor, 1e9, pruefe));
  EXPECT_EQ(blockiert(SIGHUP), hier);
}

}  // namespace
}  // namespace hallkorb
