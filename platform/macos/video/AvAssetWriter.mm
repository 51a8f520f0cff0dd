#import <AVFoundation/AVFoundation.h>
#import <Foundation/Foundation.h>

#include <cerrno>
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
  Ergebnis baue(const std::string& pfad, const VideoEinstellungen& einstellungen) override {
    @autoreleasepool {
      NSString* name = [NSString stringWithUTF8String:pfad.c_str()];
      if (name == nil) return Fehler{"posix", EILSEQ, "Dateiname ist kein UTF-8"};
      NSError* error = nil;
      Ergebnis ergebnis = ohneAusnahme([&] {
        writer_ = [[AVAssetWriter alloc] initWithURL:[NSURL fileURLWithPath:name]
                                            fileType:AVFileTypeMPEG4
                                               error:&error];
        if (writer_ == nil) return;
        input_ = [AVAssetWriterInput assetWriterInputWithMediaType:AVMediaTypeVideo
                                                    outputSettings:h264(einstellungen)];
        input_.expectsMediaDataInRealTime = YES;
      });
      if (ergebnis.gelungen() && writer_ == nil) ergebnis = fehlerAus(error);
      return ergebnis;
    }
  }

  Ergebnis setzeFragmente(const Medienzeit& abstand) override {
    return rufe([&] { writer_.movieFragmentInterval = zeitAus(abstand); });
  }

  bool nimmtEingang() override {
    @autoreleasepool {
      return static_cast<bool>([writer_ canAddInput:input_]);
    }
  }

  Ergebnis fuegeEingangHinzu() override {
    return rufe([&] { [writer_ addInput:input_]; });
  }

  Ergebnis beginneSchreiben() override {
    return rufeMitAntwort([&] { return [writer_ startWriting]; });
  }

  Ergebnis setzeBeginn(const Medienzeit& beginn) override {
    return rufe([&] { [writer_ startSessionAtSourceTime:zeitAus(beginn)]; });
  }

  SchreiberStatus status() override {
    @autoreleasepool {
      return static_cast<SchreiberStatus>(writer_.status);
    }
  }

  std::optional<Fehler> fehler() override {
    @autoreleasepool {
      if (writer_.error == nil) return std::nullopt;
      return fehlerAus(writer_.error);
    }
  }

  bool bereit() override {
    @autoreleasepool {
      return static_cast<bool>(input_.readyForMoreMediaData);
    }
  }

  Ergebnis haengeAn(const void* probe) override {
    auto* puffer = static_cast<CMSampleBufferRef>(const_cast<void*>(probe));
    return rufeMitAntwort([&] { return [input_ appendSampleBuffer:puffer]; });
  }

  Ergebnis markiereFertig() override {
    return rufe([&] { [input_ markAsFinished]; });
  }

  Ergebnis setzeEnde(const Medienzeit& ende) override {
    return rufe([&] { [writer_ endSessionAtSourceTime:zeitAus(ende)]; });
  }

  Ergebnis schliesseAb(std::function<void()> fertig) override {
    // Not inside the lambda: a block there would capture a reference to `fertig`. The block keeps
    // the writer until the file is complete, even after the program has stopped waiting; no
    // document promises that the writer keeps itself.
    AVAssetWriter* writer = writer_;
    void (^const abschluss)(void) = ^{
      static_cast<void>(writer);
      fertig();
    };
    return rufe([&] { [writer finishWritingWithCompletionHandler:abschluss]; });
  }

 private:
  template <class Aufruf>
  static Ergebnis rufe(Aufruf aufruf) {
    @autoreleasepool {
      return ohneAusnahme(aufruf);
    }
  }

  // For calls that return NO and leave the reason in the writer.
  template <class Aufruf>
  Ergebnis rufeMitAntwort(Aufruf aufruf) {
    @autoreleasepool {
      BOOL gelungen = NO;
      Ergebnis ergebnis = ohneAusnahme([&] { gelungen = aufruf(); });
      if (ergebnis.gelungen() && !gelungen) ergebnis = fehlerAus(writer_.error);
      return ergebnis;
    }
  }

  AVAssetWriter* writer_ = nil;
  AVAssetWriterInput* input_ = nil;
};

}  // namespace

std::unique_ptr<SchreiberAufrufe> avAssetWriter() {
  return std::make_unique<AvSchreiber>();
}

}  // namespace hallkorb
