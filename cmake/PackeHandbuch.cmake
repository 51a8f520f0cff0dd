# Runs in cpack between installation and packing: manual pages are compressed in a package, as both
# distributions want them; `cmake --install` leaves them as text. Without name and time, so that the bytes
# are the same every time.
file(GLOB_RECURSE seiten ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/man[1-9]/*.[1-9])
foreach(seite IN LISTS seiten)
  execute_process(COMMAND gzip -9n ${seite} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
