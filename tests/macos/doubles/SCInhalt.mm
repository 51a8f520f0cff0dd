// Stand-ins for the content that can be captured, and for the service's way to answer.
#import <ScreenCaptureKit/ScreenCaptureKit.h>

#include <array>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "tests/macos/doubles/Antworten.h"
#include "tests/macos/doubles/Ersatz.h"

NSErrorDomain const SCStreamErrorDomain = @"com.apple.ScreenCaptureKit.SCStreamErrorDomain";
SCStreamFrameInfo const SCStreamFrameInfoStatus = @"SCStreamUpdateFrameStatus";

namespace hallkorb::ersatz {
namespace {

using bildschirm::Fenster;
using bildschirm::Frage;

constexpr std::size_t FRAGEN = 4;

struct Stand {
  std::mutex lock;
  std::vector<Fenster> fenster;
  int displays = 1;
  std::array<long, FRAGEN> codes{};
  std::array<bool, FRAGEN> ohneObjekt{};
  std::array<bool, FRAGEN> stumm{};
  std::vector<dispatch_block_t> wartende;
  std::condition_variable gefragt;
};
Stand& stand() {
  static auto& einer = *new Stand;
  return einer;
}

std::size_t nummer(Frage frage) {
  return static_cast<std::size_t>(frage);
}

}  // namespace

dispatch_queue_t dienstQueue() {
  static dispatch_queue_t queue = dispatch_queue_create("sck.intern", DISPATCH_QUEUE_SERIAL);
  return queue;
}

void antworteAuf(Frage frage, dispatch_block_t antwort) {
  {
    const std::lock_guard halter(stand().lock);
    if (stand().stumm.at(nummer(frage))) {
      stand().wartende.push_back(antwort);
      stand().gefragt.notify_all();
      return;
    }
  }
  dispatch_async(dienstQueue(), antwort);
}

NSError* dienstFehler(long code) {
  return fehlerMit(SCStreamErrorDomain, code, "Der Stream wurde beendet");
}

NSError* antwortFehler(Frage frage) {
  const std::lock_guard halter(stand().lock);
  const long code = stand().codes.at(nummer(frage));
  return code != 0 ? dienstFehler(code) : nil;
}

bool ohneFehlerobjekt(Frage frage) {
  const std::lock_guard halter(stand().lock);
  return stand().ohneObjekt.at(nummer(frage));
}

namespace bildschirm {

void inhalt(std::vector<Fenster> fenster, int displays) {
  const std::lock_guard halter(stand().lock);
  stand().fenster = std::move(fenster);
  stand().displays = displays;
}

void fehler(Frage frage, long code, bool ohneFehler) {
  const std::lock_guard halter(stand().lock);
  stand().codes.at(nummer(frage)) = code;
  stand().ohneObjekt.at(nummer(frage)) = ohneFehler;
}

void stumm(Frage frage, bool ja) {
  const std::lock_guard halter(stand().lock);
  stand().stumm.at(nummer(frage)) = ja;
}

void antworte(int wieOft) {
  @autoreleasepool {
    std::vector<dispatch_block_t> wartende;
    {
      const std::lock_guard halter(stand().lock);
      wartende.swap(stand().wartende);
    }
    for (dispatch_block_t antwort : wartende) {
      for (int i = 0; i < wieOft; ++i)
        dispatch_sync(dienstQueue(), antwort);
    }
  }
}

int offeneFragen() {
  const std::lock_guard halter(stand().lock);
  return static_cast<int>(stand().wartende.size());
}

void warteAufFrage() {
  std::unique_lock halter(stand().lock);
  stand().gefragt.wait(halter, [] { return !stand().wartende.empty(); });
}

}  // namespace bildschirm

void setzeInhaltZurueck() {
  const std::lock_guard halter(stand().lock);
  stand().fenster.clear();
  stand().displays = 1;
  stand().codes = {};
  stand().ohneObjekt = {};
  stand().stumm = {};
  stand().wartende.clear();
}

}  // namespace hallkorb::ersatz

using namespace hallkorb::ersatz;

@interface SCRunningApplication () {
 @public
  NSString* _name;
}
@end
@implementation SCRunningApplication
- (NSString*)applicationName {
  return _name;
}
- (NSString*)bundleIdentifier {
  return _name;
}
@end

@interface SCWindow () {
 @public
  bildschirm::Fenster _fenster;
}
@end
@implementation SCWindow
- (CGWindowID)windowID {
  return _fenster.id;
}
- (CGRect)frame {
  return CGRectMake(_fenster.x, _fenster.y, _fenster.breite, _fenster.hoehe);
}
- (NSString*)title {
  return _fenster.titel ? textAus(*_fenster.titel) : nil;
}
- (NSInteger)windowLayer {
  return _fenster.ebene;
}
- (SCRunningApplication*)owningApplication {
  if (!_fenster.app) return nil;
  SCRunningApplication* app = [SCRunningApplication alloc];
  app->_name = textAus(*_fenster.app);
  return app;
}
- (BOOL)isOnScreen {
  return _fenster.sichtbar;
}
@end

@implementation SCDisplay
@end

@interface SCShareableContent () {
 @public
  NSArray* _windows;
  NSArray* _displays;
}
@end

namespace {

SCShareableContent* schnappschuss() {
  std::vector<id> fenster;
  std::vector<id> displays;
  const std::lock_guard halter(stand().lock);
  for (const bildschirm::Fenster& f : stand().fenster) {
    SCWindow* eines = [SCWindow alloc];
    eines->_fenster = f;
    fenster.push_back(eines);
  }
  for (int i = 0; i < stand().displays; ++i)
    displays.push_back([SCDisplay alloc]);
  SCShareableContent* inhalt = [SCShareableContent alloc];
  inhalt->_windows = listeAus(fenster);
  inhalt->_displays = listeAus(displays);
  return inhalt;
}

}  // namespace

@implementation SCShareableContent
- (NSArray*)windows {
  return _windows;
}
- (NSArray*)displays {
  return _displays;
}
+ (void)getShareableContentExcludingDesktopWindows:(BOOL)ohneSchreibtisch
                               onScreenWindowsOnly:(BOOL)nurSichtbare
                                 completionHandler:(void (^)(SCShareableContent*, NSError*))fertig {
  antworteAuf(bildschirm::Frage::inhalt, ^{
    NSError* error = antwortFehler(bildschirm::Frage::inhalt);
    if (error == nil) return fertig(schnappschuss(), nil);
    fertig(nil, ohneFehlerobjekt(bildschirm::Frage::inhalt) ? nil : error);
  });
}
@end

@implementation SCContentFilter {
 @public
  id _was;
}
- (instancetype)initWithDesktopIndependentWindow:(SCWindow*)fenster {
  _was = fenster;
  return self;
}
- (instancetype)initWithDisplay:(SCDisplay*)display excludingWindows:(NSArray*)fenster {
  if (fenster.count != 0) return nil;
  _was = display;
  return self;
}
@end

std::uint32_t hallkorb::ersatz::fensterVon(SCContentFilter* filter) {
  if (![filter->_was isKindOfClass:[SCWindow class]]) return 0;
  return static_cast<SCWindow*>(filter->_was).windowID;
}
