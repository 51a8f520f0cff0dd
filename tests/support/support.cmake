# What tests, benchmarks and fuzz targets share.
include_guard(GLOBAL)

hallkorb_library(hallkorb_support FOLDER tests/support
  HEADERS AusgabeFaenger.h ChunkerRegel.h FehlerDateien.h TempOrdner.h WavBytes.h
  DEPENDS hallkorb_audiofiles)
hallkorb_library(hallkorb_sim FOLDER tests/support
  HEADERS SimPlattform.h
  SOURCES SimPlattform.cpp
  DEPENDS hallkorb_platform)
