# Read by cpack: the shared libraries that the programs need become dependencies of their packages.
# dpkg-shlibdeps finds them, natively with the versions that the machine's package database gives for the
# symbols used; in a foreign sysroot, which keeps no such database, with those of debian/shlibs.local.
include(${CPACK_ZEB_DEPENDENCIES})

if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
    message(FATAL_ERROR "SOURCE_DATE_EPOCH is not set: the packages would carry the time of day. "
                        "Make them with scripts/package.")
endif()

set(options --ignore-missing-info -O)
if(sysroot)
    list(APPEND options -L${CMAKE_CURRENT_LIST_DIR}/debian/shlibs.local -l${sysroot}/lib/${triplet}
                        -l${sysroot}/usr/lib/${triplet})
endif()

# dpkg-shlibdeps wants to stand in a source package.
set(folder ${CPACK_PACKAGE_DIRECTORY}/shlibdeps)
file(MAKE_DIRECTORY ${folder}/debian)
file(TOUCH ${folder}/debian/control)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    if(NOT files_${component})
        continue()
    endif()
    execute_process(COMMAND env DEB_HOST_ARCH=${architecture} dpkg-shlibdeps ${options} ${files_${component}}
                    WORKING_DIRECTORY ${folder} OUTPUT_VARIABLE found ERROR_VARIABLE complaints
                    RESULT_VARIABLE result OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${complaints}")
    endif()
    string(TOUPPER ${component} key)
    string(REGEX REPLACE "^.*Depends=" "" found ${found})
    set(all ${found} ${CPACK_DEBIAN_${key}_PACKAGE_DEPENDS})
    list(JOIN all ", " CPACK_DEBIAN_${key}_PACKAGE_DEPENDS)
    set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS ${CPACK_DEBIAN_${key}_PACKAGE_DEPENDS})
endforeach()
file(REMOVE_RECURSE ${folder})
