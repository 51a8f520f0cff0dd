# What tests, benchmarks and fuzz targets share.
include_guard(GLOBAL)

hallkorb_library(hallkorb_support FOLDER tests/support
  HEADERS AusgabeFaenger.h Fehlerart.h FehlerDateien.h Fortschrittszeile.h Niemand.h Rohr.h TempOrdner.h Warten.h WavBytes.h
  DEPENDS hallkorb_audiofiles)
hallkorb_library(hallkorb_sim FOLDER tests/support
  HEADERS Gespraech.h SimBildschirm.h SimPlattform.h
  SOURCES Gespraech.cpp SimBildschirm.cpp SimPlattform.cpp
  DEPENDS hallkorb_platform hallkorb_audiofiles)
hallkorb_library(hallkorb_kristall FOLDER tests/support
  HEADERS Kristall.h Testuhr.h
  SOURCES Kristall.cpp
  DEPENDS hallkorb_platform)
hallkorb_library(hallkorb_bildszene FOLDER tests/support
  HEADERS Bildszene.h
  DEPENDS hallkorb_meeting hallkorb_sim hallkorb_support)
if(HALLKORB_MACOS)
  return()
endif()

# It replaces the allocator of every program that links it.
hallkorb_library(hallkorb_speicherwacht FOLDER tests/support
  HEADERS Speicherwacht.h
  SOURCES Speicherwacht.cpp)

hallkorb_library(hallkorb_prozess FOLDER tests/support
  HEADERS Prozess.h
  SOURCES Prozess.cpp
  DEPENDS hallkorb_linux_common)
hallkorb_library(hallkorb_x11_bildschirm FOLDER tests/support
  HEADERS Bildsammler.h X11Bildschirm.h
  SOURCES X11Bildschirm.cpp
  DEPENDS hallkorb_support hallkorb_prozess hallkorb_linux_screen PkgConfig::X11)
target_compile_definitions(hallkorb_x11_bildschirm
  PRIVATE HALLKORB_TESTFENSTER="$<TARGET_FILE:testfenster>")
add_dependencies(hallkorb_x11_bildschirm testfenster)
hallkorb_library(hallkorb_video_hilfe FOLDER tests/support
  HEADERS Ffmpeg.h Testbild.h
  SOURCES Ffmpeg.cpp
  DEPENDS hallkorb_prozess hallkorb_linux_common)
add_executable(testvideo ${CMAKE_CURRENT_LIST_DIR}/TestVideo.cpp)
target_link_libraries(testvideo PRIVATE hallkorb_linux hallkorb_video_hilfe hallkorb_options)
add_executable(testchunker ${CMAKE_CURRENT_LIST_DIR}/TestChunker.cpp)
target_link_libraries(testchunker PRIVATE hallkorb_audiofiles hallkorb_options)
# A pair of sound devices with crystals of their own, for the end-to-end tests.
add_executable(testgeraete ${CMAKE_CURRENT_LIST_DIR}/TestGeraete.cpp)
target_link_libraries(testgeraete PRIVATE hallkorb_options PkgConfig::PIPEWIRE)
set_property(SOURCE ${CMAKE_CURRENT_LIST_DIR}/TestGeraete.cpp PROPERTY COMPILE_OPTIONS
  $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-statement-expression-from-macro-expansion>)
# A libswresample that lacks one of the options that the resampler sets.
add_library(fremdes_swresample MODULE ${CMAKE_CURRENT_LIST_DIR}/FremdesSwresample.cpp)
target_link_libraries(fremdes_swresample PRIVATE hallkorb_options)
set_target_properties(fremdes_swresample PROPERTIES PREFIX "")
# A graphics card that is not there, for libva; only the headers of that are used.
pkg_check_modules(VA QUIET libva)
if(VA_FOUND AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
  add_library(hallkorbtest_drv_video MODULE
    ${CMAKE_CURRENT_LIST_DIR}/va/PcmScheibe.cpp ${CMAKE_CURRENT_LIST_DIR}/va/VaTreiber.cpp)
  target_include_directories(hallkorbtest_drv_video PRIVATE ${PROJECT_SOURCE_DIR})
  target_include_directories(hallkorbtest_drv_video SYSTEM PRIVATE ${VA_INCLUDE_DIRS})
  target_link_libraries(hallkorbtest_drv_video PRIVATE hallkorb_options)
  set_target_properties(hallkorbtest_drv_video PROPERTIES PREFIX "")
elseif(NOT VA_FOUND)
  message(STATUS "No libva headers (libva-dev): encoding by a graphics card is not tested")
endif()
