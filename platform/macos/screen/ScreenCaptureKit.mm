#include <dispatch/dispatch.h>
#import <ScreenCaptureKit/ScreenCaptureKit.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <utility>

#include "base/Speichermangel.h"
#include "platform/macos/audio/PcmPuffer.h"
#include "platform/macos/Fehlertexte.h"
#include "platform/macos/MacAufrufe.h"
#include "platform/macos/Objekte.h"

// What a stream calls: its output and its delegate in one. It holds its target weakly, so a late
// stream calls nobody.
@interface HKStromEmpfaenger : NSObject <SCStreamOutput, SCStreamDelegate>
- (instancetype)initMitZiel:(std::weak_ptr<hallkorb::StromEmpfaenger>)ziel;
@end

namespace hallkorb {
namespace {

void gibTonWeiter(CMSampleBufferRef probe, PcmUebersetzer& uebersetzer,
                  StromEmpfaenger& ziel) noexcept {
  AVAudioPCMBuffer* puffer = toPCMBuffer(probe);
  if (puffer == nil) return;
  const CMTime zeit = CMSampleBufferGetPresentationTimeStamp(probe);
  // A valid time may still not be a number: it may be infinite or indefinite.
  std::optional<double> sekunden;
  if (CMTIME_IS_NUMERIC(zeit)) sekunden = CMTimeGetSeconds(zeit);
  if (const auto block = pcmBlock(puffer, sekunden, uebersetzer)) ziel.ton(*block);
}

void gibBildWeiter(CMSampleBufferRef probe, StromEmpfaenger& ziel) noexcept {
  NSArray* anhaenge = (__bridge NSArray*)CMSampleBufferGetSampleAttachmentsArray(probe, false);
  NSDictionary* angaben = anhaenge.firstObject;
  NSNumber* nummer = angaben[SCStreamFrameInfoStatus];
  if (nummer == nil) return;
  const auto status = bildStatus(nummer.integerValue);
  if (!status) return;
  const CMTime zeit = CMSampleBufferGetPresentationTimeStamp(probe);
  if (!CMTIME_IS_NUMERIC(zeit)) return;
  ziel.bild(MacBild(CMTimeGetSeconds(zeit), *status, probe));
}

ScreenWindow fensterAus(SCWindow* fenster) {
  ScreenWindow w;
  w.id = fenster.windowID;
  if (fenster.title != nil) w.titel = text(fenster.title);
  if (SCRunningApplication* app = fenster.owningApplication) {
    w.anwendung = ScreenWindow::Anwendung{text(app.bundleIdentifier), text(app.applicationName)};
  }
  const CGRect rahmen = fenster.frame;
  w.x = rahmen.origin.x;
  w.y = rahmen.origin.y;
  w.breite = rahmen.size.width;
  w.hoehe = rahmen.size.height;
  w.sichtbar = static_cast<bool>(fenster.onScreen);
  w.ebene = fenster.windowLayer;
  return w;
}

class SckInhalt final : public Inhalt {
 public:
  explicit SckInhalt(SCShareableContent* inhalt) : inhalt_(inhalt) {}

  ScreenContent fenster() const override {
    @autoreleasepool {
      ScreenContent content;
      for (SCWindow* w in inhalt_.windows)
        content.windows.push_back(fensterAus(w));
      return content;
    }
  }
  bool hatDisplay() const override {
    @autoreleasepool {
      return inhalt_.displays.count > 0;
    }
  }
  bool hatFenster(std::uint32_t id) const override {
    @autoreleasepool {
      return fenster(id) != nil;
    }
  }

  // Both are nil if there is no such thing.
  SCContentFilter* _Nullable fensterFilter(std::uint32_t id) const {
    SCWindow* gesucht = fenster(id);
    if (gesucht == nil) return nil;
    return [[SCContentFilter alloc] initWithDesktopIndependentWindow:gesucht];
  }
  // The first display, with no window left out.
  SCContentFilter* _Nullable displayFilter() const {
    SCDisplay* erstes = inhalt_.displays.firstObject;
    if (erstes == nil) return nil;
    return [[SCContentFilter alloc] initWithDisplay:erstes excludingWindows:@[]];
  }

