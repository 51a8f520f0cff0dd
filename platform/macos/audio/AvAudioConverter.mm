#import <AVFAudio/AVFAudio.h>

#include <algorithm>

#include "base/Abbruch.h"
#include "platform/macos/MacAufrufe.h"
#include "platform/macos/Objekte.h"

namespace hallkorb {
namespace {

AVAudioFormat* mono(double rate) {
  return [[AVAudioFormat alloc] initWithCommonFormat:AVAudioPCMFormatFloat32
                                          sampleRate:rate
                                            channels:1
                                         interleaved:NO];
}

Fehler keinSpeicher() {
  return {"hallkorb", 0, "kein Audiopuffer"};
}

class AvUmwandlung final : public KonverterAufrufe {
 public:
  explicit AvUmwandlung(AVAudioConverter* converter) : converter_(converter) {}

  Ergebnis wandle(std::span<const float> eingang, std::size_t kapazitaet,
                  std::vector<float>& ausgabe) override {
    @autoreleasepool {
      AVAudioPCMBuffer* ein = puffer(converter_.inputFormat, eingang.size());
      AVAudioPCMBuffer* aus = puffer(converter_.outputFormat, kapazitaet);
      float* const* platz = ein.floatChannelData;
      if (platz == nullptr || aus == nil) return keinSpeicher();
      std::copy(eingang.begin(), eingang.end(), platz[0]);
      ein.frameLength = static_cast<AVAudioFrameCount>(eingang.size());

      __block bool gegeben = false;
      NSError* error = nil;
      const AVAudioConverterOutputStatus status =
          [converter_ convertToBuffer:aus
                                error:&error
                   withInputFromBlock:^AVAudioBuffer*(AVAudioPacketCount,
                                                      AVAudioConverterInputStatus* eingangsstatus) {
                     // The block once, then nothing for now; never the end, so that the filter goes
                     // on.
                     *eingangsstatus = gegeben ? AVAudioConverterInputStatus_NoDataNow
                                               : AVAudioConverterInputStatus_HaveData;
                     if (gegeben) return nil;
                     gegeben = true;
                     return ein;
                   }];
      if (status == AVAudioConverterOutputStatus_Error) return fehlerAus(error);
      float* const* ergebnis = aus.floatChannelData;
      if (ergebnis == nullptr) return keinSpeicher();
      ausgabe.assign(ergebnis[0], ergebnis[0] + aus.frameLength);
      return std::nullopt;
    }
  }

 private:
  static AVAudioPCMBuffer* puffer(AVAudioFormat* format, std::size_t frames) {
    return [[AVAudioPCMBuffer alloc] initWithPCMFormat:format
                                         frameCapacity:static_cast<AVAudioFrameCount>(frames)];
  }

  AVAudioConverter* converter_;
};

}  // namespace

std::unique_ptr<KonverterAufrufe> avAudioConverter(double von, double nach) {
  @autoreleasepool {
    if (!(von > 0) || !(nach > 0)) return nullptr;
    AVAudioFormat* eingang = mono(von);
    AVAudioFormat* ausgang = mono(nach);
    // What the recording is to be made of cannot be had, now or later.
    if (ausgang == nil) abbruch("Resampler: unmoegliches Zielformat");
    if (eingang == nil) return nullptr;
    AVAudioConverter* converter = nil;
    const Ergebnis ausnahme = ohneAusnahme(
        [&] { converter = [[AVAudioConverter alloc] initFromFormat:eingang toFormat:ausgang]; });
    if (ausnahme || converter == nil) return nullptr;
    return std::make_unique<AvUmwandlung>(converter);
  }
}

}  // namespace hallkorb
