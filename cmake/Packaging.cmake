# What is installed where, and the Debian packages made of it. scripts/package makes them for each target, and an archive
# of the same tree to unpack on a panel, with the settings that give the same bytes every time.
#
#   Component  Package             Holds
#   driver     libac500driver      the library
#   tools      ac500-tools         both programs, their man pages, the symbol file's description and example
#   gateway    ac500-gateway       the gateway, its man page, its unit for systemd and the user that it runs as
#   wireshark  ac500-wireshark     the dissector for Wireshark
#   dev        libac500driver-dev  headers, pkg-config file, CMake package, documents, the smallest host
#   client     libac500client0     the library for programs
#   simulator  libac500simulator0  the simulated PLC for programs
#   clientdev  libac500client-dev  headers of both, pkg-config files, CMake package, examples in C
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(packaging ${PROJECT_SOURCE_DIR}/packaging)
set(include_dir ${CMAKE_INSTALL_INCLUDEDIR}/ac500driver)
set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ac500driver)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The changelog is what the packages' readers see: it opens with the version being built.
file(STRINGS ${packaging}/changelog changelog_start LIMIT_COUNT 1)
if(NOT changelog_start MATCHES "^ac500-driver \\(${PROJECT_VERSION}\\) ")
  message(FATAL_ERROR "packaging/changelog opens with \"${changelog_start}\", but this is version ${PROJECT_VERSION}: "
                      "write what changed for users at its top")
endif()

# ac500_compress(OUTPUT INPUT): packs a text as packages want it, without name and time.
add_custom_target(ac500_compressed ALL)
function(ac500_compress output input)
  add_custom_command(OUTPUT ${output} COMMAND gzip -9nc ${input} > ${output} DEPENDS ${input} VERBATIM)
  string(MAKE_C_IDENTIFIER ${output} name)
  add_custom_target(${name} DEPENDS ${output})
  add_dependencies(ac500_compressed ${name})
endfunction()

