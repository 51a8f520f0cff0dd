# What `cmake --install` puts where: the component "programs" for users, "library" for those who build on
# the audio core. Nothing depends on who installs: a checkout's file modes and the user's umask differ.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME programs)

install(TARGETS hallkorb hallkorb-sitzung RUNTIME)

set(handbuch hallkorb.1 hallkorb-sitzung.1 hallkorb-protokoll.5)
foreach(seite IN LISTS handbuch)
  configure_file(docs/${seite}.in ${seite} @ONLY)
  string(REGEX MATCH "[0-9]$" abschnitt ${seite})
  install(FILES ${PROJECT_BINARY_DIR}/${seite} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${abschnitt})
endforeach()

install(FILES README.md LICENSE CHANGELOG.md CONTRIBUTING.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs
        FILES_MATCHING PATTERN "*.md" PATTERN "*.png" PATTERN "*.schema.json")
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR}
        PATTERN "__pycache__" EXCLUDE PATTERN "session/record" EXCLUDE
        REGEX "((host|clean)\\.(py|mjs)|session/play)$" EXCLUDE)
foreach(wirt python/host.py python/clean.py node/host.mjs session/play)
  cmake_path(GET wirt PARENT_PATH ordner)
  install(PROGRAMS examples/${wirt} DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples/${ordner})
endforeach()

# Each shell finds a program's completions by its name. Debian's zsh does not look into site-functions
# below /usr; a Debian package has another folder.
set(HALLKORB_ZSH_FOLDER zsh/site-functions CACHE STRING "Folder of zsh's completions, below share")
function(hallkorb_vervollstaendigung ordner name)
  foreach(datei IN LISTS ARGN)
    if(EXISTS ${PROJECT_SOURCE_DIR}/completions/${datei})
      install(FILES completions/${datei} DESTINATION ${CMAKE_INSTALL_DATADIR}/${ordner} RENAME ${name})
      return()
    endif()
  endforeach()
endfunction()
foreach(programm hallkorb hallkorb-sitzung)
  hallkorb_vervollstaendigung(bash-completion/completions ${programm} ${programm}.bash ${programm})
  hallkorb_vervollstaendigung(${HALLKORB_ZSH_FOLDER} _${programm} ${programm}.zsh _${programm})
  hallkorb_vervollstaendigung(fish/vendor_completions.d ${programm}.fish ${programm}.fish)
endforeach()
