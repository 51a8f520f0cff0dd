// Stand-in for a capture stream of ScreenCaptureKit.
#include <dispatch/dispatch.h>
#import <ScreenCaptureKit/ScreenCaptureKit.h>

#include <atomic>
#include <mutex>

#include "tests/macos/doubles/Antworten.h"
#include "tests/macos/doubles/Ersatz.h"
#include "tests/macos/doubles/HKProbe.h"

using namespace hallkorb::ersatz;
using bildschirm::Frage;

namespace {

struct Stand {
  std::mutex lock;
  __weak SCStream* bestellter = nil;  // asked to start
  __weak SCStream* gestarteter = nil;
  __weak SCStream* bildstrom = nil;
  __weak SCStream* tonstrom = nil;
  std::map<std::string, double> konfiguration;
  std::string queue;
};
Stand& stand() {
  static auto& einer = *new Stand;
  return einer;
}
constexpr long NIMMT_AUSGANG = 1;  // no code of the service
std::atomic<long> ausgangCode{NIMMT_AUSGANG};
std::atomic<bool> gibtKeinen{false};
std::atomic<long> zuFrueh{0};

std::map<std::string, double> werteVon(SCStreamConfiguration* c) {
  return {
      {"width", static_cast<double>(c.width)},
      {"height", static_cast<double>(c.height)},
      {"capturesAudio", static_cast<double>(c.capturesAudio)},
      {"excludesCurrentProcessAudio", static_cast<double>(c.excludesCurrentProcessAudio)},
      {"sampleRate", static_cast<double>(c.sampleRate)},
      {"channelCount", static_cast<double>(c.channelCount)},
      {"queueDepth", static_cast<double>(c.queueDepth)},
      {"pixelFormat", static_cast<double>(c.pixelFormat)},
      {"showsCursor", static_cast<double>(c.showsCursor)},
      {"scalesToFit", static_cast<double>(c.scalesToFit)},
      {"preservesAspectRatio", static_cast<double>(c.preservesAspectRatio)},
      {"minimumFrameInterval",
       static_cast<double>(c.minimumFrameInterval.value) / c.minimumFrameInterval.timescale},
  };
}

}  // namespace

@implementation SCStreamConfiguration
- (instancetype)init {
  if ((self = [super init]) != nil) _preservesAspectRatio = YES;  // the platform's default
  return self;
}
@end

@implementation SCStream {
  __weak id<SCStreamDelegate> _delegat;
  SCContentFilter* _filter;
 @public
  std::atomic<std::uint32_t> _fenster;  // that the filter shows
  std::atomic<bool> _laeuft;
  std::atomic<int> _offen;  // stops that are not answered
  __weak id<SCStreamOutput> _ausgang;
  SCStreamOutputType _typ;
  dispatch_queue_t _queue;
}
- (instancetype)initWithFilter:(SCContentFilter*)filter
                 configuration:(SCStreamConfiguration*)konfiguration
                      delegate:(id<SCStreamDelegate>)delegat {
  if (gibtKeinen) return nil;
  _filter = filter;
  _fenster = fensterVon(filter);
  _delegat = delegat;
  const std::lock_guard halter(stand().lock);
  stand().konfiguration = werteVon(konfiguration);
  return self;
}
- (void)dealloc {
  if (_laeuft || _offen > 0) ++zuFrueh;
}
- (BOOL)addStreamOutput:(id<SCStreamOutput>)ausgang
                   type:(SCStreamOutputType)typ
     sampleHandlerQueue:(dispatch_queue_t)queue
                  error:(NSError**)error {
  if (const long code = ausgangCode; _ausgang != nil || code != NIMMT_AUSGANG) {
    const long grund = _ausgang != nil ? SCStreamErrorInvalidParameter : code;
    if (error != nullptr && grund != 0) *error = dienstFehler(grund);
    return NO;
  }
  _ausgang = ausgang;
  _typ = typ;
  _queue = queue;
  const std::lock_guard halter(stand().lock);
  stand().queue = dispatch_queue_get_label(queue);
  return YES;
}
// The service holds a stream while it works on a start or a change, and only then.
- (void)startCaptureWithCompletionHandler:(void (^)(NSError*))fertig {
  {
    const std::lock_guard halter(stand().lock);
    stand().bestellter = self;
  }
  antworteAuf(Frage::start, ^{
    if (NSError* error = antwortFehler(Frage::start)) return fertig(error);
    if (self->_laeuft) return fertig(dienstFehler(SCStreamErrorAttemptToStartStreamState));
    self->_laeuft = true;
    {
      const std::lock_guard halter(stand().lock);
      stand().gestarteter = self;
      if (self->_typ == SCStreamOutputTypeScreen) stand().bildstrom = self;
      if (self->_typ == SCStreamOutputTypeAudio) stand().tonstrom = self;
    }
    fertig(nil);
  });
}
- (void)stopCaptureWithCompletionHandler:(void (^)(NSError*))fertig {
  ++_offen;
  // Weakly: who stops a stream keeps it until the answer.
  __weak SCStream* schwach = self;
  antworteAuf(Frage::stopp, ^{
    NSError* error = antwortFehler(Frage::stopp);
    bool lebte = false;
    @autoreleasepool {
      SCStream* strom = schwach;
      if (strom != nil) {
        lebte = true;
        --strom->_offen;
        const bool lief = strom->_laeuft.exchange(false);
        if (error == nil && !lief) error = dienstFehler(SCStreamErrorAttemptToStopStreamState);
      }
    }
    // The answer comes in a call of the stream's: one that goes meanwhile has gone too early.
    fertig(error);
    if (lebte && schwach == nil) ++zuFrueh;
  });
}
- (void)updateContentFilter:(SCContentFilter*)filter completionHandler:(void (^)(NSError*))fertig {
  antworteAuf(Frage::wechsel, ^{
    if (NSError* error = antwortFehler(Frage::wechsel)) return fertig(error);
    if (!self->_laeuft) return fertig(dienstFehler(SCStreamErrorAttemptToUpdateFilterState));
    self->_filter = filter;
    self->_fenster = fensterVon(filter);
    fertig(nil);
  });
}
- (id<SCStreamDelegate>)hkDelegat {
  return _delegat;
}
@end

