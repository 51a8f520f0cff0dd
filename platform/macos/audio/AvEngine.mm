#import <AVFAudio/AVFAudio.h>
#import <AVFoundation/AVFoundation.h>
#include <dispatch/dispatch.h>

#include <cstdint>
#include <optional>
#include <utility>

#include "platform/macos/audio/PcmPuffer.h"
#include "platform/macos/MacAufrufe.h"
#include "platform/macos/Objekte.h"

namespace hallkorb {
namespace {

// Many times as long as posting a notification.
constexpr std::int64_t NACHLAUF = 10 * static_cast<std::int64_t>(NSEC_PER_SEC);

// On the engine's tap thread. An exception of ours must not reach the engine's frames.
void gibWeiter(AVAudioPCMBuffer* puffer, AVAudioTime* wann, PcmUebersetzer& uebersetzer,
               const std::weak_ptr<BlockEmpfaenger>& empfaenger) noexcept {
  @autoreleasepool {
    const auto ziel = empfaenger.lock();
    if (ziel == nullptr) return;
    std::optional<double> zeit;
    if (wann.hostTimeValid) zeit = [AVAudioTime secondsForHostTime:wann.hostTime];
    if (const auto block = pcmBlock(puffer, zeit, uebersetzer)) ziel->block(*block);
  }
}

class AvEngine final : public EngineAufrufe {
 public:
  Erlaubnis erlaubnis() override {
    @autoreleasepool {
      return static_cast<Erlaubnis>(
          [AVCaptureDevice authorizationStatusForMediaType:AVMediaTypeAudio]);
    }
  }

  void frageErlaubnis(std::function<void(bool)> antwort) override {
    @autoreleasepool {
      [AVCaptureDevice requestAccessForMediaType:AVMediaTypeAudio
                               completionHandler:^(BOOL erteilt) {
                                 antwort(static_cast<bool>(erteilt));
                               }];
    }
  }

  void baue() override {
    @autoreleasepool {
      engine_ = [[AVAudioEngine alloc] init];
    }
  }

  void beobachte(std::function<void()> veraendert) override {
    @autoreleasepool {
      beobachter_ = [[NSNotificationCenter defaultCenter]
          addObserverForName:AVAudioEngineConfigurationChangeNotification
                      object:engine_
                       queue:nil
                  usingBlock:^(NSNotification*) {
                    veraendert();
                  }];
    }
  }

  Ergebnis liesFormat(EngineFormat& format) override {
    @autoreleasepool {
      return ohneAusnahme([&] {
        AVAudioFormat* native = [engine_.inputNode outputFormatForBus:0];
        format = {native.sampleRate, native.channelCount};
      });
    }
  }

  Ergebnis setzeAbgriff(std::uint32_t frames, std::weak_ptr<BlockEmpfaenger> empfaenger) override {
    @autoreleasepool {
      const auto uebersetzer = std::make_shared<PcmUebersetzer>();
      // Not inside the lambda: a block there would capture references to the lambda's captures,
      // which are gone when the block is called.
      const AVAudioNodeTapBlock abgriff = ^(AVAudioPCMBuffer* puffer, AVAudioTime* wann) {
        gibWeiter(puffer, wann, *uebersetzer, empfaenger);
      };
      return ohneAusnahme([&] {
        AVAudioInputNode* knoten = engine_.inputNode;
        [knoten installTapOnBus:0
                     bufferSize:frames
                         format:[knoten outputFormatForBus:0]
                          block:abgriff];
      });
    }
  }

  Ergebnis starte() override {
    @autoreleasepool {
      NSError* error = nil;
      BOOL gestartet = NO;
      Ergebnis ergebnis = ohneAusnahme([&] {
        [engine_ prepare];
        gestartet = [engine_ startAndReturnError:&error];
      });
      if (ergebnis.gescheitert()) return ergebnis;
      if (!gestartet) return fehlerAus(error);
      return {};
    }
  }

  bool laeuft() override {
    @autoreleasepool {
      return static_cast<bool>(engine_.running);
    }
  }

  void beobachteNichtMehr() override {
    @autoreleasepool {
      if (beobachter_ != nil) [[NSNotificationCenter defaultCenter] removeObserver:beobachter_];
      beobachter_ = nil;
    }
  }

  Ergebnis entferneAbgriff() override {
    @autoreleasepool {
      return ohneAusnahme([&] { [engine_.inputNode removeTapOnBus:0]; });
    }
  }

  Ergebnis stoppe() override {
    @autoreleasepool {
      return ohneAusnahme([&] { [engine_ stop]; });
    }
  }

  // The system forbids that an engine is deallocated by a handler of its own notification. While a
  // notification is being posted, it holds the engine, and would hold the last reference if ours
  // went first. So ours is kept a little longer and then released on a queue of the system.
  void gibFrei() override {
    @autoreleasepool {
      if (engine_ == nil) return;
      AVAudioEngine* engine = std::exchange(engine_, nil);
      dispatch_after(dispatch_time(DISPATCH_TIME_NOW, NACHLAUF),
                     dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0), ^{
                       static_cast<void>(engine);
                     });
    }
  }

 private:
  AVAudioEngine* engine_ = nil;
  id<NSObject> beobachter_ = nil;
};

}  // namespace

std::unique_ptr<EngineAufrufe> avEngine() {
  return std::make_unique<AvEngine>();
}

}  // namespace hallkorb
