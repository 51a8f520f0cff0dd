// Stand-ins for the audio engine, its input node and the permission.
//
// The notification of a changed device is posted on an internal queue and holds the engine; an
// engine that is deallocated there, or on the tap thread, is counted: on the platform it can
// deadlock.
#import <AVFAudio/AVFAudio.h>
#import <AVFoundation/AVFoundation.h>
#include <dispatch/dispatch.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <string>

#include "tests/macos/doubles/AVAudio.h"
#include "tests/macos/doubles/Mikrofon.h"

NSString* const AVAudioEngineConfigurationChangeNotification =
    @"AVAudioEngineConfigurationChangeNotification";
AVMediaType const AVMediaTypeAudio = @"soun";
AVMediaType const AVMediaTypeVideo = @"vide";

using namespace hallkorb::ersatz;
using mikrofon::Ruf;

namespace {

constexpr const char* ABGRIFF = "tap";
constexpr const char* INTERN = "avf.intern";

struct Stand {
  std::mutex lock;
  double rate = 48000;
  unsigned kanaele = 1;
  AudioChannelLayoutTag anordnung = 0;
  std::uint32_t anordnungsbits = 0;
  std::vector<std::uint32_t> kanalnamen;
  UInt32 bits = 32;
  bool startGeht = true;
  bool startSagtWarum = true;
  long startCode = -10868;
  bool meldetBeimStart = false;
  long erlaubnis = AVAuthorizationStatusAuthorized;
  std::uint32_t frames = 0;
  void (^frage)(BOOL) = nil;
  __weak AVAudioEngine* laufende = nil;
  AVAudioNodeTapBlock gehalten = nil;
};
Stand& stand() {
  static auto& einer = *new Stand;
  return einer;
}
std::array<std::atomic<bool>, 6> wirft{};
std::atomic<long> falsch{0};

void wirfWennGewollt(Ruf ruf, const char* bedingung) {
  verlange(!wirft.at(static_cast<std::size_t>(ruf)), bedingung);
}

dispatch_queue_t intern() {
  static dispatch_queue_t queue = dispatch_queue_create(INTERN, DISPATCH_QUEUE_SERIAL);
  return queue;
}

AVAudioEngine* laufende() {
  const std::lock_guard halter(stand().lock);
  return stand().laufende;
}

}  // namespace

@interface AVAudioInputNode () {
 @public
  std::mutex _lock;
  AVAudioNodeTapBlock _abgriff;  // under the lock
  AVAudioFormat* _abgriffsformat;
  dispatch_queue_t _faden;
}
- (instancetype)hkInit;
- (AVAudioNodeTapBlock)hkAbgriff;
@end

@implementation AVAudioNode
@end
@implementation AVAudioIONode
@end

@implementation AVAudioInputNode
- (instancetype)hkInit {
  _faden = dispatch_queue_create(ABGRIFF, DISPATCH_QUEUE_SERIAL);
  return self;
}
- (AVAudioFormat*)outputFormatForBus:(AVAudioNodeBus)bus {
  wirfWennGewollt(Ruf::format, "bus < numberOfOutputs");
  const std::lock_guard halter(stand().lock);
  AudioStreamBasicDescription strom{};
  strom.mSampleRate = stand().rate;
  strom.mFormatID = kAudioFormatLinearPCM;
  strom.mFormatFlags = kAudioFormatFlagsNativeFloatPacked | kAudioFormatFlagIsNonInterleaved;
  strom.mBytesPerPacket = 4;
  strom.mFramesPerPacket = 1;
  strom.mBytesPerFrame = 4;
  strom.mChannelsPerFrame = stand().kanaele;
  strom.mBitsPerChannel = stand().bits;
  // A device of more than two channels has a layout.
  AVAudioChannelLayout* anordnung = nil;
  if (stand().kanaele > 2) {
    anordnung = anordnungAus(stand().anordnung, stand().anordnungsbits, stand().kanalnamen);
  }
  return [[AVAudioFormat alloc] initWithStreamDescription:&strom channelLayout:anordnung];
}
- (void)installTapOnBus:(AVAudioNodeBus)bus
             bufferSize:(AVAudioFrameCount)frames
                 format:(AVAudioFormat*)format
                  block:(AVAudioNodeTapBlock)block {
  wirfWennGewollt(Ruf::abgriff, "format.sampleRate == hwFormat.sampleRate");
  verlange(format.sampleRate > 0 && format.channelCount > 0,
           "IsFormatSampleRateAndChannelCountValid(format)");
  {
    const std::lock_guard halter(stand().lock);
    stand().frames = frames;
  }
  const std::lock_guard halter(_lock);
  verlange(_abgriff == nil, "nullptr == Tap()");
  _abgriffsformat = format;
  _abgriff = block;
}
- (void)removeTapOnBus:(AVAudioNodeBus)bus {
  wirfWennGewollt(Ruf::entferne, "Tap() != nullptr");
  AVAudioNodeTapBlock weg = nil;
  const std::lock_guard halter(_lock);
  weg = _abgriff;
  _abgriff = nil;
  static_cast<void>(weg);  // goes when the lock is free
}
- (AVAudioNodeTapBlock)hkAbgriff {
  const std::lock_guard halter(_lock);
  return _abgriff;
}
@end

