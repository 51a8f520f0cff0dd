# Packages for Debian and Fedora: scripts/package makes them.
#
# What the programs are linked with is found by the package tools (dpkg-shlibdeps, rpm). They cannot see
# what is loaded late (docs/decisions/libraries-loaded-late.md), so those names come from here: without
# the first ones nothing is recorded; the others are recommended, since sound needs no picture.
# A version is that of the release on which the package is built.

set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_NAME hallkorb)
set(CPACK_PACKAGE_CONTACT "the hallkorb authors")
set(CPACK_PACKAGE_VENDOR "the hallkorb authors")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
set(CPACK_COMPONENTS_ALL programs library)
set(CPACK_COMPONENT_PROGRAMS_DESCRIPTION "A meeting recorder that a host application starts: it records the
microphone and what the computer plays on one timeline, removes the far end's
echo, cuts both into WAV files at pauses in speech, films the meeting's window
and reports everything as JSON lines. hallkorb-sitzung checks and repairs what
was recorded.")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "The audio core of the meeting recorder as a library for C, C++ and other
languages: timeline, clock stage, chunker and echo canceller; with headers,
CMake package and pkg-config file.")
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_BINARY_DIR}/CPackProjekt.cmake)
configure_file(cmake/CPackProjekt.cmake.in ${CPACK_PROJECT_CONFIG_FILE} @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/Packvorbereitung.cmake)
set(CPACK_GENERATOR TGZ)

if(NOT HALLKORB_MACOS AND NOT CMAKE_CROSSCOMPILING)
  set(noetig libpipewire-0.3 libavutil libswresample)
  set(empfohlen libavcodec libavformat libswscale xcb xcb-composite xcb-shm xcb-damage xcb-xfixes xcb-res
      xau)

  # hallkorb_soname(VARIABLE MODULE): the file name by which a program loads the library, as the linker
  # would note it.
  find_program(READELF NAMES ${CMAKE_READELF} readelf)
  function(hallkorb_soname variable modul)
    pkg_check_modules(SPAET_${modul} QUIET ${modul})
    list(GET SPAET_${modul}_LINK_LIBRARIES 0 datei)
    execute_process(COMMAND ${READELF} -d ${datei} OUTPUT_VARIABLE kopf ERROR_QUIET)
    if(NOT kopf MATCHES "SONAME[^[]*\\[([^]]+)\\]")
      message(FATAL_ERROR "${datei} of ${modul} has no name to load it by")
    endif()
    set(${variable} ${CMAKE_MATCH_1} PARENT_SCOPE)
    cmake_path(GET datei PARENT_PATH ordner)
    set(${variable}_ORT ${ordner}/${CMAKE_MATCH_1} PARENT_SCOPE)
  endfunction()

  # hallkorb_debian(VARIABLE FILE): "package (>= version)" of the installed package that holds the file,
  # empty without dpkg.
  function(hallkorb_debian variable datei)
    cmake_path(GET datei FILENAME name)
    execute_process(COMMAND dpkg-query -S "*/${name}" OUTPUT_VARIABLE besitz ERROR_QUIET)
    string(REGEX MATCH "^[^:, \n]+" paket "${besitz}")
    execute_process(COMMAND dpkg-query -W -f "\${Version}\n" ${paket} OUTPUT_VARIABLE version ERROR_QUIET)
    string(REGEX MATCH "^([0-9]+:)?[0-9]+(\\.[0-9]+)*" version "${version}")
    if(paket AND version)
      set(${variable} "${paket} (>= ${version})" PARENT_SCOPE)
    else()
      set(${variable} "" PARENT_SCOPE)
    endif()
  endfunction()

  foreach(art noetig empfohlen)
    foreach(modul IN LISTS ${art})
      hallkorb_soname(soname ${modul})
      list(APPEND ${art}_sonamen ${soname})
      hallkorb_debian(eintrag ${soname_ORT})
      list(APPEND ${art}_debian ${eintrag})
    endforeach()
  endforeach()
  # hallkorb-sitzung runs ffmpeg; a server or a container has no sound system yet.
  list(APPEND empfohlen_debian ffmpeg pipewire wireplumber)
  list(JOIN noetig_debian ", " noetig_debian)
  list(JOIN empfohlen_debian ", " empfohlen_debian)

  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME hallkorb)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libhallkorb-audio-dev)
  set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION sound)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PROGRAMS_PACKAGE_DEPENDS "${noetig_debian}")
  set(CPACK_DEBIAN_PROGRAMS_PACKAGE_RECOMMENDS "${empfohlen_debian}")
  # What the release's own name adds to the version, so that the packages of two releases differ.
  if(EXISTS /etc/os-release)
    file(STRINGS /etc/os-release ausgabe REGEX "^(ID|VERSION_ID)=")
    string(REGEX REPLACE "VERSION_ID=|ID=|\"" "" ausgabe "${ausgabe}")
    list(SORT ausgabe)
    if(ausgabe MATCHES "^([0-9.]+);debian$")
      set(CPACK_DEBIAN_PACKAGE_RELEASE "1~deb${CMAKE_MATCH_1}")
    endif()
  endif()

  set(CPACK_RPM_COMPONENT_INSTALL ON)
  set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
  set(CPACK_RPM_PACKAGE_LICENSE MIT)
  # What rpm does to files after the installation has been done already, in the same way everywhere.
  set(CPACK_RPM_SPEC_INSTALL_POST true)
  set(CPACK_RPM_PACKAGE_GROUP Applications/Multimedia)
  set(CPACK_RPM_PROGRAMS_PACKAGE_NAME hallkorb)
  set(CPACK_RPM_LIBRARY_PACKAGE_NAME hallkorb-audio-devel)
  set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
      /usr/share/man /usr/share/man/man1 /usr/share/man/man5 /usr/share/bash-completion
      /usr/share/bash-completion/completions /usr/share/zsh /usr/share/zsh/site-functions
      /usr/share/fish /usr/share/fish/vendor_completions.d /usr/lib/cmake /usr/lib/pkgconfig
      /usr/${CMAKE_INSTALL_LIBDIR} /usr/${CMAKE_INSTALL_LIBDIR}/cmake
      /usr/${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  # A package names a library by what it provides, so that no distribution's package names are needed. The
  # names go in as lines of rpm's own description, which has no variable for recommendations. The other
  # lines keep the clock and the machine's name out of the package.
  set(wort "()")
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(wort "()(64bit)")
  endif()
  list(TRANSFORM noetig_sonamen REPLACE "(.+)" "Requires: \\1${wort}")
  list(TRANSFORM empfohlen_sonamen REPLACE "(.+)" "Recommends: \\1${wort}")
  list(JOIN noetig_sonamen "\n" noetig_sonamen)
  list(JOIN empfohlen_sonamen "\n" empfohlen_sonamen)
  set(CPACK_RPM_SPEC_MORE_DEFINE "%define _buildhost reproducible
%define use_source_date_epoch_as_buildtime 1
%define clamp_mtime_to_source_date_epoch 1
%define _build_id_links none
%if \"%{name}\" == \"hallkorb\"
${noetig_sonamen}
${empfohlen_sonamen}
Recommends: /usr/bin/ffmpeg
Recommends: pipewire
Recommends: wireplumber
%endif")
endif()
include(CPack)
