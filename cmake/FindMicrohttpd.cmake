# FindMicrohttpd finds GNU libmicrohttpd 0.9.75 or later. It gives the target Microhttpd::Microhttpd.
include(FindPackageHandleStandardArgs)

find_path(MICROHTTPD_INCLUDE_DIR microhttpd.h)
find_library(MICROHTTPD_LIBRARY microhttpd)
mark_as_advanced(MICROHTTPD_INCLUDE_DIR MICROHTTPD_LIBRARY)

# The header has the version as 0x00097500.
set(Microhttpd_VERSION)
if(MICROHTTPD_INCLUDE_DIR)
  file(STRINGS ${MICROHTTPD_INCLUDE_DIR}/microhttpd.h version_line REGEX "^#define MHD_VERSION 0x[0-9a-fA-F]+")
  if(version_line MATCHES "0x([0-9]+)([0-9][0-9])([0-9][0-9])[0-9][0-9]$")
    math(EXPR major "${CMAKE_MATCH_1}")
    math(EXPR minor "${CMAKE_MATCH_2}")
    math(EXPR patch "${CMAKE_MATCH_3}")
    set(Microhttpd_VERSION ${major}.${minor}.${patch})
  endif()
endif()

find_package_handle_standard_args(Microhttpd
  REQUIRED_VARS MICROHTTPD_LIBRARY MICROHTTPD_INCLUDE_DIR VERSION_VAR Microhttpd_VERSION)
if(Microhttpd_FOUND AND NOT TARGET Microhttpd::Microhttpd)
  add_library(Microhttpd::Microhttpd UNKNOWN IMPORTED)
  set_target_properties(Microhttpd::Microhttpd PROPERTIES
    IMPORTED_LOCATION ${MICROHTTPD_LIBRARY} INTERFACE_INCLUDE_DIRECTORIES ${MICROHTTPD_INCLUDE_DIR})
endif()