 private:
  SCWindow* _Nullable fenster(std::uint32_t id) const {
    for (SCWindow* w in inhalt_.windows) {
      if (w.windowID == id) return w;
    }
    return nil;
  }

  SCShareableContent* inhalt_;
};

SCStreamConfiguration* konfiguration(const StromEinstellungen& e) {
  SCStreamConfiguration* c = [[SCStreamConfiguration alloc] init];
  c.capturesAudio = e.capturesAudio;
  if (e.excludesCurrentProcessAudio) c.excludesCurrentProcessAudio = *e.excludesCurrentProcessAudio;
  if (e.sampleRate) c.sampleRate = static_cast<NSInteger>(*e.sampleRate);
  if (e.channelCount) c.channelCount = static_cast<NSInteger>(*e.channelCount);
  c.width = e.width;
  c.height = e.height;
  c.minimumFrameInterval =
      CMTimeMake(e.minimumFrameInterval.zaehler, e.minimumFrameInterval.nenner);
  if (e.pixelFormat) c.pixelFormat = *e.pixelFormat;
  if (e.showsCursor) c.showsCursor = *e.showsCursor;
  if (e.queueDepth) c.queueDepth = static_cast<NSInteger>(*e.queueDepth);
  if (e.scalesToFit) c.scalesToFit = *e.scalesToFit;
  if (@available(macOS 14.0, *)) {
    if (e.preservesAspectRatio) c.preservesAspectRatio = *e.preservesAspectRatio;
  }
  return c;
}

// Many times as long as the service needs to return from a call of ours.
constexpr std::int64_t NACHLAUF = 10 * static_cast<std::int64_t>(NSEC_PER_SEC);

// Streams that were asked to stop, with what they call. No document promises that the service keeps
// a stream, its output or its delegate until it has answered, or that it answers. So they are kept
// here until it has, for good if it never does: a leaked object is better than a call into one that
// is gone. And then a little longer, since the answer comes in a call of the stream's own, and a
// call to its delegate may be under way beside it.
class Gestoppte {
 public:
  [[nodiscard]] std::uint64_t behalte(SCStream* stream, HKStromEmpfaenger* empfaenger) {
    const std::lock_guard halter(lock_);
    alle_[++letzte_] = {stream, empfaenger};
    return letzte_;
  }
  void lassBaldGehen(std::uint64_t nummer) {
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, NACHLAUF),
                   dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0), ^{
                     lassGehen(nummer);
                   });
  }

 private:
  void lassGehen(std::uint64_t nummer) {
    decltype(alle_)::node_type weg;  // released after the lock
    const std::lock_guard halter(lock_);
    weg = alle_.extract(nummer);
  }

  struct Paar {
    SCStream* stream;
    HKStromEmpfaenger* empfaenger;
  };
  std::mutex lock_;
  std::uint64_t letzte_ = 0;
  std::map<std::uint64_t, Paar> alle_;
};

Gestoppte& gestoppte() {
  static auto& alle = *new Gestoppte;  // never destroyed: answers may come during exit()
  return alle;
}

class SckStromAufrufe final : public StromAufrufe {
 public:
  Ergebnis baue(const Inhalt& inhalt, std::optional<std::uint32_t> fenster,
                const StromEinstellungen& einstellungen,
                std::weak_ptr<StromEmpfaenger> empfaenger) override {
    @autoreleasepool {
      const auto& gesehen = static_cast<const SckInhalt&>(inhalt);
      SCContentFilter* filter = fenster ? gesehen.fensterFilter(*fenster) : gesehen.displayFilter();
      if (filter == nil) return fenster ? fensterVerschwunden() : keinDisplay();
      empfaenger_ = [[HKStromEmpfaenger alloc] initMitZiel:std::move(empfaenger)];
      stream_ = [[SCStream alloc] initWithFilter:filter
                                   configuration:konfiguration(einstellungen)
                                        delegate:empfaenger_];
      return {};
    }
  }

