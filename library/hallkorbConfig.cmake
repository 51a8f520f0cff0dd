# find_package(hallkorb): the targets hallkorb::audio (shared; not on macOS) and hallkorb::audio-static.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
include(${CMAKE_CURRENT_LIST_DIR}/hallkorbTargets.cmake)
