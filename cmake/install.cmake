# Install rules and the Debian package (cpack -G DEB, see scripts/package).
#
# The gateway is installed as the board runs it: the server in /usr/sbin,
# the simulator and the clients in /usr/bin, the default configuration in
# /etc/torc2, a systemd unit, manual pages, the sample world and its
# language files under /usr/share/oxgw. With the default prefix /usr the
# configuration and log folders are the absolute ones the gateway reads and
# writes, so install into a scratch root with DESTDIR.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
  set(CMAKE_INSTALL_PREFIX /usr CACHE PATH "Install prefix" FORCE)
endif()
include(GNUInstallDirs)

# The gateway's own paths are fixed, whatever the prefix: it reads
# /etc/torc2/oxgwcfg.xml and writes below /var/log.
set(OXGW_INSTALL_SBINDIR ${CMAKE_INSTALL_FULL_SBINDIR})
set(OXGW_INSTALL_CONFDIR /etc/torc2)
set(OXGW_INSTALL_LOGDIR /var/log)
set(OXGW_INSTALL_DATADIR ${CMAKE_INSTALL_DATADIR}/oxgw)
set(OXGW_INSTALL_UNITDIR /lib/systemd/system)

install(TARGETS oxgw RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR})
# The host client is built only where its sources are.
foreach(tool torcsim oxclient gwayclient)
  if(TARGET ${tool})
    install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()

install(FILES ${CMAKE_SOURCE_DIR}/packaging/oxgwcfg.xml DESTINATION ${OXGW_INSTALL_CONFDIR})
install(DIRECTORY DESTINATION ${OXGW_INSTALL_LOGDIR}/debug)
install(DIRECTORY DESTINATION ${OXGW_INSTALL_LOGDIR}/oxgw)

configure_file(${CMAKE_SOURCE_DIR}/packaging/oxgw.service.in
               ${CMAKE_BINARY_DIR}/packaging/oxgw.service @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/packaging/oxgw.service DESTINATION ${OXGW_INSTALL_UNITDIR})

# The sample world of the simulator and the language files of its texts.
install(FILES ${CMAKE_SOURCE_DIR}/tools/torcsim/worlds/line.oxw
              ${CMAKE_SOURCE_DIR}/tools/torcsim/worlds/line.oxs
        DESTINATION ${OXGW_INSTALL_DATADIR}/worlds)
file(GLOB oxgw_language_files ${CMAKE_SOURCE_DIR}/tools/torcsim/languages/*.ucs
                              ${CMAKE_SOURCE_DIR}/tools/torcsim/languages/*.txt)
install(FILES ${oxgw_language_files} DESTINATION ${OXGW_INSTALL_DATADIR}/languages)

# Manual pages, compressed as Debian keeps them; a page is installed only
# with its program.
set(oxgw_man_pages)
foreach(page oxgw.8 torcsim.1 oxclient.1 gwayclient.1)
  string(REGEX REPLACE "\\.[0-9]$" "" program ${page})
  string(REGEX REPLACE "^.*\\." "" section ${page})
  if(NOT TARGET ${program} OR NOT EXISTS ${CMAKE_SOURCE_DIR}/docs/man/${page})
    continue()
  endif()
  set(out ${CMAKE_BINARY_DIR}/man/${page}.gz)
  add_custom_command(OUTPUT ${out}
    COMMAND gzip -9n -c ${CMAKE_SOURCE_DIR}/docs/man/${page} > ${out}
    DEPENDS ${CMAKE_SOURCE_DIR}/docs/man/${page}
    COMMENT "Compressing manual page ${page}")
  list(APPEND oxgw_man_pages ${out})
  install(FILES ${out} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/man)
add_custom_target(manpages ALL DEPENDS ${oxgw_man_pages})

# Everything the package holds, without the tests: scripts/package builds this,
# and installing (or packaging, which installs) builds no more than that.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
add_custom_target(installables DEPENDS oxgw manpages)
foreach(tool torcsim oxclient gwayclient)
  if(TARGET ${tool})
    add_dependencies(installables ${tool})
  endif()
endforeach()

install(FILES ${CMAKE_SOURCE_DIR}/README.md ${CMAKE_SOURCE_DIR}/docs/architecture.md
              ${CMAKE_SOURCE_DIR}/docs/configuration.md
        DESTINATION ${CMAKE_INSTALL_DOCDIR})

# The Debian package.
file(STRINGS ${CMAKE_SOURCE_DIR}/OxGwMain/oxgwmain.h oxgw_version_line
     REGEX "kOxGwVersion = \"[0-9.]+\"")
string(REGEX MATCH "[0-9][0-9.]*" OXGW_VERSION "${oxgw_version_line}")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME oxgw)
set(CPACK_PACKAGE_VERSION ${OXGW_VERSION})
set(CPACK_PACKAGE_CONTACT "oxgw maintainers <maintainers@users.noreply.github.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "gateway server of a processing machine's controller board")
# CPack puts the summary in front as the first line.
string(CONCAT CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "oxgw mirrors the machine controller's object world and serves it to XML\n"
    "clients and to a plant host over GWay. The package holds the server with a\n"
    "systemd unit and a default configuration, the machine simulator torcsim\n"
    "and the command-line clients.")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The architecture of the programs, also when cross-built for the board.
if(NOT CPACK_DEBIAN_PACKAGE_ARCHITECTURE)
  if(OXGW_DEB_ARCHITECTURE)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${OXGW_DEB_ARCHITECTURE})
  else()
    execute_process(COMMAND dpkg --print-architecture
                    OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE
                    OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  endif()
endif()
# The library dependencies (ACE, libstdc++) as dpkg-shlibdeps finds them.
find_program(OXGW_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(OXGW_DPKG_SHLIBDEPS AND NOT CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
else()
  # Cross-built: the board's libraries are not known to dpkg here. ACE's
  # package is named for the version of the library linked (libACE-7.0.8.so).
  get_filename_component(oxgw_ace_real ${ACE_LIBRARY} REALPATH)
  get_filename_component(oxgw_ace_real ${oxgw_ace_real} NAME)
  string(REGEX MATCH "[0-9]+\\.[0-9]+\\.[0-9]+" oxgw_ace_version "${oxgw_ace_real}")
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libace-${oxgw_ace_version}, libc6, libgcc-s1, libstdc++6")
endif()
# The configuration is the operator's: an upgrade keeps a changed file.
file(WRITE ${CMAKE_BINARY_DIR}/packaging/conffiles "${OXGW_INSTALL_CONFDIR}/oxgwcfg.xml\n")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${CMAKE_BINARY_DIR}/packaging/conffiles
    ${CMAKE_SOURCE_DIR}/packaging/postinst
    ${CMAKE_SOURCE_DIR}/packaging/prerm
    ${CMAKE_SOURCE_DIR}/packaging/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The board gets the programs without their debug sections.
set(CPACK_STRIP_FILES ON)
include(CPack)
