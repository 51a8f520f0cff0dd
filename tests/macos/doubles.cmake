# The macOS backend on Linux: a small Objective-C runtime and stand-ins for the platform's classes, in
# place of the frameworks. The project's own sources are the same as on a Mac.
#
# Included from the project's root, before the backend, if HALLKORB_MACOS_ERSATZ is on.
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang" OR NOT CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  message(FATAL_ERROR "HALLKORB_MACOS_ERSATZ needs clang on x86-64")
endif()

# The frameworks' declarations without the C library's, which is the system's own here.
set(sdk ${PROJECT_SOURCE_DIR}/tests/macos/sdk/usr/include)
set(kopfzeilen ${PROJECT_BINARY_DIR}/macos-sdk)
foreach(name AVFAudio AVFoundation Accelerate CoreAudio Availability.h AvailabilityMacros.h Block.h
        CoreAudioTypes CoreFoundation CoreGraphics CoreMedia CoreVideo Foundation ScreenCaptureKit
        TargetConditionals.h dispatch objc os mach/mach_time.h sys/event.h sys/qos.h)
  cmake_path(GET name PARENT_PATH ordner)
  file(MAKE_DIRECTORY ${kopfzeilen}/${ordner})
  file(CREATE_LINK ${sdk}/${name} ${kopfzeilen}/${name} SYMBOLIC)
endforeach()

add_library(hallkorb_macos_sdk INTERFACE)
target_include_directories(hallkorb_macos_sdk SYSTEM INTERFACE ${kopfzeilen})
# BOOL is `bool` on arm64 and `signed char` on x86_64.
target_compile_options(hallkorb_macos_sdk INTERFACE
  -Wno-builtin-macro-redefined -Wno-macro-redefined
  -fblocks $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-runtime=macosx-13.0>
  -D__OBJC_BOOL_IS_BOOL=$<BOOL:${HALLKORB_MACOS_BOOL}>)

hallkorb_library(hallkorb_laufzeit FOLDER tests/macos/runtime
  HEADERS Abi.h Laufzeit.h
  SOURCES Ausnahmen.cpp Bloecke.cpp Eigenschaften.cpp Klassen.cpp Leben.cpp NSObject.mm Schwach.cpp
          Senden.cpp)
target_link_libraries(hallkorb_laufzeit PRIVATE hallkorb_macos_sdk)

hallkorb_library(hallkorb_ersatz FOLDER tests/macos/doubles
  HEADERS AVAudio.h Antworten.h Bildschirm.h Ersatz.h HKProbe.h Mikrofon.h Posix.h Proben.h Schlangen.h
          Schreiber.h System.h Transformation.h Verfuegbar.h Wandler.h
  SOURCES AVAssetWriter.mm AVAudioConverter.mm AVAudioEngine.mm AVAudioPuffer.mm
          Benachrichtigungen.mm CoreAudio.mm CoreMedia.mm Fehlerobjekte.mm Hauptschleife.mm Kqueue.cpp
          Posix.cpp Prozess.mm Quellen.mm SCInhalt.mm SCStrom.mm Sammlungen.mm Schlangen.mm Texte.mm vDSP.cpp
  DEPENDS hallkorb_laufzeit hallkorb_macos_sdk)
# A stand-in has what is used of a class.
target_compile_options(hallkorb_ersatz PRIVATE
  $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc -Wno-unused-parameter -Wno-deprecated-declarations>)
# Besides the backend's own calls, see Quellen.mm and Prozess.mm. The sections in which the linker
# collects classes must not be thrown away. A sanitizer defines both functions weakly, and for a weak
# name the linker looks into no library.
target_link_options(hallkorb_ersatz INTERFACE -fuse-ld=lld
  LINKER:--wrap=signal,--wrap=posix_spawnp
  LINKER:--undefined=__wrap_signal,--undefined=__wrap_posix_spawnp)

# Plays the platform to the whole program, see Drehbuch.cpp; hallkorb alone is linked with it.
hallkorb_library(hallkorb_spieler FOLDER tests/macos/doubles
  HEADERS Bildquelle.h Klang.h Tonquelle.h
  SOURCES Bildquelle.cpp Klang.cpp Tonquelle.cpp
  DEPENDS hallkorb_ersatz)
