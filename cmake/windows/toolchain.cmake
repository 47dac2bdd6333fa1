# Builds for 64-bit Windows 10 and later on Debian: the posix flavour of its mingw compiler, the static
# libraries of scripts/windows/libraries.sh, and Wine for the programs that run during the build and in the
# tests.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(TESSIVAR_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${TESSIVAR_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TESSIVAR_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${TESSIVAR_TRIPLE}-windres)

get_filename_component(root ${CMAKE_CURRENT_LIST_DIR}/../.. ABSOLUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR ${root}/scripts/windows/in-wine.sh)
set(TESSIVAR_WINDOWS_LIBRARIES ${root}/build/windows-libraries)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TESSIVAR_WINDOWS_LIBRARIES)
set(CMAKE_FIND_ROOT_PATH ${TESSIVAR_WINDOWS_LIBRARIES} /usr/${TESSIVAR_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_PREFIX_PATH /)

# Libraries are static, and so is what they need in turn. Linux's own .pc files are out of reach.
set(ENV{PKG_CONFIG_LIBDIR} ${TESSIVAR_WINDOWS_LIBRARIES}/lib/pkgconfig:/usr/${TESSIVAR_TRIPLE}/lib/pkgconfig)
set(PKG_CONFIG_ARGN --static)
set(ZLIB_LIBRARY /usr/${TESSIVAR_TRIPLE}/lib/libz.a)

# JUCE comes as sources, the same ones for every system.
file(GLOB JUCE_DIR /usr/lib/*/cmake/JUCE-7.0.5)

# The stack of 64-bit Windows is aligned to 16 bytes, and this compiler keeps wider vectors there as if it
# were aligned to theirs: the assembler makes every such move one that needs no alignment. Programs hold no
# path of the machine that they are made on.
string(JOIN " " flags
    -D_WIN32_WINNT=0x0A00
    -DWINVER=0x0A00
    -DUNICODE
    -D_UNICODE
    -Wa,-mbig-obj
    -Wa,-muse-unaligned-vector-move
    -ffile-prefix-map=${root}/=)
set(CMAKE_C_FLAGS_INIT ${flags})
set(CMAKE_CXX_FLAGS_INIT ${flags})

# No runtime to download: the compiler's own libraries and its threads are linked in.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -Wl,--dynamicbase,--nxcompat,--high-entropy-va")
