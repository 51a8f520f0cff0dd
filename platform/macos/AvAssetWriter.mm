#import <AVFoundation/AVFoundation.h>
#import <Foundation/Foundation.h>

#include <cerrno>
#include <mutex>
#include <utility>

#include "platform/macos/MacAufrufe.h"
#include "platform/macos/Objekte.h"

namespace hallkorb {
namespace {

CMTime zeitAus(const Medienzeit& zeit) {
  return CMTimeMake(zeit.value, zeit.timescale);
}

NSDictionary<NSString*, id>* h264(const VideoEinstellungen& e) {
  return @{
    AVVideoCodecKey : AVVideoCodecTypeH264,
    AVVideoWidthKey : @(e.breite),
    AVVideoHeightKey : @(e.hoehe),
    AVVideoCompressionPropertiesKey : @{
      AVVideoAverageBitRateKey : @(e.bitrate),
      AVVideoMaxKeyFrameIntervalKey : @(e.schluesselbildAbstand),
      AVVideoProfileLevelKey : AVVideoProfileLevelH264MainAutoLevel,
    },
  };
}

class AvSchreiber final : public SchreiberAufrufe {
 public:
  Ergebnis baue(const std::string& pfad, const VideoEinstellungen& einstellungen,
                const Medienzeit& fragment) override {
    @autoreleasepool {
      NSString* name = [NSString stringWithUTF8String:pfad.c_str()];
      if (name == nil) return Fehler{"posix", EILSEQ, "Dateiname ist kein UTF-8"};
      NSError* error = nil;
      Ergebnis ausnahme = ohneAusnahme([&] {
        writer_ = [[AVAssetWriter alloc] initWithURL:[NSURL fileURLWithPath:name]
                                            fileType:AVFileTypeMPEG4
                                               error:&error];
        if (writer_ == nil) return;
        writer_.movieFragmentInterval = zeitAus(fragment);
        input_ = [AVAssetWriterInput assetWriterInputWithMediaType:AVMediaTypeVideo
                                                    outputSettings:h264(einstellungen)];
        input_.expectsMediaDataInRealTime = YES;
      });
      if (!ausnahme && writer_ == nil) ausnahme = fehlerAus(error);
      return ausnahme;
    }
  }

  bool nimmtEingang() override { return static_cast<bool>([writer_ canAddInput:input_]); }

  Ergebnis fuegeEingangHinzu() override {
    return ohneAusnahme([&] { [writer_ addInput:input_]; });
  }

  void entferneDatei(const std::string& pfad) override {
    @autoreleasepool {
      if (NSString* name = [NSString stringWithUTF8String:pfad.c_str()]) {
        [[NSFileManager defaultManager] removeItemAtPath:name error:nil];
      }
    }
  }

  bool beginneSchreiben() override {
    bool begonnen = false;
    merke(ohneAusnahme([&] { begonnen = static_cast<bool>([writer_ startWriting]); }));
    return begonnen;
  }

  void beginneSitzung(const Medienzeit& beginn) override {
    merke(ohneAusnahme([&] { [writer_ startSessionAtSourceTime:zeitAus(beginn)]; }));
  }

  SchreiberStatus status() override { return static_cast<SchreiberStatus>(writer_.status); }

  Ergebnis fehler() override {
    @autoreleasepool {
      if (NSError* error = writer_.error) return fehlerAus(error);
    }
    const std::lock_guard halter(lock_);
    return ausnahme_;
  }

  bool bereit() override { return static_cast<bool>(input_.readyForMoreMediaData); }

  bool haengeAn(const void* probe) override {
    @autoreleasepool {
      bool genommen = false;
      auto* puffer = static_cast<CMSampleBufferRef>(const_cast<void*>(probe));
      merke(
          ohneAusnahme([&] { genommen = static_cast<bool>([input_ appendSampleBuffer:puffer]); }));
      return genommen;
    }
  }

  void markiereFertig() override {
    merke(ohneAusnahme([&] { [input_ markAsFinished]; }));
  }

  void beendeSitzung(const Medienzeit& ende) override {
    merke(ohneAusnahme([&] { [writer_ endSessionAtSourceTime:zeitAus(ende)]; }));
  }

  void schliesseAb(std::function<void()> fertig) override {
    merke(ohneAusnahme([&] {
      [writer_ finishWritingWithCompletionHandler:^{
        fertig();
      }];
    }));
  }

 private:
  void merke(Ergebnis ausnahme) {
    const std::lock_guard halter(lock_);
    if (!ausnahme_) ausnahme_ = std::move(ausnahme);
  }

  AVAssetWriter* writer_ = nil;
  AVAssetWriterInput* input_ = nil;
  std::mutex lock_;
  Ergebnis ausnahme_;  // the first that a call has raised
};

}  // namespace

std::unique_ptr<SchreiberAufrufe> avAssetWriter() {
  return std::make_unique<AvSchreiber>();
}

}  // namespace hallkorb
