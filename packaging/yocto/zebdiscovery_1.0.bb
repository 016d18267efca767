# A sketch of a recipe for Yocto: never run by bitbake. It was written from what the tree's own CMake files need and
# install, on Debian 12, where the same four components are packed, tested and taken into an ARM guest. To be done where
# it is used: SRC_URI and SRCREV, the licence, and a first build.
SUMMARY = "Discoverer of phones on USB, with its reference host"
# No licence has been chosen. Yocto then builds the recipe only where LICENSE_FLAGS and the like allow it.
LICENSE = "CLOSED"

SRC_URI = "git:///path/to/zebdiscovery;protocol=file;branch=main"
SRCREV = "${AUTOREV}"
S = "${WORKDIR}/git"

inherit cmake pkgconfig systemd useradd

# tomlplusplus, cli11 and nlohmann-json come from meta-oe. Without the last three zebhost is not built, and without
# umockdev and glib no simulated phones; the plug-in needs libusb alone.
DEPENDS = "libusb1 udev systemd cli11 nlohmann-json tomlplusplus"
EXTRA_OECMAKE = "-DBUILD_TESTING=OFF"

PACKAGES =+ "zebdiscoverer-usb zebhost"
FILES:zebdiscoverer-usb = "${libdir}/zebdiscovery/libzebdiscoverer-usb.so"
FILES:zebhost = "${bindir}/zebhost ${libdir}/zebdiscovery/libzebhost-usbtap.so \
                 ${nonarch_libdir}/udev/rules.d ${datadir}/zebhost ${systemd_system_unitdir}"
# Plug-ins are not for linking, so they are no -dev files although they have no version.
FILES_SOLIBSDEV = ""
INSANE_SKIP:zebdiscoverer-usb = "dev-so"
RDEPENDS:zebhost = "zebdiscoverer-usb"

SYSTEMD_PACKAGES = "zebhost"
SYSTEMD_SERVICE:zebhost = "zebhost.service"
SYSTEMD_AUTO_ENABLE:zebhost = "disable"

# The group of the udev rules and of the service.
USERADD_PACKAGES = "zebhost"
GROUPADD_PARAM:zebhost = "--system plugdev"
