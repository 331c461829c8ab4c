# cpack reads this before each kind of package that it makes.
if(CPACK_GENERATOR STREQUAL "DEB" AND NOT CPACK_AC500_QT EQUAL 5)
  message(FATAL_ERROR "No Debian package has the QtCore ${CPACK_AC500_QT} that this build needs, so no .deb can name it: "
                      "leave out -G DEB for an archive to unpack on the panel")
endif()
