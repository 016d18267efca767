# What "cmake --install" puts where, in four components: plugin, host, phones, dev. Nothing that is
# installed names a folder of the build machine, and what finds its way (the host to the plug-in, the
# package files to the headers) does so from its own place: so the prefix may be any, and may change.

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)
# Where libraries have a folder for each architecture (Debian), under every prefix.
if(CMAKE_LIBRARY_ARCHITECTURE AND CMAKE_INSTALL_LIBDIR STREQUAL "lib")
    set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE})
endif()
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)

# Where plug-ins are, and the way there from the programs.
set(ZEB_PLUGIN_FOLDER ${CMAKE_INSTALL_LIBDIR}/zebdiscovery)
file(RELATIVE_PATH ZEB_PLUGIN_WAY /${CMAKE_INSTALL_BINDIR} /${ZEB_PLUGIN_FOLDER})

# zeb_install_compressed(COMPONENT FOLDER FILE...): as Debian wants manuals and change logs, without the time
# that archives carry otherwise. They are made by the target "compressed".
find_program(ZEB_GZIP gzip REQUIRED)
add_custom_target(compressed ALL)
function(zeb_install_compressed component folder)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/compressed)
    foreach(file ${ARGN})
        cmake_path(GET file FILENAME name)
        set(archive ${CMAKE_BINARY_DIR}/compressed/${name}.gz)
        if(NOT TARGET compressed-${name})
            add_custom_command(OUTPUT ${archive} COMMAND ${ZEB_GZIP} -9nc ${file} > ${archive} DEPENDS ${file} VERBATIM)
            add_custom_target(compressed-${name} DEPENDS ${archive})
            add_dependencies(compressed compressed-${name})
        endif()
        install(FILES ${archive} DESTINATION ${folder} COMPONENT ${component})
    endforeach()
endfunction()

# zeb_install_manuals(COMPONENT PAGE...): pages of docs/man, each by its section.
function(zeb_install_manuals component)
    foreach(page ${ARGN})
        string(REGEX MATCH "[0-9]$" section ${page})
        zeb_install_compressed(${component} ${CMAKE_INSTALL_MANDIR}/man${section} ${CMAKE_SOURCE_DIR}/docs/man/${page})
    endforeach()
endfunction()
