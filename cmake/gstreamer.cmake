# Finds GStreamer as QLIP_GSTREAMER says. As part of another project, only when that asks for it.
if(QLIP_GSTREAMER STREQUAL "AUTO" AND PROJECT_IS_TOP_LEVEL)
  find_package(PkgConfig QUIET)
elseif(QLIP_GSTREAMER AND NOT QLIP_GSTREAMER STREQUAL "AUTO")
  find_package(PkgConfig REQUIRED)
  set(gstreamer_required REQUIRED)
endif()
if(PKG_CONFIG_FOUND AND QLIP_GSTREAMER)
  pkg_check_modules(QLIP_GSTREAMER ${gstreamer_required} IMPORTED_TARGET
    gstreamer-1.0>=1.22 gstreamer-base-1.0 gstreamer-rtsp-1.0 gstreamer-rtsp-server-1.0 gio-2.0)
endif()
