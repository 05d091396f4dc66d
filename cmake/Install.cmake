# Install rules, split into the two Debian packages by component:
#   hitachifi      the plugin, fihost, man page, documentation, the folders the plugin writes
#   sim            the RAID Manager simulator, rmsim and its default model (package hitachifi-sim)
# Tests, benchmarks, fuzzers and the simulator's test variants install nothing.
set(HITACHIFI_PACKAGING_DIR ${PROJECT_SOURCE_DIR}/packaging)
set(_gen ${PROJECT_BINARY_DIR}/packaging)
set(HITACHIFI_INSTALL_SIM_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/hitachifi-sim)
# The simulator's library sits under a root of its own that mirrors /usr/lib,
# so that it is reached through FRIM_DLOPEN_ROOT only and never shadows a real
# RAID Manager library at /usr/lib/libsvrrm.so.
set(HITACHIFI_INSTALL_SIMROOT ${HITACHIFI_INSTALL_PLUGINDIR}/simroot)
set(HITACHIFI_INSTALL_FULL_SIMROOT ${HITACHIFI_INSTALL_FULL_PLUGINDIR}/simroot)
# The plugin's compiled-in defaults; they do not move with the prefix.
set(HITACHIFI_TRACE_DIR /var/log/hitachifi)
set(HITACHIFI_CACHE_DIR /var/cache/hitachifi)

set(HITACHIFI_PACKAGE_MAINTAINER "hitachifi maintainers <maintainers@users.noreply.c-seed-9678efb9.example>"
    CACHE STRING "Maintainer of the Debian packages (control file and changelog)")

find_program(GZIP gzip REQUIRED)
find_program(HELP2MAN help2man)

# Debian wants man pages and changelogs compressed without a time stamp (gzip -n).
configure_file(${HITACHIFI_PACKAGING_DIR}/changelog.in ${_gen}/changelog @ONLY)
set(_generated ${_gen}/changelog.Debian.gz ${_gen}/rmsim.1.gz ${_gen}/default.model)
add_custom_command(OUTPUT ${_gen}/changelog.Debian.gz
  COMMAND ${GZIP} -9nc ${_gen}/changelog > ${_gen}/changelog.Debian.gz
  DEPENDS ${_gen}/changelog ${HITACHIFI_PACKAGING_DIR}/changelog.in)
add_custom_command(OUTPUT ${_gen}/rmsim.1.gz
  COMMAND ${CMAKE_COMMAND} -DRMSIM=$<TARGET_FILE:rmsim> -DVERSION=${PROJECT_VERSION} -DOUT=${_gen}/rmsim.1
          -DSIMROOT=${HITACHIFI_INSTALL_FULL_SIMROOT}
          -DMODEL=${CMAKE_INSTALL_FULL_DATAROOTDIR}/hitachifi-sim/default.model
          -DDOCDIR=${CMAKE_INSTALL_FULL_DATAROOTDIR}/doc/hitachifi-sim
          -P ${HITACHIFI_PACKAGING_DIR}/rmsim-manpage.cmake
  COMMAND ${GZIP} -9nf ${_gen}/rmsim.1
  DEPENDS rmsim ${HITACHIFI_PACKAGING_DIR}/rmsim-manpage.cmake
  COMMENT "Generating the rmsim man page")
add_custom_command(OUTPUT ${_gen}/default.model
  COMMAND $<TARGET_FILE:rmsim> model > ${_gen}/default.model
  DEPENDS rmsim)
if(TARGET fihost_man)
  set(_fihost_man ${PROJECT_BINARY_DIR}/tools/fihost/fihost.1)
  add_custom_command(OUTPUT ${_gen}/fihost.1.gz
    COMMAND ${GZIP} -9nc ${_fihost_man} > ${_gen}/fihost.1.gz
    DEPENDS fihost_man ${_fihost_man})
  list(APPEND _generated ${_gen}/fihost.1.gz)
else()
  message(WARNING "help2man not found: fihost's man page is neither built nor installed")
endif()
add_custom_target(hitachifi_install_files ALL DEPENDS ${_generated})

# hitachifi
install(TARGETS hitachifi LIBRARY DESTINATION ${HITACHIFI_INSTALL_PLUGINDIR}
        PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ COMPONENT hitachifi)
install(TARGETS fihost RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT hitachifi)
if(TARGET fihost_man)
  install(FILES ${_gen}/fihost.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT hitachifi)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/pdk/README-config.md
              ${HITACHIFI_PACKAGING_DIR}/copyright ${_gen}/changelog.Debian.gz
        DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT hitachifi)
foreach(_package hitachifi hitachifi-sim)
  configure_file(${HITACHIFI_PACKAGING_DIR}/lintian-overrides ${_gen}/lintian/${_package} COPYONLY)
endforeach()
install(FILES ${_gen}/lintian/hitachifi DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides
        COMPONENT hitachifi)
# Root writes them, as the plugin itself would create them (0755, files 0644):
# the framework's processes run as root and share the instance-number files.
install(DIRECTORY DESTINATION ${HITACHIFI_TRACE_DIR} COMPONENT hitachifi)
install(DIRECTORY DESTINATION ${HITACHIFI_CACHE_DIR}/hitachi COMPONENT hitachifi)
# fihost's catalogue of the snapshots taken on this host.
install(DIRECTORY DESTINATION ${HITACHIFI_CACHE_DIR}/fihost COMPONENT hitachifi)

# hitachifi-sim
install(TARGETS svrrm_sim LIBRARY DESTINATION ${HITACHIFI_INSTALL_SIMROOT}/usr/lib
        PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ COMPONENT sim)
install(TARGETS rmsim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT sim)
install(FILES ${_gen}/rmsim.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT sim)
install(FILES ${_gen}/default.model DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/hitachifi-sim COMPONENT sim)
install(FILES ${PROJECT_SOURCE_DIR}/sim/README.md ${HITACHIFI_PACKAGING_DIR}/copyright
              ${_gen}/changelog.Debian.gz
        DESTINATION ${HITACHIFI_INSTALL_SIM_DOCDIR} COMPONENT sim)
install(FILES ${_gen}/lintian/hitachifi-sim DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides
        COMPONENT sim)
