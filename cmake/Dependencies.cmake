# Every foreign library, found once and offered as an imported target.

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(fmt REQUIRED)
find_package(GTest REQUIRED)
pkg_check_modules(SIGC REQUIRED IMPORTED_TARGET sigc++-3.0)
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0)
pkg_check_modules(LIBXML2 REQUIRED IMPORTED_TARGET libxml-2.0)
pkg_check_modules(CURL REQUIRED IMPORTED_TARGET libcurl>=7.87) # since then a name's look-up can be left behind
pkg_check_modules(MINIUPNPC REQUIRED IMPORTED_TARGET miniupnpc)

# It brings no pkg-config file.
find_path(NATPMP_INCLUDE_DIR natpmp.h REQUIRED)
find_library(NATPMP_LIBRARY natpmp REQUIRED)
add_library(ovelo_natpmp INTERFACE)
target_include_directories(ovelo_natpmp SYSTEM INTERFACE ${NATPMP_INCLUDE_DIR})
target_link_libraries(ovelo_natpmp INTERFACE ${NATPMP_LIBRARY})

if(OVELO_DESKTOP)
    find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui Widgets Network Test)
    pkg_check_modules(GST REQUIRED IMPORTED_TARGET gstreamer-1.0 gstreamer-app-1.0 gstreamer-video-1.0)
    pkg_check_modules(AVAHI REQUIRED IMPORTED_TARGET avahi-client)
    pkg_check_modules(TURBOJPEG REQUIRED IMPORTED_TARGET libturbojpeg)

    # The package that brings OpenCV's own CMake and pkg-config files is large; its core and imgproc headers suffice.
    find_path(OPENCV_INCLUDE_DIR opencv2/core/core_c.h PATH_SUFFIXES opencv4 REQUIRED)
    find_library(OPENCV_CORE opencv_core REQUIRED)
    find_library(OPENCV_IMGPROC opencv_imgproc REQUIRED)
    add_library(ovelo_opencv INTERFACE)
    target_include_directories(ovelo_opencv SYSTEM INTERFACE ${OPENCV_INCLUDE_DIR})
    target_link_libraries(ovelo_opencv INTERFACE ${OPENCV_IMGPROC} ${OPENCV_CORE})

    # Qt's `emit` macro would break sigc::signal::emit.
    add_library(ovelo_qt INTERFACE)
    target_compile_definitions(ovelo_qt INTERFACE QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII)
    target_link_libraries(ovelo_qt INTERFACE Qt6::Core Qt6::Gui Qt6::Network)
endif()