# ac500_package_papers(COMPONENT PACKAGE): the texts that every package carries.
ac500_compress(${CMAKE_BINARY_DIR}/changelog.gz ${packaging}/changelog)
function(ac500_package_papers component package)
  install(FILES ${packaging}/copyright ${CMAKE_BINARY_DIR}/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
  if(EXISTS ${packaging}/lintian-overrides/${package})
    install(FILES ${packaging}/lintian-overrides/${package}
            DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides COMPONENT ${component})
  endif()
endfunction()

# ac500_install_pages(COMPONENT DOC_DIR PAGE...): installs pages of docs/ as they lie there. Links to pages that come along
# stay; of links to other pages only the text is left; those out of docs/ lead to the installed file, where there is one,
# else only their text is left, too.
function(ac500_install_pages component doc_dir)
  foreach(page ${ARGN})
    set(source ${PROJECT_SOURCE_DIR}/docs/${page})
    get_filename_component(source_dir ${source} DIRECTORY)
    get_filename_component(page_dir ${page} DIRECTORY)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
    file(READ ${source} text)
    string(REGEX MATCHALL "\\(\\.\\./[^)\n]*\\)" links "${text}")
    list(REMOVE_DUPLICATES links)
    foreach(link ${links})
      string(REGEX REPLACE "^\\((.*)\\)$" "\\1" target ${link})
      get_filename_component(target ${target} ABSOLUTE BASE_DIR ${source_dir})
      file(RELATIVE_PATH target ${PROJECT_SOURCE_DIR} ${target})
      if(target MATCHES "^docs/")
        continue()
      elseif(target IN_LIST installed_headers)
        file(RELATIVE_PATH new_target /${doc_dir}/${page_dir} /${include_dir}/${target})
      elseif(target IN_LIST installed_examples)
        file(RELATIVE_PATH new_target /${doc_dir}/${page_dir} /${dev_doc_dir}/${target})
      else()
        string(REGEX REPLACE "([.(){}+*?^$])" "\\\\\\1" pattern ${link})
        string(REGEX REPLACE "\\[([^]\n]*)\\]${pattern}" "\\1" text "${text}")
        continue()
      endif()
      string(REPLACE "${link}" "(${new_target})" text "${text}")
    endforeach()
    # A page that this package does not hold.
    string(REGEX MATCHALL "\\([a-z0-9-]+\\.md(#[^)\n]*)?\\)" links "${text}")
    list(REMOVE_DUPLICATES links)
    foreach(link ${links})
      string(REGEX REPLACE "^\\(([a-z0-9-]+\\.md).*$" "\\1" target ${link})
      if(NOT page_dir AND NOT target IN_LIST ARGN)
        string(REGEX REPLACE "([.(){}+*?^$])" "\\\\\\1" pattern ${link})
        string(REGEX REPLACE "\\[([^]\n]*)\\]${pattern}" "\\1" text "${text}")
      endif()
    endforeach()
    set(result ${CMAKE_BINARY_DIR}/pages/${component}/${page})
    file(WRITE ${result} "${text}")
    install(FILES ${result} DESTINATION ${doc_dir}/${page_dir} COMPONENT ${component})
  endforeach()
endfunction()

# What of the sources is installed, beside pages: host_interface.h, inner_steps.h and what they include, and the smallest
# host.
set(installed_headers
    core/codes.h core/com_info.h core/communication_protocol.h core/export.h core/host_interface.h core/inner_steps.h
    protocol/checksums.h protocol/handshake.h protocol/protocol.h protocol/reply_checks.h
    services/read_write.h
    symbols/control_information.h symbols/label_type_info.h symbols/resolution_steps.h
    values/local_area.h
    vars/host_tag.h vars/read_list.h vars/rw_var.h)
set(installed_examples examples/README.md examples/CMakeLists.txt examples/minimal_host.cpp)
set(dev_doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/libac500driver-dev)

# ---- driver ----
install(TARGETS ac500driver EXPORT ac500driver-targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT driver
        INCLUDES DESTINATION ${include_dir})
ac500_package_papers(driver libac500driver)

# ---- tools ----
if(AC500_BUILD_TOOLS)
  set(tools_doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/ac500-tools)
  foreach(program ac500-host ac500-sim)
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    ac500_compress(${CMAKE_BINARY_DIR}/${program}.1.gz ${PROJECT_SOURCE_DIR}/docs/man/${program}.1)
    install(FILES ${CMAKE_BINARY_DIR}/${program}.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  endforeach()
  install(FILES packaging/completion/ac500-host.bash RENAME ac500-host
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions COMPONENT tools)
  install(FILES packaging/completion/_ac500-host
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/zsh/vendor-completions COMPONENT tools)
  ac500_install_pages(tools ${tools_doc_dir} events.md symbol-file.md)
  install(FILES docs/symbol-file.schema.json DESTINATION ${tools_doc_dir} COMPONENT tools)
  install(DIRECTORY docs/schema DESTINATION ${tools_doc_dir} COMPONENT tools)
  install(FILES examples/plant.json examples/panel-tags.txt DESTINATION ${tools_doc_dir}/examples COMPONENT tools)
  ac500_package_papers(tools ac500-tools)
endif()

# ---- gateway ----
# Where systemd looks in every Debian 12, in which /lib is /usr/lib. Nothing is started: there are no settings yet.
if(AC500_BUILD_TOOLS)
  set(gateway_doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/ac500-gateway)
  install(TARGETS ac500-gateway RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT gateway)
  ac500_compress(${CMAKE_BINARY_DIR}/ac500-gateway.1.gz ${PROJECT_SOURCE_DIR}/docs/man/ac500-gateway.1)
  install(FILES ${CMAKE_BINARY_DIR}/ac500-gateway.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT gateway)
  install(FILES packaging/gateway/ac500-gateway@.service DESTINATION lib/systemd/system COMPONENT gateway)
  install(FILES packaging/gateway/ac500-gateway.conf DESTINATION lib/sysusers.d COMPONENT gateway)
  ac500_install_pages(gateway ${gateway_doc_dir} gateway.md broker.md)
  install(FILES examples/gateway.json examples/gateway-broker.json examples/plant.json
          DESTINATION ${gateway_doc_dir}/examples COMPONENT gateway)
  ac500_package_papers(gateway ac500-gateway)
endif()

# ---- client, simulator, clientdev ----
if(AC500_BUILD_TOOLS)
  set(client_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/ac500client)
  set(client_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ac500client)
  set(client_doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/libac500client-dev)
  file(RELATIVE_PATH prefix_from_pkgconfig /${pkgconfig_dir} /)
  string(REGEX REPLACE "/$" "" prefix_from_pkgconfig ${prefix_from_pkgconfig})
  foreach(part client simulator)
    set(client_library ac500${part})
    get_target_property(soversion ${client_library} SOVERSION)
    install(TARGETS ${client_library} EXPORT ac500client-targets
            LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${part} NAMELINK_COMPONENT clientdev
            INCLUDES DESTINATION ${client_include_dir})
    install(FILES tools/client/ac500_${part}.h DESTINATION ${client_include_dir} COMPONENT clientdev)
    set(client_description "Reads, writes and watches variables of AC500 PLCs")
    if(part STREQUAL "simulator")
      set(client_description "A simulated AC500 PLC inside a program")
    endif()
    configure_file(cmake/install/ac500client.pc.in ${CMAKE_BINARY_DIR}/${client_library}.pc @ONLY)
    install(FILES ${CMAKE_BINARY_DIR}/${client_library}.pc DESTINATION ${pkgconfig_dir} COMPONENT clientdev)
    ac500_package_papers(${part} lib${client_library}${soversion})
  endforeach()
  install(EXPORT ac500client-targets NAMESPACE ac500client:: DESTINATION ${client_cmake_dir} COMPONENT clientdev)
  configure_package_config_file(cmake/install/ac500client-config.cmake.in ${CMAKE_BINARY_DIR}/ac500client-config.cmake
                                INSTALL_DESTINATION ${client_cmake_dir} NO_SET_AND_CHECK_MACRO
                                NO_CHECK_REQUIRED_COMPONENTS_MACRO)
  write_basic_package_version_file(${CMAKE_BINARY_DIR}/ac500client-config-version.cmake
                                   COMPATIBILITY SameMajorVersion)
  install(FILES ${CMAKE_BINARY_DIR}/ac500client-config.cmake ${CMAKE_BINARY_DIR}/ac500client-config-version.cmake
          DESTINATION ${client_cmake_dir} COMPONENT clientdev)
  ac500_install_pages(clientdev ${client_doc_dir} client.md)
  install(FILES examples/plant.json DESTINATION ${client_doc_dir}/examples COMPONENT clientdev)
  install(DIRECTORY examples/c DESTINATION ${client_doc_dir}/examples COMPONENT clientdev)
  ac500_package_papers(clientdev libac500client-dev)
endif()

# ---- wireshark ----
# Where Debian's Wireshark looks for plugins in Lua; elsewhere the user copies the file (docs/wireshark.md).
install(FILES tools/wireshark/ac500.lua DESTINATION ${CMAKE_INSTALL_LIBDIR}/wireshark/plugins COMPONENT wireshark)
install(FILES examples/faults.pcap DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/ac500-wireshark/examples
        COMPONENT wireshark)
ac500_package_papers(wireshark ac500-wireshark)

# ---- dev ----
# In the same folders: includes are relative to the one folder.
foreach(header ${installed_headers})
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${include_dir}/${folder} COMPONENT dev)
endforeach()

# The headers show QtCore types, so a host needs the same QtCore. The one of an SDK has no CMake package: the module that
# found it for this build is installed, too.
if(AC500_QT EQUAL 5)
  target_link_libraries(ac500driver INTERFACE Qt5::Core)
  set(qt_pkgconfig Qt5Core)
  set(qt_dependency "find_dependency(Qt5 5.15 COMPONENTS Core)")
else()
  target_link_libraries(ac500driver INTERFACE QtCore4::QtCore4)
  set(qt_pkgconfig "QtCore >= 4.8")
  set(qt_dependency [[
list(INSERT CMAKE_MODULE_PATH 0 ${CMAKE_CURRENT_LIST_DIR})
find_dependency(QtCore4)
list(REMOVE_AT CMAKE_MODULE_PATH 0)]])
  install(FILES cmake/FindQtCore4.cmake DESTINATION ${cmake_dir} COMPONENT dev)
endif()
file(RELATIVE_PATH prefix_from_pkgconfig /${pkgconfig_dir} /)
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig ${prefix_from_pkgconfig})
configure_file(cmake/install/ac500driver.pc.in ${CMAKE_BINARY_DIR}/ac500driver.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/ac500driver.pc DESTINATION ${pkgconfig_dir} COMPONENT dev)

