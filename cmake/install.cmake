# What `cmake --install` and the Debian package put into a Linux system:
#
#     bin/QuillonHost                           the command-line program
#     bin/quillon-device                        the stand-in for a tablet
#     lib/quillon/                              its modules and its guardian
#     lib/quillon/Quillon.app/QuillonHost       the same program by a path that makes it the application
#     share/applications, icons, man
include(GNUInstallDirs)
set(own lib/quillon)  # where the program looks for its files, see platform/linux/program_files.hpp

install(TARGETS QuillonHost quillon-device RUNTIME DESTINATION bin)
install(TARGETS quillon_pattern quillon_avahi quillon_shell LIBRARY DESTINATION ${own})
install(TARGETS quillon-display-guardian RUNTIME DESTINATION ${own})

file(CREATE_LINK ../../../bin/QuillonHost ${CMAKE_CURRENT_BINARY_DIR}/application-link SYMBOLIC)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/application-link DESTINATION ${own}/Quillon.app RENAME QuillonHost)

set(entry ${CMAKE_CURRENT_BINARY_DIR}/quillon.desktop)
install(CODE "set(template \"${CMAKE_CURRENT_SOURCE_DIR}/platform/linux/shell/quillon.desktop.in\")
  set(entry \"${entry}\")")
install(SCRIPT cmake/desktop_entry.cmake)
install(FILES ${entry} DESTINATION share/applications)
set(icons platform/linux/shell/icons)
install(FILES ${icons}/quillon.svg DESTINATION share/icons/hicolor/scalable/apps)
install(FILES ${icons}/quillon-symbolic.svg ${icons}/quillon-error-symbolic.svg
  DESTINATION share/icons/hicolor/symbolic/apps)
install(FILES docs/QuillonHost.1 docs/quillon-device.1 DESTINATION share/man/man1)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quillon)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Quillon maintainers <maintainers@quillon.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "use a tablet as a second, touch-enabled display")
set(CPACK_PACKAGE_DESCRIPTION
  "Streams a screen of this computer to the display app on a tablet, over the USB
cable or the network, and turns touches into pointer input. With a tray
application and a command-line program.")
# Under the folder of the package, which the desktop entry must not name.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS hicolor-icon-theme)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "usbmuxd, avahi-daemon, xdg-utils, fonts-dejavu-core")
include(CPack)