@implementation AVAudioEngine {
  AVAudioInputNode* _eingang;
  std::atomic<bool> _laeuft;
}
- (AVAudioInputNode*)inputNode {
  if (_eingang == nil) _eingang = [[AVAudioInputNode alloc] hkInit];
  return _eingang;
}
- (void)prepare {
  wirfWennGewollt(Ruf::bereite, "IsFormatSampleRateAndChannelCountValid(hwFormat)");
  verlange(_eingang != nil, "inputNode != nullptr || outputNode != nullptr");
}
- (BOOL)startAndReturnError:(NSError**)error {
  wirfWennGewollt(Ruf::starte, "inputNode != nullptr || outputNode != nullptr");
  verlange(_eingang != nil, "inputNode != nullptr || outputNode != nullptr");
  bool meldet = false;
  {
    const std::lock_guard halter(stand().lock);
    if (!stand().startGeht) {
      if (error != nullptr && stand().startSagtWarum) {
        *error = fehlerMit(@"com.apple.coreaudio.avfaudio", stand().startCode,
                           "kAudioUnitErr_FormatNotSupported");
      }
      return NO;
    }
    stand().laufende = self;
    meldet = stand().meldetBeimStart;
  }
  _laeuft = true;
  if (meldet) mikrofon::melde();
  return YES;
}
- (BOOL)isRunning {
  return _laeuft;
}
- (void)stop {
  wirfWennGewollt(Ruf::stoppe, "engine->IsRunning()");
  _laeuft = false;
}
// By itself, without a call of the program.
- (void)hkBleibStehen {
  _laeuft = false;
}
- (void)dealloc {
  const std::string faden = dispatch_queue_get_label(nil);
  if (faden == ABGRIFF || faden == INTERN) ++falsch;
}
@end

@implementation AVCaptureDevice
+ (AVAuthorizationStatus)authorizationStatusForMediaType:(AVMediaType)art {
  const std::lock_guard halter(stand().lock);
  return static_cast<AVAuthorizationStatus>(stand().erlaubnis);
}
+ (void)requestAccessForMediaType:(AVMediaType)art completionHandler:(void (^)(BOOL))antwort {
  const std::lock_guard halter(stand().lock);
  stand().frage = antwort;
}
@end

namespace {

bool rufeAbgriff(AVAudioInputNode* knoten, AVAudioNodeTapBlock block,
                 const std::vector<std::vector<float>>& kanaele, std::uint64_t hostTime) {
  if (block == nil) return false;
  const auto frames = static_cast<AVAudioFrameCount>(kanaele.front().size());
  AVAudioPCMBuffer* puffer = [[AVAudioPCMBuffer alloc] initWithPCMFormat:knoten->_abgriffsformat
                                                           frameCapacity:frames];
  // In a format without float channels the test's values would mean nothing.
  float* const* ziel = puffer.floatChannelData;
  for (std::size_t i = 0; i < kanaele.size() && ziel != nullptr; ++i)
    std::copy(kanaele[i].begin(), kanaele[i].end(), ziel[i]);
  puffer.frameLength = frames;
  block(puffer, [[AVAudioTime alloc] initWithHostTime:hostTime]);
  // The engine uses its buffers again.
  for (std::size_t i = 0; i < kanaele.size() && ziel != nullptr; ++i)
    std::fill_n(ziel[i], frames, -77.0F);
  return true;
}

}  // namespace