configure_package_config_file(cmake/install/ac500driver-config.cmake.in ${CMAKE_BINARY_DIR}/ac500driver-config.cmake
                              INSTALL_DESTINATION ${cmake_dir} NO_SET_AND_CHECK_MACRO
                              NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/ac500driver-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/ac500driver-config.cmake ${CMAKE_BINARY_DIR}/ac500driver-config-version.cmake
        DESTINATION ${cmake_dir} COMPONENT dev)
install(EXPORT ac500driver-targets NAMESPACE ac500driver:: DESTINATION ${cmake_dir} COMPONENT dev)

file(GLOB_RECURSE pages CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/docs docs/*.md)
ac500_install_pages(dev ${dev_doc_dir} ${pages})
install(DIRECTORY docs/ DESTINATION ${dev_doc_dir} COMPONENT dev
        FILES_MATCHING PATTERN "*.svg" PATTERN "*.png" PATTERN "*.schema.json" PATTERN man EXCLUDE PATTERN trust EXCLUDE)
install(FILES ${installed_examples} DESTINATION ${dev_doc_dir}/examples COMPONENT dev)
ac500_package_papers(dev libac500driver-dev)

# ---- packages ----
set(CPACK_PACKAGE_NAME ac500-driver)
set(CPACK_PACKAGE_VENDOR "AC500 driver developers")
set(CPACK_PACKAGE_CONTACT "AC500 driver developers <maintainers@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each component opens its description with its own
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# The Debian packages name Debian's QtCore 5. A build for a panel's QtCore 4.8 makes an archive to unpack on the panel, and
# refuses to be made into Debian packages (packaging/cpack.cmake).
set(CPACK_AC500_QT ${AC500_QT})
set(CPACK_PROJECT_CONFIG_FILE ${packaging}/cpack.cmake)
if(AC500_QT EQUAL 5)
  set(CPACK_GENERATOR DEB)
else()
  set(CPACK_GENERATOR TGZ)
  set(CPACK_SYSTEM_NAME qt4-${CMAKE_SYSTEM_PROCESSOR})
endif()

if(AC500_TARGET_ARCH)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${AC500_TARGET_ARCH})  # else dpkg's own
endif()

# A native package: this project makes it, nobody else's packaging comes on top, so the version has no revision.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_DRIVER_PACKAGE_NAME libac500driver)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ac500-tools)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_NAME ac500-gateway)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libac500driver-dev)
set(CPACK_DEBIAN_CLIENT_PACKAGE_NAME libac500client0)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_NAME libac500simulator0)
set(CPACK_DEBIAN_CLIENTDEV_PACKAGE_NAME libac500client-dev)
set(CPACK_DEBIAN_WIRESHARK_PACKAGE_NAME ac500-wireshark)
set(CPACK_DEBIAN_DRIVER_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_CLIENT_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_CLIENTDEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SECTION net)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SUGGESTS ac500-tools)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_CONTROL_EXTRA
    ${packaging}/gateway/postinst ${packaging}/gateway/prerm ${packaging}/gateway/postrm)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_WIRESHARK_PACKAGE_SECTION net)
set(CPACK_DEBIAN_WIRESHARK_PACKAGE_RECOMMENDS "wireshark | tshark")
set(CPACK_DEBIAN_WIRESHARK_PACKAGE_ENHANCES "wireshark, tshark")
set(CPACK_DEBIAN_DRIVER_PACKAGE_CONTROL_EXTRA ${packaging}/triggers)
set(CPACK_DEBIAN_CLIENT_PACKAGE_CONTROL_EXTRA ${packaging}/triggers ${packaging}/client/shlibs)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_CONTROL_EXTRA ${packaging}/triggers ${packaging}/simulator/shlibs)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# Written down, not asked of dpkg-shlibdeps, which knows nothing of a sysroot: one list for native and cross builds.
file(STRINGS ${packaging}/depends depends REGEX "^[^#]")
foreach(component DRIVER TOOLS GATEWAY DEV CLIENT SIMULATOR CLIENTDEV)
  set(lines ${depends})
  list(FILTER lines INCLUDE REGEX "^${CPACK_DEBIAN_${component}_PACKAGE_NAME}: ")
  string(REGEX REPLACE "^[^:]*: " "" CPACK_DEBIAN_${component}_PACKAGE_DEPENDS "${lines}")
  string(REPLACE "\${version}" ${PROJECT_VERSION}
         CPACK_DEBIAN_${component}_PACKAGE_DEPENDS "${CPACK_DEBIAN_${component}_PACKAGE_DEPENDS}")
endforeach()

set(CPACK_DEBIAN_DRIVER_DESCRIPTION [[communication driver for AC500 PLCs
A library that an operator-panel runtime loads to read and write the variables
of an ABB AC500 PLC (CODESYS V2 runtime, Ethernet TCP) by their names.

It merges cyclic reads into few requests, queues writes with priority and
fairness, retries and gives up, keeps an image of PLC memory and converts
values both ways. It does no network I/O: the host owns the connection and
asks for the next frame.]])
set(CPACK_DEBIAN_TOOLS_DESCRIPTION [[reference host and simulated PLC for the AC500 driver
Two programs around libac500driver: ac500-host reads, writes and watches the
variables of an AC500 PLC from a terminal, and ac500-sim simulates such a PLC,
with signals that move and faults on demand.

Both read the same symbol file, a JSON description of the PLC's variables.]])
set(CPACK_DEBIAN_GATEWAY_DESCRIPTION [[one session with an AC500 PLC, and doors to it
A service that holds the one session with an ABB AC500 PLC (CODESYS V2
runtime, Ethernet TCP) and lets many use it: a page for people with values,
trends and events, a socket for programs of the same machine, and metrics.

One process serves one PLC, as one settings file in /etc/ac500 says. Nothing
is written to a PLC unless the settings name the tags.]])
set(CPACK_DEBIAN_WIRESHARK_DESCRIPTION [[Wireshark dissector for the protocol of AC500 PLCs
A plugin in Lua for Wireshark and tshark that takes the conversation between
an operator panel and an ABB AC500 PLC (CODESYS V2 runtime, Ethernet TCP) to
pieces: handshake, reads and writes, replies matched to their requests, with
response times.

It warns of refused, short, repeated, late and unasked replies, and names
variables and their values by a map that ac500-host makes of a symbol file.]])
set(CPACK_DEBIAN_DEV_DESCRIPTION [[communication driver for AC500 PLCs - development files
What the author of an operator-panel runtime needs to use libac500driver:
the header of its interface, a pkg-config file, a CMake package, the documents
and the smallest complete host as an example.]])

set(CPACK_DEBIAN_CLIENT_DESCRIPTION [[reads, writes and watches variables of AC500 PLCs
A library with a C interface for test benches, data analysis and services:
it opens one or more AC500 PLCs (CODESYS V2 runtime, Ethernet TCP), reads and
writes their variables by name, and tells of changes by callback or through a
file descriptor. Values know their state and their age.]])
set(CPACK_DEBIAN_SIMULATOR_DESCRIPTION [[simulated AC500 PLC inside a program
A library with a C interface that runs a simulated AC500 PLC in the program
that uses it, with variables to set and look at and with faults on demand, for
tests of programs that use libac500client.]])
set(CPACK_DEBIAN_CLIENTDEV_DESCRIPTION [[libraries for AC500 PLCs - development files
Headers, pkg-config files, a CMake package, documents and examples in C for
libac500client, which reads, writes and watches variables of AC500 PLCs, and
for libac500simulator, which runs a simulated PLC inside a program.]])

include(CPack)
