find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

pkg_check_modules(USBMUXD REQUIRED IMPORTED_TARGET libusbmuxd-2.0)
if(QUILLON_SYSTEM STREQUAL linux)
  pkg_check_modules(XCB REQUIRED IMPORTED_TARGET
    xcb xcb-shm xcb-damage xcb-randr xcb-xfixes xcb-xinput xcb-xtest xcb-ewmh)
  pkg_check_modules(SCREENSAVER REQUIRED IMPORTED_TARGET xcb-screensaver)
  pkg_check_modules(X264 REQUIRED IMPORTED_TARGET x264)
  pkg_check_modules(PANGO REQUIRED IMPORTED_TARGET pangocairo cairo)
  pkg_check_modules(AVAHI REQUIRED IMPORTED_TARGET avahi-client)
  pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0)
  # libyuv comes without a pkg-config file.
  find_library(YUV_LIBRARY yuv REQUIRED)
  add_library(yuv INTERFACE)
  target_link_libraries(yuv INTERFACE ${YUV_LIBRARY})
  pkg_check_modules(AVCODEC REQUIRED IMPORTED_TARGET libavcodec libavutil)
  pkg_check_modules(SDL REQUIRED IMPORTED_TARGET sdl2)
  pkg_check_modules(PNG REQUIRED IMPORTED_TARGET libpng)
  # The tray application alone.
  find_package(Qt6 6.2 REQUIRED COMPONENTS Widgets DBus Svg)
endif()
