# The calls into macOS, run against the stand-ins.
hallkorb_library(hallkorb_lauf_hilfe FOLDER tests/macos/calls
  HEADERS ErsatzTest.h Fehlercodes.h SckLauf.h
  SOURCES ErsatzTest.cpp
  DEPENDS hallkorb_macos hallkorb_laufzeit hallkorb_ersatz)
target_link_libraries(hallkorb_lauf_hilfe PUBLIC GTest::gtest)
hallkorb_test(macos_ersatz_test
  macos/calls/AvAssetWriterTest.cpp
  macos/calls/AvAudioConverterTest.cpp
  macos/calls/AvEngineTest.cpp
  macos/calls/ErsatzPruefungTest.mm
  macos/calls/FadenTest.cpp
  macos/calls/KFFTAccelerateTest.cpp
  macos/calls/MacHostClockTest.cpp
  macos/calls/MacPlattformTest.cpp
  macos/calls/MacRunLoopTest.cpp
  macos/calls/ObjekteTest.mm
  macos/calls/PcmPufferTest.mm
  macos/calls/SchreibplatzTest.cpp
  macos/calls/SckProbenTest.cpp
  macos/calls/ScreenCaptureKitTest.cpp
  macos/calls/StandardgeraetTest.cpp
  LIBS hallkorb_lauf_hilfe hallkorb_echo)
target_compile_options(macos_ersatz_test PRIVATE
  $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc> -Wno-unsupported-availability-guard)
target_compile_definitions(macos_ersatz_test PRIVATE
  HALLKORB_MACOS_BOOL=$<BOOL:${HALLKORB_MACOS_BOOL}>)
# The tests of everything that rests on the platform's transform.
hallkorb_test(macos_echo_test
  echo/DFeldTest.cpp
  echo/KFFTTest.cpp
  LIBS hallkorb_echo_hilfe)
