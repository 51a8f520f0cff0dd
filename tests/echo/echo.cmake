# Tests of the echo code, and what they share with the scene program.
include_guard(GLOBAL)

hallkorb_library(hallkorb_echo_referenz FOLDER tests/echo/referenz
  HEADERS EchoStrecke.h Echokompensation.h Fft.h Verzoegerungsschaetzer.h
  SOURCES EchoStrecke.cpp Echokompensation.cpp Fft.cpp Verzoegerungsschaetzer.cpp)
hallkorb_library(hallkorb_echo_szenen FOLDER tests/echo/szenen
  HEADERS Szene.h
  SOURCES Szene.cpp
  DEPENDS hallkorb_echo_referenz)
hallkorb_library(hallkorb_echo_hilfe FOLDER tests/echo
  HEADERS Befehlssaetze.h Einblick.h Lauf.h
  DEPENDS hallkorb_echo hallkorb_echo_referenz hallkorb_echo_szenen)
# The measure of all tests is not to be waited for; it stays what it is under optimisation.
target_compile_options(hallkorb_echo_referenz PRIVATE -O3)
target_compile_options(hallkorb_echo_szenen PRIVATE -O2)

# The scenes that are listened to: voices, judgement, and the program behind docs/echo.md.
hallkorb_library(hallkorb_echo_bewertung FOLDER tests/echo/szenen
  HEADERS Bewertung.h Stimmen.h
  SOURCES Bewertung.cpp Stimmen.cpp
  DEPENDS hallkorb_echo hallkorb_audiofiles hallkorb_echo_szenen)
target_compile_options(hallkorb_echo_bewertung PRIVATE -O2)
