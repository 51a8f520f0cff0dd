# Runs in cpack between installation and packing. Manual pages are compressed, as distributions want them;
# `cmake --install` leaves them as text. Folders are open to all, whatever the umask: the installation's own
# setting for that misses those that it makes on the way. And every file gets the time of the source: rpm and dpkg only limit
# times to it, and a checkout's own are those of the checkout.
file(GLOB_RECURSE seiten ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.[1-9])
list(FILTER seiten INCLUDE REGEX "/man/man[1-9]/[^/]+$")
foreach(seite IN LISTS seiten)
  execute_process(COMMAND gzip -9n ${seite} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
execute_process(COMMAND find ${CPACK_TEMPORARY_INSTALL_DIRECTORY} -mindepth 1 -type d -exec chmod 755 {} +
                COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND find ${CPACK_TEMPORARY_INSTALL_DIRECTORY} -exec
                        touch -h -d @$ENV{SOURCE_DATE_EPOCH} {} +
                COMMAND_ERROR_IS_FATAL ANY)
