# How CPack makes the Debian package of what is installed; scripts/package runs it. The build must be
# configured for the prefix /usr.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_CONTACT "${TAVOK_MAINTAINER}")
set(CPACK_STRIP_FILES ON)
# What belongs in /etc is installed by its absolute path.
set(CPACK_SET_DESTDIR ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "systemd | systemd-standalone-sysusers | systemd-sysusers")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA conffiles postinst prerm postrm)
list(TRANSFORM CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/debian/)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/debian/compress.cmake)

set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "log collector for one host")
set(CPACK_PACKAGE_DESCRIPTION
"tavok appends what the programs of a host send it, one datagram a message,
to a file. It moves the file aside when it has grown past a limit, and deletes
the oldest of those moved aside when they take too much room or get too old.
.
Messages come through a Unix-domain socket or over UDP. The companion
tavokctl starts, stops and rotates, checks the configuration, shows the state
and follows the log.")

include(CPack)
