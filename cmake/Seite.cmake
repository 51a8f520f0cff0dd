# Puts the page's template (session/page) into the program: as constants, declared in session/Vorlage.h.
#
# It is made while configuring, so that the checkers find the file without a build; a changed template
# makes the next build configure anew. The script's parts become one function, so that nothing of it is
# global, and the policy names style and script by their SHA-256.

# hallkorb_seite(TARGET <target> FOLDER <folder> SCRIPTS <js>...)
function(hallkorb_seite)
  cmake_parse_arguments(arg "" "TARGET;FOLDER" "SCRIPTS" ${ARGN})
  set(anfang "(() => {\n'use strict';\n")
  set(ende "})();\n")
  set(ganz "${anfang}")
  set(teile "")
  list(LENGTH arg_SCRIPTS anzahl)
  math(EXPR letztes "${anzahl} - 1")
  foreach(nummer RANGE ${letztes})
    list(GET arg_SCRIPTS ${nummer} datei)
    hallkorb_lies(text ${arg_FOLDER}/${datei})
    string(APPEND ganz "${text}")
    if(nummer EQUAL 0)
      string(PREPEND text "${anfang}")
    endif()
    if(nummer EQUAL letztes)
      string(APPEND text "${ende}")
    endif()
    string(APPEND teile "    R\"HALLKORB(${text})HALLKORB\",\n")
  endforeach()
  string(APPEND ganz "${ende}")
  hallkorb_lies(html ${arg_FOLDER}/seite.html)
  hallkorb_lies(stil ${arg_FOLDER}/seite.css)
  hallkorb_sha256(skript_summe "${ganz}")
  hallkorb_sha256(stil_summe "${stil}")
  set(regeln "default-src 'none'; script-src 'sha256-${skript_summe}'; style-src 'sha256-${stil_summe}'")
  string(APPEND regeln "; media-src 'self'; base-uri 'none'; form-action 'none'")
  set(neu "// Made by cmake/Seite.cmake from session/page.\n#include \"session/Vorlage.h\"\n\n")
  string(APPEND neu "namespace hallkorb {\n\n"
    "constexpr std::string_view SEITE_HTML = R\"HALLKORB(${html})HALLKORB\";\n"
    "constexpr std::string_view SEITE_REGELN = \"${regeln}\";\n"
    "constexpr std::string_view SEITE_STIL = R\"HALLKORB(${stil})HALLKORB\";\n"
    "constexpr std::array<std::string_view, ${anzahl}> SEITE_SKRIPT = {\n${teile}};\n\n"
    "}  // namespace hallkorb\n")
  set(quelle ${PROJECT_BINARY_DIR}/house/SeiteVorlage.cpp)
  file(CONFIGURE OUTPUT ${quelle} CONTENT "@neu@" @ONLY)
  target_sources(${arg_TARGET} PRIVATE ${quelle})
endfunction()

# The file's text; the build configures anew when it changes.
function(hallkorb_lies ergebnis datei)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${datei})
  file(READ ${PROJECT_SOURCE_DIR}/${datei} text)
  set(${ergebnis} "${text}" PARENT_SCOPE)
endfunction()

# A text's SHA-256 in base64, as policies for pages want it.
function(hallkorb_sha256 ergebnis text)
  set(zeichen ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
  string(SHA256 hex "${text}")
  string(APPEND hex 00)  # 33 bytes, eleven times three
  set(wort "")
  foreach(i RANGE 10)
    math(EXPR stelle "${i} * 6")
    string(SUBSTRING ${hex} ${stelle} 6 drei)
    foreach(bits 18 12 6 0)
      math(EXPR wert "(0x${drei} >> ${bits}) & 63")
      string(SUBSTRING ${zeichen} ${wert} 1 eines)
      string(APPEND wort ${eines})
    endforeach()
  endforeach()
  string(SUBSTRING ${wort} 0 43 wort)
  set(${ergebnis} "${wort}=" PARENT_SCOPE)
endfunction()