namespace {

SCStream* gestarteter() {
  const std::lock_guard halter(stand().lock);
  return stand().gestarteter;
}

SCStream* gestarteter(SCStreamOutputType typ) {
  const std::lock_guard halter(stand().lock);
  if (typ == SCStreamOutputTypeScreen) return stand().bildstrom;
  if (typ == SCStreamOutputTypeAudio) return stand().tonstrom;
  return stand().gestarteter;
}

// The service's end of a stream. It holds neither the stream nor the delegate during the call, so
// both count as gone too early if the program has dropped them when it returns.
void meldeEnde(SCStream* (^welcher)(void), NSError* error) {
  __weak SCStream* schwach = nil;
  __weak id<SCStreamDelegate> schwacherDelegat = nil;
  __unsafe_unretained SCStream* strom = nil;
  __unsafe_unretained id<SCStreamDelegate> delegat = nil;
  @autoreleasepool {
    SCStream* einer = welcher();
    if (einer == nil) return;
    einer->_laeuft = false;
    id<SCStreamDelegate> gerufener = [einer hkDelegat];
    if (gerufener == nil) return;
    schwach = strom = einer;
    schwacherDelegat = delegat = gerufener;
  }
  [delegat stream:strom didStopWithError:error];
  if (schwach == nil || schwacherDelegat == nil) ++zuFrueh;
}

bool gib(const Probe& probe, SCStreamOutputType typ, bool erbeten = true) {
  SCStream* strom = erbeten ? gestarteter(typ) : gestarteter();
  if (strom == nil || !strom->_laeuft || (erbeten && strom->_typ != typ)) return false;
  auto* puffer = static_cast<CMSampleBufferRef>(const_cast<void*>(probe.get()));
  dispatch_sync(strom->_queue, ^{
    [strom->_ausgang stream:strom didOutputSampleBuffer:puffer ofType:typ];
  });
  return true;
}

}  // namespace

namespace hallkorb::ersatz::bildschirm {

void ausgangFehler(long code) {
  ausgangCode = code;
}
void keinStrom(bool ja) {
  gibtKeinen = ja;
}

bool ton(const Ton& ton, const Zeitpunkt& wann) {
  @autoreleasepool {
    return gib(tonprobe(ton, wann), SCStreamOutputTypeAudio);
  }
}

bool bild(const Schnappschuss& bild, const Zeitpunkt& wann, bool gueltig) {
  @autoreleasepool {
    return gib(bildprobe(bild, wann, gueltig), SCStreamOutputTypeScreen);
  }
}

bool fremdeProbe() {
  @autoreleasepool {
    return gib(bildprobe({}, {}), SCStreamOutputTypeMicrophone, false);
  }
}

void beende(long code, bool mitFehler) {
  @autoreleasepool {
    dispatch_sync(dienstQueue(), ^{
      meldeEnde(
          ^{
            return gestarteter();
          },
          mitFehler ? dienstFehler(code) : nil);
    });
  }
}

void beende(Art art, long code) {
  @autoreleasepool {
    const auto typ = art == Art::ton ? SCStreamOutputTypeAudio : SCStreamOutputTypeScreen;
    dispatch_sync(dienstQueue(), ^{
      meldeEnde(
          ^{
            return gestarteter(typ);
          },
          dienstFehler(code));
    });
  }
}

void beendeVorDerAntwort(long code) {
  @autoreleasepool {
    dispatch_sync(dispatch_queue_create("sck.ende", DISPATCH_QUEUE_SERIAL), ^{
      meldeEnde(
          ^{
            const std::lock_guard halter(stand().lock);
            return static_cast<SCStream*>(stand().bestellter);
          },
          dienstFehler(code));
    });
  }
}

std::optional<std::uint32_t> gezeigtesFenster() {
  @autoreleasepool {
    SCStream* bildstrom = gestarteter(SCStreamOutputTypeScreen);
    if (bildstrom == nil || !bildstrom->_laeuft) return std::nullopt;
    return bildstrom->_fenster.load();
  }
}

std::map<std::string, double> konfiguration() {
  const std::lock_guard halter(stand().lock);
  return stand().konfiguration;
}
std::string queue() {
  const std::lock_guard halter(stand().lock);
  return stand().queue;
}
long zuFruehFreigegeben() {
  return zuFrueh;
}

}  // namespace hallkorb::ersatz::bildschirm

void hallkorb::ersatz::setzeBildschirmZurueck() {
  setzeInhaltZurueck();
  ausgangCode = NIMMT_AUSGANG;
  gibtKeinen = false;
  zuFrueh = 0;
}