  Ergebnis verbinde(StromAusgang ausgang, const char* queue) override {
    @autoreleasepool {
      queue_ = dispatch_queue_create(queue, DISPATCH_QUEUE_SERIAL);
      NSError* error = nil;
      if ([stream_ addStreamOutput:empfaenger_
                              type:static_cast<SCStreamOutputType>(ausgang)
                sampleHandlerQueue:queue_
                             error:&error]) {
        return {};
      }
      return fehlerAus(error);
    }
  }

  void starte(SckFertig fertig) override {
    @autoreleasepool {
      [stream_ startCaptureWithCompletionHandler:^(NSError* error) {
        fertig(ergebnisAus(error));
      }];
    }
  }

  void wechsle(const Inhalt& inhalt, std::uint32_t fenster, SckFertig fertig) override {
    @autoreleasepool {
      SCContentFilter* filter = static_cast<const SckInhalt&>(inhalt).fensterFilter(fenster);
      if (filter == nil) return fertig(fensterVerschwunden());
      [stream_ updateContentFilter:filter
                 completionHandler:^(NSError* error) {
                   fertig(ergebnisAus(error));
                 }];
    }
  }

  void stoppe(SckFertig fertig) override {
    @autoreleasepool {
      const std::uint64_t nummer = gestoppte().behalte(stream_, empfaenger_);
      [stream_ stopCaptureWithCompletionHandler:^(NSError* error) {
        fertig(ergebnisAus(error));
        gestoppte().lassBaldGehen(nummer);
      }];
    }
  }

  void gibFrei() override {
    @autoreleasepool {
      stream_ = nil;
      if (queue_ != nil) {
        dispatch_sync(queue_, ^{
                      });
      }
      queue_ = nil;
      empfaenger_ = nil;
    }
  }

 private:
  HKStromEmpfaenger* empfaenger_ = nil;
  SCStream* stream_ = nil;
  dispatch_queue_t queue_ = nil;
};

class SckDienst final : public SckAufrufe {
 public:
  void frageInhalt(bool ohneDesktop, InhaltFertig fertig) override {
    @autoreleasepool {
      [SCShareableContent
          getShareableContentExcludingDesktopWindows:ohneDesktop
                                 onScreenWindowsOnly:NO
                                   completionHandler:^(SCShareableContent* inhalt, NSError* error) {
                                     if (inhalt == nil) return fertig(nullptr, fehlerAus(error));
                                     std::shared_ptr<const Inhalt> neuer;
                                     const Ergebnis ergebnis = fangeMangel(
                                         [&] { neuer = std::make_shared<SckInhalt>(inhalt); });
                                     fertig(std::move(neuer), ergebnis);
                                   }];
    }
  }

  std::unique_ptr<StromAufrufe> strom() override { return std::make_unique<SckStromAufrufe>(); }
};

}  // namespace

std::shared_ptr<SckAufrufe> screenCaptureKit() {
  return std::make_shared<SckDienst>();
}

}  // namespace hallkorb

@implementation HKStromEmpfaenger {
  std::weak_ptr<hallkorb::StromEmpfaenger> _ziel;
  hallkorb::PcmUebersetzer _uebersetzer;  // used on the stream's queue only
}

- (instancetype)initMitZiel:(std::weak_ptr<hallkorb::StromEmpfaenger>)ziel {
  self = [super init];
  _ziel = std::move(ziel);
  return self;
}

- (void)stream:(SCStream*)stream
    didOutputSampleBuffer:(CMSampleBufferRef)probe
                   ofType:(SCStreamOutputType)typ {
  @autoreleasepool {
    const auto ziel = _ziel.lock();
    if (ziel == nullptr || !CMSampleBufferIsValid(probe)) return;
    if (typ == SCStreamOutputTypeAudio) hallkorb::gibTonWeiter(probe, _uebersetzer, *ziel);
    if (typ == SCStreamOutputTypeScreen) hallkorb::gibBildWeiter(probe, *ziel);
  }
}

- (void)stream:(SCStream*)stream didStopWithError:(NSError*)error {
  @autoreleasepool {
    if (const auto ziel = _ziel.lock()) ziel->beendet(hallkorb::fehlerAus(error));
  }
}
@end
