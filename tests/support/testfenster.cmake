# A real window controlled by lines; needs only the X libraries. Built on request.
hallkorb_library(hallkorb_beschriftung FOLDER tests/support
  HEADERS Beschriftung.h
  SOURCES Beschriftung.cpp)
target_link_libraries(hallkorb_beschriftung PUBLIC PkgConfig::X11)
set_target_properties(hallkorb_beschriftung PROPERTIES EXCLUDE_FROM_ALL TRUE)
add_executable(testfenster EXCLUDE_FROM_ALL ${CMAKE_CURRENT_LIST_DIR}/TestFenster.cpp)
target_link_libraries(testfenster PRIVATE hallkorb_beschriftung hallkorb_options)
