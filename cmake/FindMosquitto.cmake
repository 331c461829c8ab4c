# FindMosquitto finds libmosquitto 2, the client's side of Eclipse Mosquitto. It gives the target Mosquitto::Mosquitto.
include(FindPackageHandleStandardArgs)

find_path(MOSQUITTO_INCLUDE_DIR mosquitto.h)
find_library(MOSQUITTO_LIBRARY mosquitto)
mark_as_advanced(MOSQUITTO_INCLUDE_DIR MOSQUITTO_LIBRARY)

set(Mosquitto_VERSION)
if(MOSQUITTO_INCLUDE_DIR)
  file(STRINGS ${MOSQUITTO_INCLUDE_DIR}/mosquitto.h version_lines
       REGEX "^#define LIBMOSQUITTO_(MAJOR|MINOR|REVISION) [0-9]+")
  string(REGEX REPLACE "[^0-9;]" "" Mosquitto_VERSION "${version_lines}")
  list(JOIN Mosquitto_VERSION . Mosquitto_VERSION)
endif()

find_package_handle_standard_args(Mosquitto
  REQUIRED_VARS MOSQUITTO_LIBRARY MOSQUITTO_INCLUDE_DIR VERSION_VAR Mosquitto_VERSION)
if(Mosquitto_FOUND AND NOT TARGET Mosquitto::Mosquitto)
  add_library(Mosquitto::Mosquitto UNKNOWN IMPORTED)
  set_target_properties(Mosquitto::Mosquitto PROPERTIES
    IMPORTED_LOCATION ${MOSQUITTO_LIBRARY} INTERFACE_INCLUDE_DIRECTORIES ${MOSQUITTO_INCLUDE_DIR})
endif()
