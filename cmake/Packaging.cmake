# Three Debian packages from one build tree, one per install component:
#   cpack --config <build>/CPackConfig.cmake        (or: scripts/package.sh)
# hitachifi, hitachifi-sim and hitachifi-dev (<name>_<version>-1_<arch>.deb)
# land in <build>/packages.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME hitachifi)
set(CPACK_PACKAGE_VENDOR "the hitachifi authors")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${HITACHIFI_PACKAGE_MAINTAINER})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# The packages' paths are the build's install paths: only a /usr prefix gives Debian's.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  message(WARNING "CMAKE_INSTALL_PREFIX is ${CMAKE_INSTALL_PREFIX}: the Debian packages need /usr "
                  "(fihost's default plugin path and the library folder come from it)")
endif()
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL hitachifi sim dev)

set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_HITACHIFI_PACKAGE_NAME hitachifi)
set(CPACK_DEBIAN_HITACHIFI_PACKAGE_SUGGESTS hitachifi-sim)
set(CPACK_DEBIAN_HITACHIFI_PACKAGE_CONTROL_EXTRA ${HITACHIFI_PACKAGING_DIR}/postrm)
set(CPACK_COMPONENT_HITACHIFI_DESCRIPTION
"array snapshots for backups on Hitachi and HP XP disk arrays
A plugin that a backup application's snapshot framework loads to take,
check and restore point-in-time copies of volumes on Hitachi enterprise
disk arrays and the HP XP arrays built on them. It copies no data itself:
it splits and resynchronises the arrays' own ShadowImage (Business Copy)
and Copy-on-Write (Snapshot) pairs through the RAID Manager library,
which the array vendor supplies as /usr/lib/libsvrrm.so.

The package also holds fihost, a command-line host that checks a backup
host before its first backup and takes and restores snapshots through
the plugin as a framework does.")

set(CPACK_DEBIAN_SIM_PACKAGE_NAME hitachifi-sim)
set(CPACK_DEBIAN_SIM_PACKAGE_ENHANCES hitachifi)
set(CPACK_COMPONENT_SIM_DESCRIPTION
"RAID Manager library simulator for trying and testing hitachifi
A drop-in RAID Manager library over simulated Hitachi and HP XP arrays
kept in a shared SQLite file, the rmsim tool that loads models and sets
pair states and faults, and a default model with a HITACHI and an HP
array.

The library is never installed where the real one lives: the plugin
loads it only when FRIM_DLOPEN_ROOT is set to
${HITACHIFI_INSTALL_FULL_SIMROOT}.")

# Headers and a pkg-config file only: its one dependency is the plugin of the same build.
set(CPACK_DEBIAN_DEV_PACKAGE_NAME hitachifi-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "hitachifi (= ${PROJECT_VERSION}-1)")
set(CPACK_COMPONENT_DEV_DESCRIPTION
"development files for hosts of the hitachifi snapshot plugin
The C header that declares every entry point of the hitachifi snapshot
provider plugin and the bounded string functions it exports, with the
contract of each call, the framework interface records they take, and a
pkg-config file (hitachifi) to build against them.

The documentation folder holds the reference page for framework authors
and a small C host that takes and restores a snapshot on the simulator.")

include(CPack)