namespace hallkorb::ersatz::mikrofon {

void geraet(double rate, unsigned kanaele, std::uint32_t anordnung) {
  const std::lock_guard halter(stand().lock);
  stand().rate = rate;
  stand().kanaele = kanaele;
  stand().anordnung = anordnung;
  stand().anordnungsbits = 0;
  stand().kanalnamen.clear();
}

void beschreibe(std::uint32_t bits, const std::vector<std::uint32_t>& kanaele) {
  const std::lock_guard halter(stand().lock);
  stand().anordnungsbits = bits;
  stand().kanalnamen = kanaele;
}

void bits(std::uint32_t anzahl) {
  const std::lock_guard halter(stand().lock);
  stand().bits = anzahl;
}

void wechsle(double rate, unsigned kanaele) {
  @autoreleasepool {
    geraet(rate, kanaele);
    [laufende() hkBleibStehen];
    melde();
  }
}

void melde(const std::function<void()>& vorher) {
  @autoreleasepool {
    __weak AVAudioEngine* schwach = laufende();
    const std::function<void()>* zeiger = &vorher;
    dispatch_sync(intern(), ^{
      AVAudioEngine* engine = schwach;
      if (engine == nil) return;
      if (*zeiger) (*zeiger)();
      hallkorb::ersatz::melde(AVAudioEngineConfigurationChangeNotification, engine);
    });
  }
}

void meldeBeimStart(bool ja) {
  const std::lock_guard halter(stand().lock);
  stand().meldetBeimStart = ja;
}

bool liefere(const std::vector<std::vector<float>>& kanaele, std::uint64_t hostTime) {
  @autoreleasepool {
    AVAudioEngine* engine = laufende();
    if (!engine.running) return false;
    AVAudioInputNode* knoten = engine.inputNode;
    const auto* daten = &kanaele;
    __block bool genommen = false;
    dispatch_sync(knoten->_faden, ^{
      genommen = rufeAbgriff(knoten, [knoten hkAbgriff], *daten, hostTime);
    });
    return genommen;
  }
}

void haltAbgriff() {
  @autoreleasepool {
    AVAudioNodeTapBlock block = [laufende().inputNode hkAbgriff];
    const std::lock_guard halter(stand().lock);
    stand().gehalten = block;
  }
}

bool liefereSpaet(const std::vector<std::vector<float>>& kanaele) {
  @autoreleasepool {
    AVAudioNodeTapBlock block = nil;
    {
      const std::lock_guard halter(stand().lock);
      block = stand().gehalten;
      stand().gehalten = nil;
    }
    AVAudioInputNode* knoten = [[AVAudioInputNode alloc] hkInit];
    knoten->_abgriffsformat = [knoten outputFormatForBus:0];
    const auto* daten = &kanaele;
    __block bool genommen = false;
    dispatch_sync(knoten->_faden, ^{
      genommen = rufeAbgriff(knoten, block, *daten, 1);
    });
    return genommen;
  }
}

std::uint32_t bestellteFrames() {
  const std::lock_guard halter(stand().lock);
  return stand().frames;
}

void wirfBei(Ruf ruf, bool ja) {
  wirft.at(static_cast<std::size_t>(ruf)) = ja;
}

void startFehler(bool ja, bool mitFehler, long code) {
  const std::lock_guard halter(stand().lock);
  stand().startGeht = !ja;
  stand().startSagtWarum = mitFehler;
  stand().startCode = code;
}

void erlaubnis(long status) {
  const std::lock_guard halter(stand().lock);
  stand().erlaubnis = status;
}

bool gefragt() {
  const std::lock_guard halter(stand().lock);
  return stand().frage != nil;
}

void antworte(bool ja, int wieOft) {
  @autoreleasepool {
    void (^frage)(BOOL) = nil;
    {
      const std::lock_guard halter(stand().lock);
      frage = stand().frage;
      stand().frage = nil;
    }
    for (int i = 0; i < wieOft && frage != nil; ++i)
      frage(ja);
  }
}

long falscheFreigaben() {
  return falsch;
}

}  // namespace hallkorb::ersatz::mikrofon

void hallkorb::ersatz::setzeMikrofonZurueck() {
  mikrofon::geraet(48000, 1);
  mikrofon::bits(32);
  mikrofon::startFehler(false);
  mikrofon::meldeBeimStart(false);
  mikrofon::erlaubnis(AVAuthorizationStatusAuthorized);
  for (auto& ja : wirft)
    ja = false;
  falsch = 0;
  const std::lock_guard halter(stand().lock);
  stand().frage = nil;
  stand().gehalten = nil;
}
