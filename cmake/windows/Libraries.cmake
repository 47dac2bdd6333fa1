# What scripts/windows/libraries.sh has built, where a find module or a .pc file alone doesn't tell all of it.
if(NOT EXISTS ${TESSIVAR_WINDOWS_LIBRARIES}/versions.txt)
    message(FATAL_ERROR "The libraries for Windows are missing: run scripts/windows/libraries.sh tests")
endif()

# Libraries for linking with a DLL lie beside some of them.
set(CMAKE_FIND_LIBRARY_SUFFIXES .a)

# The headers of these take it for granted that they stand in a DLL.
add_compile_definitions(FLAC__NO_DLL XML_STATIC)
