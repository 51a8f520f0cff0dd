# The voices of the tests, and of the private session that scripts/record brings up without any tests.
include_guard(GLOBAL)

hallkorb_library(hallkorb_sprecher FOLDER tests/support
  HEADERS Laute.h Sprecher.h
  SOURCES Laute.cpp Sprecher.cpp)
target_compile_options(hallkorb_sprecher PRIVATE -O2)
add_executable(testsprecher ${CMAKE_CURRENT_LIST_DIR}/TestSprecher.cpp)
target_link_libraries(testsprecher PRIVATE hallkorb_sprecher hallkorb_options)
if(NOT HALLKORB_TESTS)  # then only when it is asked for
  set_target_properties(hallkorb_sprecher testsprecher PROPERTIES EXCLUDE_FROM_ALL TRUE)
endif()
