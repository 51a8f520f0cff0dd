#include <gtest/gtest.h>

#include <thread>

#include "platform/macos/Wartestelle.h"

namespace hallkorb {
namespace {

using Uhr = Wartestelle::Uhr;

class WartestelleTest : public testing::Test {
 protected:
  const std::shared_ptr<Wartestelle> stelle = std::make_shared<Wartestelle>();
  const Uhr::time_point jetzt = Uhr::now();
  const Uhr::time_point spaeter = jetzt + std::chrono::hours(1);
};

TEST_F(WartestelleTest, AnAnswerOfAnotherThreadEndsTheWait) {
  Antwort<int> antwort(stelle);
  std::thread dienst([empfang = antwort.empfang()] { empfang(7); });
  EXPECT_EQ(antwort.warte(spaeter), 7);
  dienst.join();
}

TEST_F(WartestelleTest, AnAnswerThatIsThereIsTakenEvenWhenTheTimeIsOver) {
  Antwort<int> antwort(stelle);
  antwort.empfang()(7);
  EXPECT_EQ(antwort.warte(jetzt), 7);
}

TEST_F(WartestelleTest, TheFirstAnswerCounts) {
  Antwort<int> antwort(stelle);
  antwort.empfang()(7);
  antwort.empfang()(8);
  EXPECT_EQ(antwort.warte(jetzt), 7);
}

TEST_F(WartestelleTest, AWaitEndsWithoutAnAnswerWhenTheTimeIsOver) {
  Antwort<int> antwort(stelle);
  EXPECT_EQ(antwort.warte(jetzt), std::nullopt);
}

TEST_F(WartestelleTest, AnAnswerThatNobodyWaitsForAnyMoreReachesNobody) {
  std::function<void(int)> empfang;
  {
    Antwort<int> spaete(stelle);
    empfang = spaete.empfang();
    EXPECT_EQ(spaete.warte(jetzt), std::nullopt);
  }
  Antwort<int> naechste(stelle);
  empfang(7);
  EXPECT_EQ(naechste.warte(jetzt), std::nullopt);
  // Neither does it when the place itself is only kept by the answer.
  {
    Antwort<int> allein(std::make_shared<Wartestelle>());
    empfang = allein.empfang();
  }
  empfang(7);
  EXPECT_FALSE(stelle->abgebrochen());
}

TEST_F(WartestelleTest, AnAbortEndsTheWaitsThatAreAndThoseToCome) {
  Antwort<int> antwort(stelle);
  std::thread stopp([this] { stelle->brichAb(); });
  EXPECT_EQ(antwort.warte(spaeter), std::nullopt);
  stopp.join();
  EXPECT_TRUE(stelle->abgebrochen());
  EXPECT_EQ(antwort.warte(spaeter), std::nullopt);
}

TEST_F(WartestelleTest, AnAbortLeavesTheWaitsOfATakeDown) {
  stelle->brichAb();
  Antwort<int> antwort(stelle);
  std::thread dienst([empfang = antwort.empfang()] { empfang(7); });
  EXPECT_EQ(antwort.warte(spaeter, Abbrechbar::nein), 7);
  dienst.join();
}

TEST_F(WartestelleTest, ACallThatAnswersWithNothingHasSucceeded) {
  Antwort<Ergebnis> antwort(stelle);
  antwort.empfang()(Ergebnis());
  EXPECT_EQ(warteAuf(antwort, *stelle, jetzt, "der Dienst"), Ergebnis());
}

TEST_F(WartestelleTest, ACallThatAnswersWithAnErrorHasFailedWithIt) {
  const Fehler fehler{"SCStreamErrorDomain", -3802, "nein"};
  Antwort<Ergebnis> antwort(stelle);
  antwort.empfang()(fehler);
  EXPECT_EQ(warteAuf(antwort, *stelle, jetzt, "der Dienst"), fehler);
}

TEST_F(WartestelleTest, AMissingAnswerNamesWhoOwesIt) {
  Antwort<Ergebnis> antwort(stelle);
  EXPECT_EQ(warteAuf(antwort, *stelle, jetzt, "der Dienst"),
            (Fehler{"posix", ETIMEDOUT, "der Dienst antwortet nicht"}));
}

TEST_F(WartestelleTest, AMissingAnswerAfterAnAbortIsTheAbort) {
  stelle->brichAb();
  Antwort<Ergebnis> antwort(stelle);
  EXPECT_EQ(warteAuf(antwort, *stelle, spaeter, "der Dienst"),
            (Fehler{"posix", ECANCELED, "der Start wurde abgebrochen"}));
}

}  // namespace
}  // namespace hallkorb
