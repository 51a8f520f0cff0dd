// Stand-ins for audio formats, buffers and times.
#import <AVFAudio/AVFAudio.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/macos/doubles/AVAudio.h"
#include "tests/macos/doubles/Wandler.h"

namespace hallkorb::ersatz {
namespace {

std::atomic<double> fehlendeRate{-1.0};
std::atomic<double> kanalloseRate{-1.0};
std::atomic<long> pufferBis{-1};  // how many buffers can still be had; -1: any number

std::size_t groesseMit(std::size_t kanaele) {
  return offsetof(AudioChannelLayout, mChannelDescriptions) +
         kanaele * sizeof(AudioChannelDescription);
}

bool gibtEsPuffer() {
  if (pufferBis < 0) return true;
  return pufferBis.fetch_sub(1) > 0;
}

}  // namespace

void verlange(bool erfuellt, const char* bedingung) {
  if (erfuellt) return;
  wirf("com.apple.coreaudio.avfaudio", std::string("required condition is false: ") + bedingung);
}

AVAudioChannelLayout* anordnungAus(AudioChannelLayoutTag tag, std::uint32_t bits,
                                   const std::vector<std::uint32_t>& kanaele) {
  std::vector<char> platz(groesseMit(kanaele.size()));
  auto* anordnung = reinterpret_cast<AudioChannelLayout*>(platz.data());
  anordnung->mChannelLayoutTag = tag;
  anordnung->mChannelBitmap = static_cast<AudioChannelBitmap>(bits);
  anordnung->mNumberChannelDescriptions = static_cast<UInt32>(kanaele.size());
  AudioChannelDescription* teil = anordnung->mChannelDescriptions;
  for (const std::uint32_t kanal : kanaele)
    (teil++)->mChannelLabel = kanal;
  return [[AVAudioChannelLayout alloc] initWithLayout:anordnung];
}

namespace wandler {

void keinFormat(double rate) {
  fehlendeRate = rate;
}
void keineKanaele(double rate) {
  kanalloseRate = rate;
}
void nochPuffer(long anzahl) {
  pufferBis = anzahl;
}

}  // namespace wandler
}  // namespace hallkorb::ersatz

using namespace hallkorb::ersatz;

@implementation AVAudioChannelLayout {
  std::vector<char> _inhalt;
}
- (instancetype)initWithLayout:(const AudioChannelLayout*)anordnung {
  if ((self = [super init]) == nil) return nil;
  const auto* bytes = reinterpret_cast<const char*>(anordnung);
  _inhalt.assign(bytes, bytes + groesseMit(anordnung->mNumberChannelDescriptions));
  return self;
}
- (AudioChannelLayoutTag)layoutTag {
  return self.layout->mChannelLayoutTag;
}
- (const AudioChannelLayout*)layout {
  return reinterpret_cast<const AudioChannelLayout*>(_inhalt.data());
}
@end

@implementation AVAudioFormat {
  AudioStreamBasicDescription _strom;
  AVAudioChannelLayout* _anordnung;
}
- (instancetype)initWithStreamDescription:(const AudioStreamBasicDescription*)strom
                            channelLayout:(AVAudioChannelLayout*)anordnung {
  if (strom->mChannelsPerFrame > 2 && anordnung == nil) return nil;
  if ((self = [super init]) == nil) return nil;
  _strom = *strom;
  _anordnung = anordnung;
  return self;
}
- (AVAudioChannelLayout*)channelLayout {
  return _anordnung;
}
// More than two channels need a layout, which this call does not take.
- (instancetype)initWithStreamDescription:(const AudioStreamBasicDescription*)strom {
  if (strom->mChannelsPerFrame > 2 || strom->mSampleRate == fehlendeRate) return nil;
  if ((self = [super init]) != nil) _strom = *strom;
  return self;
}
- (instancetype)initWithCommonFormat:(AVAudioCommonFormat)art
                          sampleRate:(double)rate
                            channels:(AVAudioChannelCount)kanaele
                         interleaved:(BOOL)verschraenkt {
  if (art != AVAudioPCMFormatFloat32) return nil;
  const UInt32 proFrame = verschraenkt ? 4 * kanaele : 4;
  AudioStreamBasicDescription strom{};
  strom.mSampleRate = rate;
  strom.mFormatID = kAudioFormatLinearPCM;
  strom.mFormatFlags = kAudioFormatFlagsNativeFloatPacked;
  if (!verschraenkt) strom.mFormatFlags |= kAudioFormatFlagIsNonInterleaved;
  strom.mBytesPerPacket = proFrame;
  strom.mFramesPerPacket = 1;
  strom.mBytesPerFrame = proFrame;
  strom.mChannelsPerFrame = kanaele;
  strom.mBitsPerChannel = 32;
  return [self initWithStreamDescription:&strom];
}
- (double)sampleRate {
  return _strom.mSampleRate;
}
- (AVAudioChannelCount)channelCount {
  return _strom.mChannelsPerFrame;
}
- (BOOL)isInterleaved {
  return (_strom.mFormatFlags & kAudioFormatFlagIsNonInterleaved) == 0;
}
- (const AudioStreamBasicDescription*)streamDescription {
  return &_strom;
}
@end

