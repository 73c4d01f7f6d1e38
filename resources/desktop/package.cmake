# cpack -G DEB: one Debian package holding every installed file, whose
# maintainer scripts enable and start the services. The units name the
# programs by the configured prefix, so the package keeps it (the deb
# preset: /usr).
set(CPACK_PACKAGE_NAME corvex)
set(CPACK_PACKAGE_VENDOR "Corvex")
set(CPACK_PACKAGE_CONTACT "Corvex developers <corvex@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "per-application button actions for mice and trackballs")
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "systemd, udev")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
set(CPACK_STRIP_FILES TRUE)
set(cx_debian "${CMAKE_CURRENT_LIST_DIR}/debian")
# The autostart entry is the administrator's to edit.
file(WRITE "${CMAKE_BINARY_DIR}/debian/conffiles" "${CX_AUTOSTART_DIR}/corvex-background.desktop\n")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    "${cx_debian}/postinst;${cx_debian}/prerm;${cx_debian}/postrm;${CMAKE_BINARY_DIR}/debian/conffiles")
include(CPack)
