// The translations of texts, errors and exceptions, run.
#import <ScreenCaptureKit/ScreenCaptureKit.h>

#include <stdexcept>
#include <string>

#include "platform/macos/Objekte.h"
#include "tests/macos/calls/ErsatzTest.h"
#include "tests/macos/doubles/Ersatz.h"

// A text that has no UTF-8, as with half of a surrogate pair.
@interface HKOhneUtf8 : NSString
@end
@implementation HKOhneUtf8
- (const char*)UTF8String {
  return nullptr;
}
@end
@interface HKBesondereAusnahme : NSException
@end
@implementation HKBesondereAusnahme
@end

namespace hallkorb {
namespace {

class ObjekteTest : public ErsatzTest {};

const Fehler OHNE_BESCHREIBUNG{"hallkorb", 0, "Fehler ohne Beschreibung"};

TEST_F(ObjekteTest, ATextOutlivesItsPool) {
  std::string kopie;
  @autoreleasepool {
    kopie = text(ersatz::textAus(std::string(200, 'x') + "äöü"));
  }
  EXPECT_EQ(kopie, std::string(200, 'x') + "äöü");
  EXPECT_EQ(text(@"Literal"), "Literal");
}

TEST_F(ObjekteTest, NoTextIsAnEmptyOne) {
  EXPECT_EQ(text(nil), "");
  EXPECT_EQ(text(@""), "");
  @autoreleasepool {
    EXPECT_EQ(text([[HKOhneUtf8 alloc] init]), "");
  }
}

TEST_F(ObjekteTest, AnErrorKeepsItsDomainCodeAndDescription) {
  @autoreleasepool {
    EXPECT_EQ(fehlerAus(ersatz::fehlerMit(NSPOSIXErrorDomain, 28, "Kein Platz")),
              (Fehler{"NSPOSIXErrorDomain", 28, "Kein Platz"}));
    EXPECT_EQ(fehlerAus(ersatz::fehlerMit(@"AVFoundationErrorDomain", -11800, "")),
              (Fehler{"AVFoundationErrorDomain", -11800, ""}));
    EXPECT_EQ(fehlerAus([NSError errorWithDomain:@"eigene" code:0 userInfo:nil]),
              (Fehler{"eigene", 0, "(keine Beschreibung)"}));
    constexpr long GROESSTE = 0x7fffffffffffffff;
    EXPECT_EQ(fehlerAus(ersatz::fehlerMit(@"eigene", GROESSTE, "ß")),
              (Fehler{"eigene", GROESSTE, "ß"}));
  }
}

// The system's name for the domain is longer than the one in our lines.
TEST_F(ObjekteTest, AnErrorOfTheCaptureServiceHasOurNameForIt) {
  @autoreleasepool {
    NSString* andere = ersatz::textAus("com.apple.ScreenCaptureKit.SCStreamErrorDomain");
    for (NSString* domain : {static_cast<NSString*>(SCStreamErrorDomain), andere}) {
      EXPECT_EQ(fehlerAus(ersatz::fehlerMit(domain, -3801, "abgelehnt")),
                (Fehler{"SCStreamErrorDomain", -3801, "abgelehnt"}));
    }
  }
}

TEST_F(ObjekteTest, NoErrorObjectIsAnErrorOnlyIfOneIsAskedFor) {
  EXPECT_EQ(fehlerAus(nil), OHNE_BESCHREIBUNG);
  EXPECT_TRUE(gelang(ergebnisAus(nil)));
  @autoreleasepool {
    EXPECT_EQ(fehlerIn(ergebnisAus(ersatz::fehlerMit(@"eigene", 1, "kaputt"))),
              (Fehler{"eigene", 1, "kaputt"}));
  }
}

TEST_F(ObjekteTest, WithoutAnExceptionTheCallHasRun) {
  int gelaufen = 0;
  EXPECT_TRUE(gelang(ohneAusnahme([&] { ++gelaufen; })));
  EXPECT_EQ(gelaufen, 1);
}

TEST_F(ObjekteTest, AnExceptionIsAnErrorWithItsNameAndReason) {
  @autoreleasepool {
    EXPECT_EQ(fehlerIn(ohneAusnahme([] { ersatz::wirf("NSGenericException", "kein Format"); })),
              (Fehler{"NSException", 0, "NSGenericException: kein Format"}));
    EXPECT_EQ(fehlerIn(ohneAusnahme([] { ersatz::wirf("NSGenericException", ""); })),
              (Fehler{"NSException", 0, "NSGenericException: "}));
    EXPECT_EQ(fehlerIn(ohneAusnahme([] { @throw [[HKBesondereAusnahme alloc] init]; })),
              (Fehler{"NSException", 0, ": "}));
  }
}

TEST_F(ObjekteTest, WhatAnExceptionPassesIsReleased) {
  auto gehalten = std::make_shared<int>(1);
  @autoreleasepool {
    const Ergebnis fehler = ohneAusnahme([gehalten] {
      NSString* objekt = ersatz::textAus(std::string(100, 'x'));
      if (objekt.length == 100) ersatz::wirf("Name", "Grund");
    });
    EXPECT_FALSE(gelang(fehler));
  }
  EXPECT_EQ(gehalten.use_count(), 1);
}

// Only the frameworks' exceptions are errors; a defect of our own is not made one.
TEST_F(ObjekteTest, OtherExceptionsPass) {
  EXPECT_THROW(static_cast<void>(ohneAusnahme([] { throw std::runtime_error("eigene"); })),
               std::runtime_error);
  bool gefangen = false;
  @autoreleasepool {
    @try {
      static_cast<void>(ohneAusnahme([] { @throw @"ein Text"; }));
    } @catch (NSString* geworfen) {
      gefangen = true;
    }
  }
  EXPECT_TRUE(gefangen);
}

}  // namespace
}  // namespace hallkorb
