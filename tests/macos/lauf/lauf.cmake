# The calls into macOS, run against the stand-ins.
hallkorb_library(hallkorb_lauf_hilfe FOLDER tests/macos/lauf
  HEADERS ErsatzTest.h
  SOURCES ErsatzTest.cpp
  DEPENDS hallkorb_macos hallkorb_laufzeit hallkorb_ersatz)
target_link_libraries(hallkorb_lauf_hilfe PUBLIC GTest::gtest)
hallkorb_test(macos_ersatz_test
  macos/lauf/AvEngineTest.cpp
  macos/lauf/ErsatzPruefungTest.mm
  LIBS hallkorb_lauf_hilfe hallkorb_echo)
target_compile_options(macos_ersatz_test PRIVATE
  $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc> -Wno-unsupported-availability-guard)
target_compile_definitions(macos_ersatz_test PRIVATE
  HALLKORB_MACOS_BOOL=$<BOOL:${HALLKORB_MACOS_BOOL}>)
