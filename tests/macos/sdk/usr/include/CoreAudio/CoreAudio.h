// Declarations of the platform interfaces this project calls, for type-checking without the platform SDK.
#pragma once
#include <CoreAudioTypes/CoreAudioTypes.h>

typedef UInt32 AudioObjectID;
typedef UInt32 AudioObjectPropertySelector;
typedef UInt32 AudioObjectPropertyScope;
typedef UInt32 AudioObjectPropertyElement;
struct AudioObjectPropertyAddress {
  AudioObjectPropertySelector mSelector;
  AudioObjectPropertyScope mScope;
  AudioObjectPropertyElement mElement;
};
typedef struct AudioObjectPropertyAddress AudioObjectPropertyAddress;
enum : AudioObjectID { kAudioObjectUnknown = 0, kAudioObjectSystemObject = 1 };
enum : AudioObjectPropertyScope { kAudioObjectPropertyScopeGlobal = 'glob' };
enum : AudioObjectPropertyElement { kAudioObjectPropertyElementMain API_AVAILABLE(macos(12.0)) = 0 };
// Its string belongs to the caller.
enum : AudioObjectPropertySelector { kAudioObjectPropertyName = 'lnam' };
enum : AudioObjectPropertySelector {
  kAudioHardwarePropertyDefaultInputDevice = 'dIn ',
  kAudioHardwarePropertyDefaultOutputDevice = 'dOut',
};

#pragma clang assume_nonnull begin
CF_EXPORT OSStatus AudioObjectGetPropertyData(AudioObjectID inObjectID, const AudioObjectPropertyAddress *inAddress, UInt32 inQualifierDataSize, const void *_Nullable inQualifierData, UInt32 *ioDataSize, void *outData);
#pragma clang assume_nonnull end
