# What the program is built with, and what each thing's package is called. Everything that is missing
# is reported at once, in one message, with the names to install it by.

# hallkorb_paket(NAME DEBIAN FEDORA HOMEBREW): NAME as pkg-config or find_package() has it; "-" if
# a system has none or needs none.
function(hallkorb_paket name debian fedora homebrew)
  set_property(GLOBAL PROPERTY HALLKORB_PAKET_${name}
    "Debian, Ubuntu: ${debian}; Fedora: ${fedora}; Homebrew: ${homebrew}")
endfunction()

hallkorb_paket(PkgConfig pkg-config pkgconf-pkg-config pkgconf)
hallkorb_paket(nlohmann_json nlohmann-json3-dev json-devel nlohmann-json)
hallkorb_paket(CLI11 libcli11-dev cli11-devel cli11)
hallkorb_paket(utf8proc libutf8proc-dev utf8proc-devel utf8proc)
hallkorb_paket(GoogleTest libgtest-dev gtest-devel googletest)
hallkorb_paket(libpipewire-0.3 libpipewire-0.3-dev pipewire-devel -)
foreach(teil avcodec avformat avutil swresample swscale)
  hallkorb_paket(lib${teil} lib${teil}-dev lib${teil}-free-devel -)
endforeach()
hallkorb_paket(xcb libxcb1-dev libxcb-devel -)
foreach(teil composite shm damage xfixes res)
  hallkorb_paket(xcb-${teil} libxcb-${teil}0-dev libxcb-devel -)
endforeach()
hallkorb_paket(xau libxau-dev libXau-devel -)

# Notes that NAME is missing.
function(hallkorb_fehlt name)
  get_property(pakete GLOBAL PROPERTY HALLKORB_PAKET_${name})
  set_property(GLOBAL APPEND_STRING PROPERTY HALLKORB_FEHLENDES "\n  ${name}  (${pakete})")
endfunction()

# hallkorb_pkg(PREFIX MODULE...): pkg_check_modules() with an imported target, and notes of what is
# missing.
function(hallkorb_pkg prefix)
  foreach(modul IN LISTS ARGN)
    pkg_check_modules(PROBE_${modul} QUIET ${modul})
    if(NOT PROBE_${modul}_FOUND)
      hallkorb_fehlt(${modul})
    endif()
  endforeach()
  pkg_check_modules(${prefix} QUIET IMPORTED_TARGET GLOBAL ${ARGN})
  set(${prefix}_INCLUDE_DIRS ${${prefix}_INCLUDE_DIRS} PARENT_SCOPE)
endfunction()

# Stops if anything is missing.
function(hallkorb_pruefe_pakete)
  get_property(fehlendes GLOBAL PROPERTY HALLKORB_FEHLENDES)
  if(fehlendes)
    message(FATAL_ERROR "These are needed and were not found (scripts/setup.sh build installs them "
                        "if it knows the system):${fehlendes}")
  endif()
endfunction()
