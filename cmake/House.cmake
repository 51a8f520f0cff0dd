# The rules of the house, kept by the build: each library sees only the headers of the libraries it
# is linked with. Headers are included by their path from the root ("echo/KFFT.h"), so one include
# folder for all would let everything include everything. Instead every library gets a folder of its
# own that holds links to its headers under that same path, and passes only this folder on.

# hallkorb_library(NAME FOLDER <folder> HEADERS <h>... SOURCES <cpp>... DEPENDS <lib>...)
# Headers and sources are named relative to FOLDER.
function(hallkorb_library name)
  cmake_parse_arguments(arg "" "FOLDER" "HEADERS;SOURCES;DEPENDS" ${ARGN})
  set(root ${PROJECT_BINARY_DIR}/house/${name})
  foreach(header IN LISTS arg_HEADERS)
    cmake_path(GET header PARENT_PATH sub)
    file(MAKE_DIRECTORY ${root}/${arg_FOLDER}/${sub})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${arg_FOLDER}/${header}
         ${root}/${arg_FOLDER}/${header} SYMBOLIC)
  endforeach()
  if(arg_SOURCES)
    list(TRANSFORM arg_SOURCES PREPEND ${PROJECT_SOURCE_DIR}/${arg_FOLDER}/)
    add_library(${name} STATIC ${arg_SOURCES})
    target_include_directories(${name} PUBLIC ${root})
    target_link_libraries(${name} PUBLIC ${arg_DEPENDS} PRIVATE hallkorb_options)
  else()
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE ${root})
    target_link_libraries(${name} INTERFACE ${arg_DEPENDS})
  endif()
endfunction()