@implementation AVAudioBuffer {
 @public
  AVAudioFormat* _format;
  std::vector<char> _liste;
  std::vector<std::vector<char>> _daten;
}
- (AVAudioFormat*)format {
  // The platform's comes autoreleased, too.
  return _format;
}
- (const AudioBufferList*)audioBufferList {
  return reinterpret_cast<const AudioBufferList*>(_liste.data());
}
- (AudioBufferList*)mutableAudioBufferList {
  return reinterpret_cast<AudioBufferList*>(_liste.data());
}
@end

@implementation AVAudioPCMBuffer {
  std::vector<float*> _zeiger;
}
@synthesize frameLength = _laenge, frameCapacity = _platz;
- (instancetype)initWithPCMFormat:(AVAudioFormat*)format frameCapacity:(AVAudioFrameCount)frames {
  const AudioStreamBasicDescription* strom = format.streamDescription;
  if (!gibtEsPuffer() || strom == nullptr || strom->mBytesPerFrame == 0) return nil;
  const std::uint64_t bytes = std::uint64_t{frames} * strom->mBytesPerFrame;
  if (bytes > UINT32_MAX) return nil;
  verlange(strom->mFormatID == kAudioFormatLinearPCM, "isPCMFormat");
  if ((self = [super init]) == nil) return nil;
  _format = format;
  _platz = frames;
  const UInt32 puffer = format.interleaved ? 1 : format.channelCount;
  _liste.resize(offsetof(AudioBufferList, mBuffers) + puffer * sizeof(AudioBuffer));
  _daten.assign(puffer, std::vector<char>(bytes, 0x55));  // memory is not cleared
  AudioBufferList* liste = self.mutableAudioBufferList;
  liste->mNumberBuffers = puffer;
  AudioBuffer* teil = liste->mBuffers;
  for (UInt32 i = 0; i < puffer; ++i, ++teil) {
    *teil = {format.interleaved ? format.channelCount : 1, static_cast<UInt32>(bytes),
             _daten[i].data()};
    _zeiger.push_back(reinterpret_cast<float*>(_daten[i].data()));
  }
  return self;
}
- (void)setFrameLength:(AVAudioFrameCount)frames {
  verlange(frames <= _platz, "frameLength <= frameCapacity");
  _laenge = frames;
  AudioBufferList* liste = self.mutableAudioBufferList;
  AudioBuffer* teil = liste->mBuffers;
  for (UInt32 i = 0; i < liste->mNumberBuffers; ++i, ++teil)
    teil->mDataByteSize = frames * _format.streamDescription->mBytesPerFrame;
}
- (float* const*)floatChannelData {
  const AudioStreamBasicDescription& strom = *_format.streamDescription;
  if (strom.mSampleRate == kanalloseRate) return nullptr;
  const bool gleitkomma = (strom.mFormatFlags & kAudioFormatFlagIsFloat) != 0;
  return gleitkomma && strom.mBitsPerChannel == 32 ? _zeiger.data() : nullptr;
}
@end

@implementation AVAudioTime {
  uint64_t _ticks;
}
- (instancetype)initWithHostTime:(uint64_t)ticks {
  if ((self = [super init]) != nil) _ticks = ticks;
  return self;
}
+ (NSTimeInterval)secondsForHostTime:(uint64_t)ticks {
  return static_cast<double>(ticks) * 125 / 3 / 1e9;
}
- (BOOL)isHostTimeValid {
  return _ticks != 0;
}
- (uint64_t)hostTime {
  return _ticks;
}
@end
