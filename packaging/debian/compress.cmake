# Run by CPack on what it is going to pack: policy wants manuals and changelog compressed, and
# without the time of it.
file(GLOB documents
  ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share/man/man*/*.[0-9]
  ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share/doc/tavok/changelog)
execute_process(COMMAND gzip -n -9 ${documents} COMMAND_ERROR_IS_FATAL ANY)
