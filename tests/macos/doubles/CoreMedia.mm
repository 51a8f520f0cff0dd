// Stand-ins for times and sample buffers.
#import <CoreMedia/CoreMedia.h>
#import <ScreenCaptureKit/ScreenCaptureKit.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

#include "tests/macos/doubles/Ersatz.h"
#include "tests/macos/doubles/HKProbe.h"

using namespace hallkorb::ersatz;

@implementation HKTonFormat
@end
@implementation HKProbe
@end

CMTime CMTimeMake(int64_t wert, int32_t skala) {
  return {wert, skala, kCMTimeFlags_Valid, 0};
}
Float64 CMTimeGetSeconds(CMTime zeit) {
  if (!CMTIME_IS_NUMERIC(zeit)) return std::nan("");
  return static_cast<double>(zeit.value) / zeit.timescale;
}

Boolean CMSampleBufferIsValid(CMSampleBufferRef probe) {
  return probeVon(probe)->gueltig;
}
CMItemCount CMSampleBufferGetNumSamples(CMSampleBufferRef probe) {
  const Ton& ton = probeVon(probe)->ton;
  if (ton.frames) return *ton.frames;
  return ton.kanaele.empty() ? 0 : static_cast<CMItemCount>(ton.kanaele.front().size());
}
CMTime CMSampleBufferGetPresentationTimeStamp(CMSampleBufferRef probe) {
  return probeVon(probe)->zeit;
}
CMFormatDescriptionRef CMSampleBufferGetFormatDescription(CMSampleBufferRef probe) {
  return (__bridge CMFormatDescriptionRef)probeVon(probe)->format;
}
const AudioStreamBasicDescription* CMAudioFormatDescriptionGetStreamBasicDescription(
    CMAudioFormatDescriptionRef format) {
  HKTonFormat* f = (__bridge HKTonFormat*)format;
  return f->beschreibt ? &f->strom : nullptr;
}
CFArrayRef CMSampleBufferGetSampleAttachmentsArray(CMSampleBufferRef probe, Boolean) {
  return (__bridge CFArrayRef)probeVon(probe)->anhaenge;
}

namespace {

void kopiereVerschraenkt(const Ton& ton, std::size_t ab, std::size_t frames, float* ziel) {
  for (std::size_t i = 0; i < frames; ++i) {
    for (const auto& kanal : ton.kanaele)
      *ziel++ = kanal[ab + i];
  }
}

}  // namespace

// Needs as many buffers as the data has channels, and room for all of it.
OSStatus CMSampleBufferCopyPCMDataIntoAudioBufferList(CMSampleBufferRef probe, int32_t ab,
                                                      int32_t frames, AudioBufferList* liste) {
  const Ton& ton = probeVon(probe)->ton;
  if (ton.kopierstatus != noErr) return ton.kopierstatus;
  const auto anzahl = static_cast<std::size_t>(frames);
  const auto beginn = static_cast<std::size_t>(ab);
  if (ton.verschraenkt) {
    if (liste->mNumberBuffers != 1) return kCMSampleBufferError_ArrayTooSmall;
    kopiereVerschraenkt(ton, beginn, anzahl, static_cast<float*>(liste->mBuffers[0].mData));
    return noErr;
  }
  if (liste->mNumberBuffers != ton.kanaele.size()) return kCMSampleBufferError_ArrayTooSmall;
  const AudioBuffer* teil = liste->mBuffers;
  for (std::size_t i = 0; i < ton.kanaele.size(); ++i, ++teil) {
    if (teil->mDataByteSize < anzahl * sizeof(float)) return kCMSampleBufferError_ArrayTooSmall;
    std::memcpy(teil->mData, ton.kanaele[i].data() + beginn, anzahl * sizeof(float));
  }
  return noErr;
}

namespace hallkorb::ersatz {
namespace {

CMTime zeitVon(const Zeitpunkt& wann) {
  constexpr std::int32_t NANO = 1'000'000'000;
  CMTime zeit = CMTimeMake(std::llround(wann.sekunden * NANO), NANO);
  switch (wann.art) {
    case Zeitart::zahl:
      break;
    case Zeitart::ungueltig:
      zeit.flags = {};
      break;
    case Zeitart::unbestimmt:
      zeit.flags = kCMTimeFlags_Valid | kCMTimeFlags_Indefinite;
      break;
    case Zeitart::unendlich:
      zeit.flags = kCMTimeFlags_Valid | kCMTimeFlags_PositiveInfinity;
      break;
  }
  return zeit;
}

HKTonFormat* formatVon(const Ton& ton) {
  HKTonFormat* format = [[HKTonFormat alloc] init];
  format->beschreibt = ton.mitStrom;
  AudioStreamBasicDescription& strom = format->strom;
  strom.mSampleRate = ton.rate;
  strom.mFormatID = ton.kennung.value_or(kAudioFormatLinearPCM);
  strom.mFormatFlags = kAudioFormatFlagsNativeFloatPacked;
  if (!ton.verschraenkt) strom.mFormatFlags |= kAudioFormatFlagIsNonInterleaved;
  strom.mChannelsPerFrame = ton.kanalzahl.value_or(static_cast<UInt32>(ton.kanaele.size()));
  strom.mBytesPerFrame = ton.verschraenkt ? 4 * strom.mChannelsPerFrame : 4;
  strom.mBytesPerPacket = strom.mBytesPerFrame;
  strom.mFramesPerPacket = 1;
  strom.mBitsPerChannel = ton.bits;
  return format;
}

Probe gib(HKProbe* probe) {
  return Probe((__bridge_retained const void*)probe, [](const void* p) { CFRelease(p); });
}

}  // namespace

Probe tonprobe(const Ton& ton, const Zeitpunkt& wann) {
  @autoreleasepool {
    HKProbe* probe = [[HKProbe alloc] init];
    probe->gueltig = true;
    probe->zeit = zeitVon(wann);
    probe->ton = ton;
    if (ton.mitFormat) probe->format = formatVon(ton);
    return gib(probe);
  }
}

Probe bildprobe(const Schnappschuss& bild, const Zeitpunkt& wann, bool gueltig) {
  @autoreleasepool {
    HKProbe* probe = [[HKProbe alloc] init];
    probe->gueltig = gueltig;
    probe->zeit = zeitVon(wann);
    if (bild.mitAnhang) {
      probe->anhaenge = bild.status ? @[ @{
        SCStreamFrameInfoStatus : @(*bild.status)
      } ]
                                    : @[
                                        @{@"anderes" : @1}
                                      ];
    }
    return gib(probe);
  }
}

}  // namespace hallkorb::ersatz
