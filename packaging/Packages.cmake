# The .deb packages, one a component. scripts/package makes them; "cpack" in the build folder does so too.
set(ZEB_PACKAGE_CONTACT "zebdiscovery maintainers <maintainers@zebdiscovery.example>"
    CACHE STRING "Whom the packages name as their maintainer")

set(machine_armv7l armhf)
set(machine_aarch64 arm64)
set(machine_i686 i386)
set(machine_x86_64 amd64)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR zebdiscovery)
set(CPACK_PACKAGE_CONTACT ${ZEB_PACKAGE_CONTACT})
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SOURCE zebdiscovery)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${machine_${CMAKE_SYSTEM_PROCESSOR}})
# Reads what the programs need, when they have been built.
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_SOURCE_DIR}/dependencies.cmake)
set(CPACK_ZEB_DEPENDENCIES ${CMAKE_CURRENT_BINARY_DIR}/dependencies-of.cmake)

# zeb_package(COMPONENT PACKAGE SECTION DESCRIPTION [FILE...]): each FILE's libraries become dependencies.
string(CONCAT dependencies "set(sysroot \"${CMAKE_SYSROOT}\")\nset(triplet ${CMAKE_LIBRARY_ARCHITECTURE})\n"
                           "set(architecture ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})\n")
macro(zeb_package component package section description)
    string(TOUPPER ${component} key)
    list(APPEND CPACK_COMPONENTS_ALL ${component})
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${package})
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
    set(CPACK_COMPONENT_${key}_DESCRIPTION "${description}")
    string(APPEND dependencies "set(files_${component} ${ARGN})\n")
    set(copyright debian/copyright)
    if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${copyright}.${package})
        set(copyright ${copyright}.${package})
    endif()
    install(FILES ${copyright} DESTINATION ${doc}/${package} RENAME copyright COMPONENT ${component})
    zeb_install_compressed(${component} ${doc}/${package} ${CMAKE_CURRENT_SOURCE_DIR}/debian/changelog)
endmacro()

set(this "(= ${PROJECT_VERSION})")
zeb_package(plugin zebdiscoverer-usb libs "discoverer of phones on USB
A plug-in that finds the phone on a device's USB port: it recognises
phones that share their network, switches others into accessory mode,
and hands its host the command that says how to reach them."
            $<TARGET_FILE:zebdiscoverer-usb>)
if(TARGET zebhost)
    zeb_package(host zebhost utils "host for plug-ins that discover phones
Loads a discoverer plug-in and drives it as a device's own host does:
it offers it the machine's USB devices, prints what it finds, and
reports where the plug-in breaks its contract."
                $<TARGET_FILE:zebhost> $<TARGET_FILE:zebhost-usbtap>)
    set(CPACK_DEBIAN_HOST_PACKAGE_DEPENDS "zebdiscoverer-usb ${this}")
endif()
if(TARGET zebphones-demo AND TARGET zebhost)
    zeb_package(phones zebphones utils "simulated phones for discoverer plug-ins
Phones on an emulated USB bus, which the host for discoverer plug-ins
finds without any USB hardware and without privilege."
                $<TARGET_FILE:zebphones-demo> $<TARGET_FILE:zebphones-preload>)
    set(CPACK_DEBIAN_PHONES_PACKAGE_DEPENDS "zebhost ${this}")
endif()
zeb_package(dev libzebdiscovery-dev libdevel "development files for discoverers and their hosts
The headers of the contract between a host and its discoverer plug-ins,
and the frame that discoverers are built on, as a static library with
its headers.")
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libc6-dev, libusb-1.0-0-dev")
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS "zebdiscoverer-usb ${this}, libudev-dev, libglib2.0-dev")

file(GENERATE OUTPUT ${CPACK_ZEB_DEPENDENCIES} CONTENT "${dependencies}")
include(CPack)
