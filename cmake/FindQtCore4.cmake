# FindQtCore4 finds the QtCore 4.8 of a panel's SDK: for the driver's own build and, installed with its CMake package, for
# the builds of hosts. It gives the target QtCore4::QtCore4.
#
#   AC500_QT4_PREFIX   the folder that Qt is installed in: headers in its include or include/qt4, the library in its lib,
#                      lib64 or lib/<architecture>. Empty: pkg-config finds QtCore.
#
# The folders are looked at anew by every run of CMake; what pkg-config said is kept until its variables change in the
# environment, because a run that a build starts may lack them.
include(FindPackageHandleStandardArgs)

set(AC500_QT4_PREFIX "" CACHE PATH
    "Folder of QtCore 4.8: holds include/QtCore or include/qt4/QtCore, and lib/libQtCore.so; empty: ask pkg-config")

# Sets qtcore4_header_folders and qtcore4_library_folders, where to look; qtcore4_options, further compiler options;
# qtcore4_advice, what to change when nothing is found there.
macro(qtcore4_ask_pkg_config)
  find_package(PkgConfig REQUIRED)
  set(qtcore4_environment "")
  foreach(variable PKG_CONFIG_LIBDIR PKG_CONFIG_PATH PKG_CONFIG_SYSROOT_DIR)
    if(DEFINED ENV{${variable}})
      string(APPEND qtcore4_environment "${variable}=$ENV{${variable}} ")
    endif()
  endforeach()
  if(qtcore4_environment AND NOT qtcore4_environment STREQUAL "${AC500_QT4_PKG_CONFIG}")
    unset(__pkg_config_checked_QtCore4_pc CACHE)
    set(AC500_QT4_PKG_CONFIG "${qtcore4_environment}" CACHE INTERNAL "The environment in which pkg-config was asked")
  endif()
  # Folders called /usr/include and /usr/lib are named, too: a sysroot's are not this machine's.
  set(ENV{PKG_CONFIG_ALLOW_SYSTEM_CFLAGS} 1)
  set(ENV{PKG_CONFIG_ALLOW_SYSTEM_LIBS} 1)
  pkg_check_modules(QtCore4_pc QUIET QtCore)
  unset(ENV{PKG_CONFIG_ALLOW_SYSTEM_CFLAGS})
  unset(ENV{PKG_CONFIG_ALLOW_SYSTEM_LIBS})

  set(qtcore4_header_folders ${QtCore4_pc_INCLUDE_DIRS})
  set(qtcore4_library_folders ${QtCore4_pc_LIBRARY_DIRS})
  set(qtcore4_options ${QtCore4_pc_CFLAGS_OTHER})
  if(QtCore4_pc_FOUND)
    set(qtcore4_advice "these folders are pkg-config's, and in a cross build PKG_CONFIG_SYSROOT_DIR must name the sysroot")
  else()
    set(qtcore4_advice "pkg-config knows no QtCore: set PKG_CONFIG_LIBDIR to the folder of the SDK's QtCore.pc and, \
in a cross build, PKG_CONFIG_SYSROOT_DIR to the sysroot, or give AC500_QT4_PREFIX")
  endif()
endmacro()

macro(qtcore4_look_into_prefix)
  get_filename_component(qtcore4_prefix "${AC500_QT4_PREFIX}" ABSOLUTE)
  set(qtcore4_header_folders "${qtcore4_prefix}/include" "${qtcore4_prefix}/include/qt4")
  set(qtcore4_library_folders "${qtcore4_prefix}/lib" "${qtcore4_prefix}/lib64")
  if(CMAKE_LIBRARY_ARCHITECTURE)
    list(INSERT qtcore4_library_folders 0 "${qtcore4_prefix}/lib/${CMAKE_LIBRARY_ARCHITECTURE}")
  endif()
  set(qtcore4_options "")
  set(qtcore4_advice "AC500_QT4_PREFIX must be the folder that Qt is installed in")
endmacro()

# qtcore4_first(RESULT FILE FOLDER...): the first folder that holds the file; empty when none does.
function(qtcore4_first result file)
  set(${result} "" PARENT_SCOPE)
  foreach(folder IN LISTS ARGN)
    if(EXISTS "${folder}/${file}")
      set(${result} "${folder}" PARENT_SCOPE)
      return()
    endif()
  endforeach()
endfunction()

if(AC500_QT4_PREFIX)
  qtcore4_look_into_prefix()
else()
  qtcore4_ask_pkg_config()
endif()

qtcore4_first(QtCore4_INCLUDE_DIR QtCore/qglobal.h ${qtcore4_header_folders})
set(QtCore4_LIBRARY "")
foreach(name libQtCore.so libQtCore.so.4)  # a panel's own file system lacks the first, which is for linkers
  qtcore4_first(qtcore4_folder ${name} ${qtcore4_library_folders})
  if(qtcore4_folder AND NOT QtCore4_LIBRARY)
    set(QtCore4_LIBRARY "${qtcore4_folder}/${name}")
  endif()
endforeach()

set(qtcore4_problem "")
if(NOT QtCore4_INCLUDE_DIR)
  list(JOIN qtcore4_header_folders ", " qtcore4_folders)
  set(qtcore4_problem "no QtCore/qglobal.h in [${qtcore4_folders}]: ${qtcore4_advice}")
elseif(NOT QtCore4_LIBRARY)
  list(JOIN qtcore4_library_folders ", " qtcore4_folders)
  set(qtcore4_problem "no libQtCore.so in [${qtcore4_folders}]: ${qtcore4_advice}")
else()
  file(STRINGS "${QtCore4_INCLUDE_DIR}/QtCore/qglobal.h" QtCore4_VERSION REGEX "#define QT_VERSION_STR" LIMIT_COUNT 1)
  string(REGEX REPLACE ".*\"(.*)\".*" "\\1" QtCore4_VERSION "${QtCore4_VERSION}")
  if(NOT QtCore4_VERSION MATCHES "^4\\.8\\.")
    set(qtcore4_problem "${QtCore4_INCLUDE_DIR}/QtCore is of version \"${QtCore4_VERSION}\", which is not 4.8")
    set(QtCore4_INCLUDE_DIR "")
  endif()
endif()
find_package_handle_standard_args(QtCore4 REQUIRED_VARS QtCore4_LIBRARY QtCore4_INCLUDE_DIR VERSION_VAR QtCore4_VERSION
                                  REASON_FAILURE_MESSAGE "${qtcore4_problem}")

if(QtCore4_FOUND AND NOT TARGET QtCore4::QtCore4)
  add_library(QtCore4::QtCore4 INTERFACE IMPORTED)
  set_target_properties(QtCore4::QtCore4 PROPERTIES
    # As Qt's own builds have it. Without QT_NO_DEBUG the headers bring assertions that end the process.
    INTERFACE_COMPILE_DEFINITIONS "QT_SHARED;QT_CORE_LIB;$<$<NOT:$<CONFIG:Debug>>:QT_NO_DEBUG>"
    INTERFACE_COMPILE_OPTIONS "${qtcore4_options}"
    INTERFACE_INCLUDE_DIRECTORIES "${QtCore4_INCLUDE_DIR};${QtCore4_INCLUDE_DIR}/QtCore"
    INTERFACE_LINK_LIBRARIES "${QtCore4_LIBRARY}"
    # The packages of Qt 5 and 6 have the same property: CMake refuses a program that is linked with two of them.
    INTERFACE_QT_MAJOR_VERSION 4
    COMPATIBLE_INTERFACE_STRING QT_MAJOR_VERSION)
endif()
