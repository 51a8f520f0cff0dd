// The base of all tests that run on the stand-ins: after each test as much must live as before it.
//
// What a test leaves alive is a leak of the program: an object, a block, an observer, an activity.
// So is an object that was autoreleased on a thread without a pool. A release too many ends the
// process by itself.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "base/Fehler.h"
#include "tests/macos/runtime/Laufzeit.h"

namespace hallkorb {

// What a call returned: whether it went well, and the error of one that did not.
[[nodiscard]] inline bool gelang(const Ergebnis& ergebnis) {
  return ergebnis.gelungen();
}
[[nodiscard]] inline Fehler fehlerIn(const Ergebnis& ergebnis) {
  return ergebnis.gescheitert() ? ergebnis.fehler() : Fehler{"", 0, "gelungen"};
}

class ErsatzTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // How many objects of the class live that did not before the test.
  [[nodiscard]] long neue(const std::string& klasse) const;
  // For tests in which the program must keep something for good: lets the objects of this class,
  // and as many blocks, live on.
  void duldet(const std::string& klasse, long anzahl);
  void duldetBloecke(long anzahl);

 private:
  laufzeit::Bestand vorher_;
  long bloecke_ = 0;
  long ohnePool_ = 0;
  long beobachter_ = 0;
  long aktivitaeten_ = 0;
};

}  // namespace hallkorb
