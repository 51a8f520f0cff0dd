// Stand-in for the converter: linear interpolation of one channel, but pulling its input through
// the block as the platform's does.
#import <AVFAudio/AVFAudio.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <vector>

#include "tests/macos/doubles/AVAudio.h"
#include "tests/macos/doubles/Wandler.h"

namespace hallkorb::ersatz {
namespace {

constexpr long EIGENER = -1;
constexpr double GROESSTE_RATE = 1e6;

std::atomic<long> status{EIGENER};
constexpr long OHNE_FEHLER = 0;
std::atomic<long> fehlercode{OHNE_FEHLER};
std::atomic<bool> wandelnWirft{false};
std::atomic<bool> bauWirft{false};
std::atomic<bool> gibtKeinen{false};
std::atomic<long> anzahl{0};

bool gibtEs(double rate) {
  return rate > 0 && rate <= GROESSTE_RATE;
}

}  // namespace

namespace wandler {

void ende(long neuerStatus, std::optional<long> code) {
  status = neuerStatus;
  fehlercode = code.value_or(OHNE_FEHLER);
}
void wirfBeimWandeln(bool ja) {
  wandelnWirft = ja;
}
void wirfBeimBau(bool ja) {
  bauWirft = ja;
}
void keiner(bool ja) {
  gibtKeinen = ja;
}
long gebaut() {
  return anzahl;
}

}  // namespace wandler

void setzeWandlerZurueck() {
  wandler::ende(EIGENER);
  wandler::wirfBeimWandeln(false);
  wandler::wirfBeimBau(false);
  wandler::keiner(false);
  wandler::keinFormat(-1.0);
  wandler::keineKanaele(-1.0);
  wandler::nochPuffer(-1);
  anzahl = 0;
}

}  // namespace hallkorb::ersatz

using namespace hallkorb::ersatz;

@implementation AVAudioConverter {
  AVAudioFormat* _von;
  AVAudioFormat* _nach;
  std::vector<float> _rest;  // input that is not used up
  double _stelle;            // in it, of the next output sample
}
- (instancetype)initFromFormat:(AVAudioFormat*)von toFormat:(AVAudioFormat*)nach {
  verlange(!bauWirft, "fromFormat != nil");
  if (gibtKeinen || !gibtEs(von.sampleRate) || !gibtEs(nach.sampleRate)) return nil;
  if ((self = [super init]) == nil) return nil;
  ++anzahl;
  _von = von;
  _nach = nach;
  return self;
}
- (AVAudioFormat*)inputFormat {
  return _von;
}
- (AVAudioFormat*)outputFormat {
  return _nach;
}

// Takes one buffer from the block; false if it has none for now.
- (bool)hkHole:(AVAudioConverterInputBlock)eingabe {
  const auto verbraucht = static_cast<std::ptrdiff_t>(_stelle);
  _rest.erase(_rest.begin(),
              _rest.begin() + std::min(verbraucht, static_cast<std::ptrdiff_t>(_rest.size())));
  _stelle -= static_cast<double>(verbraucht);
  constexpr AVAudioPacketCount GEWUENSCHT = 512;
  AVAudioConverterInputStatus stand = AVAudioConverterInputStatus_HaveData;
  auto* neu = static_cast<AVAudioPCMBuffer*>(eingabe(GEWUENSCHT, &stand));
  if (stand != AVAudioConverterInputStatus_HaveData || neu == nil) return false;
  const float* werte = neu.floatChannelData[0];
  _rest.insert(_rest.end(), werte, werte + neu.frameLength);
  return true;
}

- (AVAudioConverterOutputStatus)convertToBuffer:(AVAudioBuffer*)puffer
                                          error:(NSError**)error
                             withInputFromBlock:(AVAudioConverterInputBlock)eingabe {
  verlange(!wandelnWirft, "inputFormat.sampleRate == buffer.format.sampleRate");
  auto* ausgabe = static_cast<AVAudioPCMBuffer*>(puffer);
  auto* ziel = static_cast<float*>(ausgabe.mutableAudioBufferList->mBuffers[0].mData);
  AVAudioFrameCount frames = 0;
  bool trocken = false;
  while (frames < ausgabe.frameCapacity && status != wandler::FEHLER) {
    const auto i = static_cast<std::size_t>(_stelle);
    if (i + 1 >= _rest.size()) {
      trocken = ![self hkHole:eingabe];
      if (trocken) break;
      continue;
    }
    const auto anteil = static_cast<float>(_stelle - static_cast<double>(i));
    ziel[frames++] = _rest[i] * (1 - anteil) + _rest[i + 1] * anteil;
    _stelle += _von.sampleRate / _nach.sampleRate;
  }
  ausgabe.frameLength = frames;
  if (const long code = fehlercode; code != OHNE_FEHLER && error != nullptr) {
    *error = fehlerMit(@"NSOSStatusErrorDomain", code, "The operation could not be completed");
  }
  if (status != EIGENER) return static_cast<AVAudioConverterOutputStatus>(status.load());
  return trocken ? AVAudioConverterOutputStatus_InputRanDry : AVAudioConverterOutputStatus_HaveData;
}
@end
