// Stand-ins for what belongs to the process and its files: file names, dates, activities, the
// version of the system, references of Core Foundation, the program that plays sounds (the linker
// leads calls of posix_spawnp() here: --wrap=posix_spawnp).
#import <CoreGraphics/CoreGraphics.h>
#include <spawn.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tests/macos/doubles/Ersatz.h"
#include "tests/macos/doubles/System.h"
#include "tests/macos/doubles/Verfuegbar.h"

namespace {

constexpr int STELLE = 1000;  // version 14.2 is 14002
constexpr int NEUESTE = 26 * STELLE;

std::atomic<int> version{NEUESTE};
std::atomic<long> wachZahl{0};
std::atomic<long> fensterserverZahl{0};
std::atomic<bool> bildschirmZugang{true};

struct Spieler {
  std::mutex lock;
  std::optional<std::string> pfad;
};
Spieler& spieler() {
  static auto& einer = *new Spieler;
  return einer;
}

}  // namespace

bool hkVerfuegbar(const char* system) {
  int haupt = 0;
  int neben = 0;
  if (std::sscanf(system, "macOS %d.%d", &haupt, &neben) < 1) {
    std::fprintf(stderr, "@available(%s): not of this system\n", system);
    std::abort();
  }
  return version >= haupt * STELLE + neben;
}

@implementation NSURL {
 @public
  NSString* _pfad;
}
@dynamic absoluteString, lastPathComponent, fileURL;
+ (NSURL*)fileURLWithPath:(NSString*)pfad {
  NSURL* url = [[NSURL alloc] init];
  url->_pfad = pfad;
  return url;
}
- (NSString*)path {
  return _pfad;
}
- (id)copyWithZone:(struct _NSZone*)zone {
  return self;
}
@end

@implementation NSDate {
  NSTimeInterval _seit1970;
}
@dynamic timeIntervalSinceReferenceDate, timeIntervalSinceNow;
+ (instancetype)date {
  NSDate* jetzt = [[NSDate alloc] init];
  const auto seit = std::chrono::system_clock::now().time_since_epoch();
  jetzt->_seit1970 = std::chrono::duration<double>(seit).count();
  return jetzt;
}
- (NSTimeInterval)timeIntervalSince1970 {
  return _seit1970;
}
- (id)copyWithZone:(struct _NSZone*)zone {
  return self;
}
@end

@interface HKAktivitaet : NSObject
@end
@implementation HKAktivitaet
@end

@implementation NSProcessInfo
@dynamic arguments, processName, processIdentifier, operatingSystemVersion, systemUptime;
+ (NSProcessInfo*)processInfo {
  static NSProcessInfo* einer = [[NSProcessInfo alloc] init];
  // Autoreleased, as a getter of the platform may be: whoever asks needs a pool.
  __autoreleasing NSProcessInfo* imPool = einer;
  return imPool;
}
- (id<NSObject>)beginActivityWithOptions:(NSActivityOptions)art reason:(NSString*)grund {
  ++wachZahl;
  return [[HKAktivitaet alloc] init];
}
- (void)endActivity:(id<NSObject>)aktivitaet {
  if (aktivitaet != nil) --wachZahl;
}
@end

CFTypeRef CFRetain(CFTypeRef objekt) {
  return (__bridge_retained CFTypeRef)(__bridge id)objekt;
}
void CFRelease(CFTypeRef objekt) {
  const id weg = (__bridge_transfer id)objekt;
  static_cast<void>(weg);
}

extern "C" int __real_posix_spawnp(pid_t* kind, const char* programm,
                                   const posix_spawn_file_actions_t* stroeme,
                                   const posix_spawnattr_t* eigenschaften, char* const* worte,
                                   char* const* umgebung);
extern "C" int __wrap_posix_spawnp(pid_t* kind, const char* programm,
                                   const posix_spawn_file_actions_t* stroeme,
                                   const posix_spawnattr_t* eigenschaften, char* const* worte,
                                   char* const* umgebung) {
  std::optional<std::string> anderes;
  if (std::string_view(programm) == "/usr/bin/afplay") {
    const std::lock_guard halter(spieler().lock);
    if (!spieler().pfad) return ENOENT;
    anderes = spieler().pfad;
  }
  return __real_posix_spawnp(kind, anderes ? anderes->c_str() : programm, stroeme, eigenschaften,
                             worte, umgebung);
}

bool CGPreflightScreenCaptureAccess() {
  return bildschirmZugang;
}

CGDirectDisplayID CGMainDisplayID() {
  ++fensterserverZahl;
  return 1;
}

namespace hallkorb::ersatz {

void setzeSystem(int haupt, int neben) {
  version = haupt * STELLE + neben;
}

long aktivitaeten() {
  return wachZahl;
}

long fensterserver() {
  return fensterserverZahl;
}

void bildschirmErlaubt(bool ja) {
  bildschirmZugang = ja;
}

void abspielprogramm(std::optional<std::string> pfad) {
  const std::lock_guard halter(spieler().lock);
  spieler().pfad = std::move(pfad);
}

void setzeZurueck() {
  @autoreleasepool {
    version = NEUESTE;
    keineEreignisse(0);
    setzeRohrplatz(std::nullopt);
    keineWache(0);
    keinFadenname(0);
    stummeAnmeldung(false);
    im(std::nullopt);
    bildschirmErlaubt(true);
    abspielprogramm(std::nullopt);
    setzeTondienstZurueck();
    setzeMikrofonZurueck();
    setzeWandlerZurueck();
    setzeSchreiberZurueck();
    setzeBildschirmZurueck();
  }
}

}  // namespace hallkorb::ersatz
