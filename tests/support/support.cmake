# What tests, benchmarks and fuzz targets share.
include_guard(GLOBAL)

hallkorb_library(hallkorb_support FOLDER tests/support
  HEADERS AusgabeFaenger.h ChunkerRegel.h FehlerDateien.h TempOrdner.h WavBytes.h
  DEPENDS hallkorb_audiofiles)
hallkorb_library(hallkorb_sim FOLDER tests/support
  HEADERS SimBildschirm.h SimPlattform.h
  SOURCES SimBildschirm.cpp SimPlattform.cpp
  DEPENDS hallkorb_platform)
hallkorb_library(hallkorb_naive_rangfolge FOLDER tests/support
  HEADERS NaiveRangfolge.h
  SOURCES NaiveRangfolge.cpp
  DEPENDS hallkorb_meeting)
target_link_libraries(hallkorb_naive_rangfolge PRIVATE utf8proc)
hallkorb_library(hallkorb_bildszene FOLDER tests/support
  HEADERS Bildszene.h
  DEPENDS hallkorb_meeting hallkorb_sim hallkorb_support)
