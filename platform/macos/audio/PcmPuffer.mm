#include "platform/macos/audio/PcmPuffer.h"

#include <cstdint>
#include <vector>

#if !__has_feature(objc_arc)
#error "compile with -fobjc-arc: without it every object here leaks"
#endif

namespace hallkorb {

AVAudioPCMBuffer* _Nullable toPCMBuffer(CMSampleBufferRef probe) {
  CMFormatDescriptionRef beschreibung = CMSampleBufferGetFormatDescription(probe);
  if (beschreibung == nullptr) return nil;
  const AudioStreamBasicDescription* strom =
      CMAudioFormatDescriptionGetStreamBasicDescription(beschreibung);
  // A buffer of any other format would raise an exception.
  if (strom == nullptr || strom->mFormatID != kAudioFormatLinearPCM) return nil;
  AVAudioFormat* format = [[AVAudioFormat alloc] initWithStreamDescription:strom];
  if (format == nil) return nil;
  const auto n = framesAus(CMSampleBufferGetNumSamples(probe));
  if (!n) return nil;
  AVAudioPCMBuffer* puffer = [[AVAudioPCMBuffer alloc] initWithPCMFormat:format frameCapacity:*n];
  if (puffer == nil) return nil;
  puffer.frameLength = *n;
  // Without its data the buffer would hold whatever was in its memory, and that would be recorded.
  if (CMSampleBufferCopyPCMDataIntoAudioBufferList(probe, 0, static_cast<std::int32_t>(*n),
                                                   puffer.mutableAudioBufferList) != noErr) {
    return nil;
  }
  return puffer;
}

namespace {

std::uint32_t nummerVon(AVAudioChannelLayout* _Nullable anordnung) {
  if (anordnung == nil) return 0;
  const AudioChannelLayout& layout = *anordnung.layout;
  std::vector<std::uint32_t> kanaele;
  const AudioChannelDescription* kanal = layout.mChannelDescriptions;
  for (UInt32 i = 0; i < layout.mNumberChannelDescriptions; ++i, ++kanal)
    kanaele.push_back(kanal->mChannelLabel);
  return layoutNummer(layout.mChannelLayoutTag, layout.mChannelBitmap, kanaele);
}

}  // namespace

std::optional<PcmBlock> pcmBlock(AVAudioPCMBuffer* puffer, std::optional<double> hostTime,
                                 PcmUebersetzer& uebersetzer) {
  const AudioStreamBasicDescription& strom = *puffer.format.streamDescription;
  const AudioBufferList& liste = *puffer.audioBufferList;
  std::vector<TonPuffer> teile;
  const AudioBuffer* teil = liste.mBuffers;
  for (UInt32 i = 0; i < liste.mNumberBuffers; ++i, ++teil) {
    teile.push_back({teil->mData, teil->mDataByteSize});
  }
  return uebersetzer.uebersetze(
      {strom.mSampleRate, strom.mFormatID, strom.mFormatFlags, strom.mChannelsPerFrame,
       strom.mBitsPerChannel, nummerVon(puffer.format.channelLayout)},
      teile, puffer.frameLength, hostTime);
}

}  // namespace hallkorb
