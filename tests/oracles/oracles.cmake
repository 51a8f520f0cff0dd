# What the tests hold the program against: the same results, found by the plainest way there is.
include_guard(GLOBAL)

hallkorb_library(hallkorb_echo_orakel FOLDER tests/oracles/echo
  HEADERS EchoStrecke.h Echokompensation.h Fft.h Verzoegerungsschaetzer.h
  SOURCES EchoStrecke.cpp Echokompensation.cpp Fft.cpp Verzoegerungsschaetzer.cpp)
# It is the measure of many tests and need not be waited for; optimisation does not change it.
target_compile_options(hallkorb_echo_orakel PRIVATE -O3)
hallkorb_library(hallkorb_chunker_orakel FOLDER tests/oracles HEADERS ChunkerRegel.h)
hallkorb_library(hallkorb_rangfolge_orakel FOLDER tests/oracles
  HEADERS NaiveRangfolge.h
  SOURCES NaiveRangfolge.cpp
  DEPENDS hallkorb_meeting)
target_link_libraries(hallkorb_rangfolge_orakel PRIVATE utf8proc)
