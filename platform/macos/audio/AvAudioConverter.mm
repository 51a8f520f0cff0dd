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

class AvUmwandlung final : public KonverterAufrufe {
 public:
  explicit AvUmwandlung(AVAudioConverter* converter) : converter_(converter) {}

  Umwandlung wandle(std::span<const float> samples, std::size_t kapazitaet,
                    std::vector<float>& ausgabe) override {
    @autoreleasepool {
      AVAudioPCMBuffer* ein = puffer(converter_.inputFormat, samples.size());
      AVAudioPCMBuffer* aus = puffer(converter_.outputFormat, kapazitaet);
      float* const* platz = ein.floatChannelData;
      if (platz == nullptr || aus == nil) return Umwandlung::verloren();
      std::copy(samples.begin(), samples.end(), platz[0]);
      ein.frameLength = static_cast<AVAudioFrameCount>(samples.size());

      // The block once, then nothing for now; never the end, so that the filter goes on.
      __block bool gegeben = false;
      const AVAudioConverterInputBlock quelle =
          ^AVAudioBuffer*(AVAudioPacketCount, AVAudioConverterInputStatus* stand) {
            *stand = gegeben ? AVAudioConverterInputStatus_NoDataNow
                             : AVAudioConverterInputStatus_HaveData;
            if (gegeben) return nil;
            gegeben = true;
            return ein;
          };
      NSError* error = nil;
      // No document says whether this call raises exceptions, as others of its framework do. One
      // that left the capture's thread would end the process; as an error it costs a block.
      // The error decides, not the status: several of its values mean that the input is used up, as
      // usual.
      const Ergebnis ergebnis = ohneAusnahme([&] {
        static_cast<void>([converter_ convertToBuffer:aus error:&error withInputFromBlock:quelle]);
      });
      if (ergebnis.gescheitert()) return Umwandlung::gescheitert(ergebnis.fehler());
      if (error != nil) return Umwandlung::gescheitert(fehlerAus(error));
      float* const* gewandelt = aus.floatChannelData;
      if (gewandelt == nullptr) return Umwandlung::verloren();
      ausgabe.assign(gewandelt[0], gewandelt[0] + aus.frameLength);
      return {};
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
    AVAudioFormat* ausgang = mono(nach);
    // Without its target format there can be no recording, now or later.
    if (!(nach > 0) || ausgang == nil) abbruch("Resampler: unmoegliches Zielformat");
    AVAudioFormat* quellformat = mono(von);
    if (quellformat == nil) return nullptr;
    AVAudioConverter* converter = nil;
    const Ergebnis ergebnis = ohneAusnahme([&] {
      converter = [[AVAudioConverter alloc] initFromFormat:quellformat toFormat:ausgang];
    });
    if (ergebnis.gescheitert() || converter == nil) return nullptr;
    return std::make_unique<AvUmwandlung>(converter);
  }
}

}  // namespace hallkorb
