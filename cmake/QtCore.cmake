# ac500_qtcore: the one library that the driver needs, from QtCore 5 (Debian) or from a panel SDK's QtCore 4.8.
set(AC500_QT 5 CACHE STRING "Generation of QtCore that the driver is built against: 5, or 4 for a panel SDK")
set_property(CACHE AC500_QT PROPERTY STRINGS 4 5)
set(AC500_QT4_PREFIX "" CACHE PATH
    "With AC500_QT=4: folder that holds include/QtCore and lib/libQtCore.so; empty: pkg-config finds QtCore")

add_library(ac500_qtcore INTERFACE)

if(AC500_QT EQUAL 5)
  find_package(Qt5 5.15 REQUIRED COMPONENTS Core)
  target_link_libraries(ac500_qtcore INTERFACE Qt5::Core)
elseif(NOT AC500_QT EQUAL 4)
  message(FATAL_ERROR "AC500_QT is ${AC500_QT}: give 4 or 5")
elseif(AC500_BUILD_TOOLS OR AC500_BUILD_TESTS)
  message(FATAL_ERROR "Tools and tests need Qt 5: with AC500_QT=4 also give -DAC500_BUILD_TOOLS=OFF -DAC500_BUILD_TESTS=OFF")
elseif(AC500_QT4_PREFIX)
  find_path(AC500_QT4_INCLUDE QtCore/qglobal.h HINTS ${AC500_QT4_PREFIX}/include REQUIRED NO_DEFAULT_PATH
            NO_CMAKE_FIND_ROOT_PATH)
  find_library(AC500_QT4_LIBRARY QtCore HINTS ${AC500_QT4_PREFIX}/lib REQUIRED NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  target_include_directories(ac500_qtcore SYSTEM INTERFACE ${AC500_QT4_INCLUDE} ${AC500_QT4_INCLUDE}/QtCore)
  target_link_libraries(ac500_qtcore INTERFACE ${AC500_QT4_LIBRARY})
else()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(QtCore4 REQUIRED IMPORTED_TARGET QtCore>=4.8 QtCore<5)
  target_link_libraries(ac500_qtcore INTERFACE PkgConfig::QtCore4)
endif()
