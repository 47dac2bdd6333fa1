# What is installed, and the Debian package made of it: the programs in a folder of their own with Resources
# beside them, as they find them, and links in the path. `./run package` calls this with TESSIVAR_PACKAGE=ON;
# a plain build needs none of the tools. Included last, when all targets exist.
if(WIN32)
    include(cmake/windows/Package.cmake)
    return()
endif()

option(TESSIVAR_PACKAGE "Prepare installing and packaging; needs rsvg-convert and gzip" OFF)

if(NOT TESSIVAR_PACKAGE)
    return()
endif()

find_program(RSVG_CONVERT_PROGRAM rsvg-convert REQUIRED)
find_program(GZIP_PROGRAM gzip REQUIRED)

set(packagingSources ${PROJECT_SOURCE_DIR}/packaging)
set(packagingFolder ${PROJECT_BINARY_DIR}/packaging)
set(programFolder lib/tessivar)
set(iconFolder share/icons/hicolor)
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(packageFiles)

# Position-independent executables: the compiler's default on Debian, said here so that it holds elsewhere
# too.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

install(TARGETS Tessivar tessivar-cli RUNTIME DESTINATION ${programFolder})
install(DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/Resources DESTINATION ${programFolder})

foreach(program tessivar tessivar-cli)
    file(MAKE_DIRECTORY ${packagingFolder}/bin)
    file(CREATE_LINK ../${programFolder}/${program} ${packagingFolder}/bin/${program} SYMBOLIC)
    install(FILES ${packagingFolder}/bin/${program} DESTINATION bin)
endforeach()

# Compressed without name and time, so that equal pages give equal files.
function(tessivar_install_compressed source name destination)
    set(result ${packagingFolder}/${name}.gz)
    add_custom_command(
        OUTPUT ${result}
        COMMAND ${GZIP_PROGRAM} -9 -n -c ${source} > ${result}
        DEPENDS ${source}
        VERBATIM)
    install(FILES ${result} DESTINATION ${destination})
    set(packageFiles ${packageFiles} ${result} PARENT_SCOPE)
endfunction()

configure_file(${packagingSources}/man/tessivar.1.in ${packagingFolder}/tessivar.1 @ONLY)
tessivar_install_compressed(${packagingFolder}/tessivar.1 tessivar.1 share/man/man1)
tessivar_install_compressed(${PROJECT_BINARY_DIR}/share/tessivar-cli.1 tessivar-cli.1 share/man/man1)
tessivar_install_compressed(${packagingSources}/debian/changelog changelog.Debian share/doc/tessivar)
tessivar_install_compressed(${PROJECT_SOURCE_DIR}/CHANGELOG.md changelog share/doc/tessivar)

set(completionFolder share/bash-completion/completions)
install(FILES ${packagingSources}/completion/tessivar.bash DESTINATION ${completionFolder} RENAME tessivar)
install(FILES ${PROJECT_BINARY_DIR}/share/tessivar-cli.bash DESTINATION ${completionFolder} RENAME tessivar-cli)
install(PROGRAMS
    ${packagingSources}/batch/forecast
    ${packagingSources}/batch/make-index
    ${packagingSources}/batch/one-group
    ${packagingSources}/batch/with-parallel
    ${packagingSources}/batch/with-slurm
    DESTINATION share/doc/tessivar/examples/batch)
install(FILES ${packagingSources}/batch/common DESTINATION share/doc/tessivar/examples/batch)
install(FILES
    ${PROJECT_SOURCE_DIR}/docs/batch.md
    ${PROJECT_SOURCE_DIR}/docs/cli-json.md
    ${PROJECT_SOURCE_DIR}/docs/cli.schema.json
    DESTINATION share/doc/tessivar)
install(FILES ${packagingSources}/debian/copyright DESTINATION share/doc/tessivar)
install(FILES ${packagingSources}/debian/lintian-overrides DESTINATION share/lintian/overrides RENAME tessivar)
install(FILES ${packagingSources}/desktop/org.tessivar.Tessivar.desktop DESTINATION share/applications)
install(FILES ${packagingSources}/desktop/org.tessivar.Tessivar.metainfo.xml DESTINATION share/metainfo)
install(FILES ${packagingSources}/desktop/tessivar.xml DESTINATION share/mime/packages)

function(tessivar_install_icon source size context name)
    set(result ${packagingFolder}/icons/${size}/${name}.png)
    file(MAKE_DIRECTORY ${packagingFolder}/icons/${size})
    add_custom_command(
        OUTPUT ${result}
        COMMAND ${RSVG_CONVERT_PROGRAM} -w ${size} -h ${size} -o ${result} ${packagingSources}/icons/${source}.svg
        DEPENDS ${packagingSources}/icons/${source}.svg
        VERBATIM)
    install(FILES ${result} DESTINATION ${iconFolder}/${size}x${size}/${context})
    set(packageFiles ${packageFiles} ${result} PARENT_SCOPE)
endfunction()

set(groupIcon application-x-tessivar-group)
foreach(size 16 22 24 32 48 64 128 256 512)
    # What has to be read at the size of a letter is drawn with fewer parts.
    if(size LESS_EQUAL 32)
        tessivar_install_icon(tessivar-small ${size} apps tessivar)
    else()
        tessivar_install_icon(tessivar ${size} apps tessivar)
    endif()
    tessivar_install_icon(group-file ${size} mimetypes ${groupIcon})
endforeach()
install(FILES ${packagingSources}/icons/tessivar.svg DESTINATION ${iconFolder}/scalable/apps)
install(FILES ${packagingSources}/icons/group-file.svg DESTINATION ${iconFolder}/scalable/mimetypes RENAME ${groupIcon}.svg)
install(FILES ${packagingSources}/icons/tessivar-symbolic.svg DESTINATION ${iconFolder}/symbolic/apps)

add_custom_target(tessivar_package_files ALL DEPENDS ${packageFiles})

include(cmake/Publisher.cmake)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tessivar)
set(CPACK_PACKAGE_VENDOR ${TESSIVAR_PUBLISHER})
set(CPACK_PACKAGE_CONTACT "Tessivar developers <contact@tessivar.org>")
set(CPACK_PACKAGE_HOMEPAGE_URL ${TESSIVAR_HOMEPAGE})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "leakage reduction for multitrack drum recordings")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE none) # dpkg-deb compresses them when scripts/package.sh finishes them
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Every microphone on a drum kit hears the whole kit. Tessivar takes the close
microphones of one performance apart together, finds out what in each track
belongs to the track's own drum, and writes the track again without the rest.
.
The package holds a program with a window, one for the command line with the
same engine, and a session to try them on.")
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The libraries of the X server are opened at run time, where dpkg-shlibdeps can't see them; without them no
# window opens.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libx11-6, libxcursor1, libxext6, libxinerama1, libxrandr2, libxrender1")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "zenity | kdialog, libjack-jackd2-0, xdg-utils")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "pdf-viewer")
include(CPack)
