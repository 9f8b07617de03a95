# The Debian package: cpack in the build folder writes it to package/ there.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/package)
set(CPACK_PACKAGE_NAME fetra)
set(CPACK_PACKAGE_CONTACT "Fetra developers <developers@fetra.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "download manager that uses many connections")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Fetra fetches one file over many connections at once, gives the work of slow
connections to fast ones, and continues where it stopped. Mirrors help once
samples of their bytes match; digests are checked before a file gets its name.
.
The package holds the desktop application, which also takes torrents, magnet
links and the downloads of a browser, and the fetra command for terminals and
scripts.")

# What programs link to is found in them. These are used without being linked: the certificates to trust, and the
# types of files.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "ca-certificates, shared-mime-info")
# The folders of the icon theme, windows under Wayland, links that open in other programs, and the index through which
# links find this one.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "desktop-file-utils, hicolor-icon-theme, qt6-wayland, xdg-utils")

set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/DebianForm.cmake)

include(CPack)
