# Tests of the echo code, and what they share with the scene program.
include_guard(GLOBAL)

include(${CMAKE_CURRENT_LIST_DIR}/../oracles/oracles.cmake)
hallkorb_library(hallkorb_echo_szenen FOLDER tests/echo/scenes
  HEADERS Szene.h
  SOURCES Szene.cpp
  DEPENDS hallkorb_echo_orakel hallkorb_clock)
hallkorb_library(hallkorb_echo_hilfe FOLDER tests/echo
  HEADERS Befehlssaetze.h Einblick.h Lauf.h
  DEPENDS hallkorb_echo hallkorb_echo_orakel hallkorb_echo_szenen)
target_compile_options(hallkorb_echo_szenen PRIVATE -O2)

# The scenes that are listened to: voices, judgement, and the program behind docs/echo.md.
hallkorb_library(hallkorb_echo_bewertung FOLDER tests/echo/scenes
  HEADERS Bewertung.h Stimmen.h
  SOURCES Bewertung.cpp Stimmen.cpp
  DEPENDS hallkorb_echo hallkorb_audiofiles hallkorb_echo_szenen hallkorb_sprecher)
target_compile_options(hallkorb_echo_bewertung PRIVATE -O2)
