# The JUCE modules, compiled once. A module is sources: linking it into several libraries would define it
# several times.
find_package(JUCE 7.0.5 CONFIG REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(ZLIB REQUIRED)
# Debian's JUCE comes without its bundled codecs.
pkg_check_modules(TESSIVAR_CODECS REQUIRED IMPORTED_TARGET flac vorbis vorbisfile vorbisenc ogg)

include(cmake/JuceFixes.cmake)

# The names of files, which JUCE's own mended files turn into text and back.
add_library(tessivar_juce STATIC ${PROJECT_SOURCE_DIR}/platform/DiskNames.cpp)
set_source_files_properties(${PROJECT_SOURCE_DIR}/platform/DiskNames.cpp PROPERTIES INCLUDE_DIRECTORIES ${PROJECT_SOURCE_DIR})
target_link_libraries(tessivar_juce
    PRIVATE juce::juce_audio_formats juce::juce_data_structures juce::juce_events
    PUBLIC juce::juce_recommended_config_flags PkgConfig::TESSIVAR_CODECS ZLIB::ZLIB Threads::Threads ${CMAKE_DL_LIBS})
target_compile_definitions(tessivar_juce
    PUBLIC
        JUCE_WEB_BROWSER=0
        JUCE_USE_CURL=0
        JUCE_USE_FLAC=1
        JUCE_USE_OGGVORBIS=1
        JUCE_MODAL_LOOPS_PERMITTED=1
        JUCE_STRICT_REFCOUNTEDPTR=1
        JUCE_DISPLAY_SPLASH_SCREEN=0
        JUCE_REPORT_APP_USAGE=0
        JUCE_STANDALONE_APPLICATION=1
        JUCE_GLOBAL_MODULE_SETTINGS_INCLUDED=1
        JUCE_APP_CONFIG_HEADER="${PROJECT_SOURCE_DIR}/platform/ToolkitMemory.h"
        # Windows alone has decoders of its own: what one system reads, all do.
        $<$<BOOL:${WIN32}>:JUCE_USE_WINDOWS_MEDIA_FORMAT=0>)
# main() hands the toolkit the arguments, on Windows too, as a program of the console does there.
set_property(SOURCE ${JUCE_MODULES_DIR}/juce_events/juce_events.cpp APPEND PROPERTY COMPILE_DEFINITIONS
    $<$<BOOL:${WIN32}>:_CONSOLE=1>)
target_compile_definitions(tessivar_juce INTERFACE $<TARGET_PROPERTY:tessivar_juce,COMPILE_DEFINITIONS>)
target_include_directories(tessivar_juce SYSTEM INTERFACE $<TARGET_PROPERTY:tessivar_juce,INCLUDE_DIRECTORIES>)

# The modules that the command line's engine does without, each as one object of a library of its own: sound
# devices, and windows. They share the definitions above, so that a header means the same everywhere.
function(tessivar_add_juce_modules target)
    cmake_parse_arguments(ARG "" "" "MODULES;LIBS" ${ARGN})
    add_library(${target} STATIC)

    foreach(module IN LISTS ARG_MODULES)
        get_target_property(sources juce::${module} INTERFACE_SOURCES)
        list(FILTER sources INCLUDE REGEX "/${module}\\.cpp$")
        target_sources(${target} PRIVATE ${sources})
        target_compile_definitions(${target} PUBLIC JUCE_MODULE_AVAILABLE_${module}=1)
    endforeach()

    target_link_libraries(${target} PUBLIC ${ARG_LIBS})
endfunction()

tessivar_add_juce_modules(tessivar_juce_devices MODULES juce_audio_devices LIBS tessivar_juce)
set(graphicsPackages libpng libjpeg)

if(WIN32)
    target_compile_definitions(tessivar_juce_devices PUBLIC JUCE_WASAPI=1 JUCE_DIRECTSOUND=1 JUCE_ASIO=0)
    set(TESSIVAR_WINDOW_SYSTEM dxgi) # which the toolkit's own list leaves out
else()
    pkg_check_modules(TESSIVAR_ALSA REQUIRED IMPORTED_TARGET alsa)
    target_link_libraries(tessivar_juce_devices PUBLIC PkgConfig::TESSIVAR_ALSA)
    # libjack is opened at run time; its headers alone are needed here.
    target_compile_definitions(tessivar_juce_devices PUBLIC JUCE_ALSA=1 JUCE_JACK=1 JUCE_JACK_CLIENT_NAME="Tessivar")
    list(APPEND graphicsPackages freetype2)
endif()

pkg_check_modules(TESSIVAR_GRAPHICS REQUIRED IMPORTED_TARGET ${graphicsPackages})
tessivar_add_juce_modules(tessivar_juce_window
    MODULES juce_graphics juce_gui_basics juce_gui_extra
    LIBS tessivar_juce PkgConfig::TESSIVAR_GRAPHICS ${TESSIVAR_WINDOW_SYSTEM})

# Compiling the windows' modules with the checks for undefined behaviour, or with debug information for every
# variable, takes an hour and gigabytes; memory errors in them are still found.
if(TESSIVAR_SANITIZE)
    target_compile_options(tessivar_juce_window PRIVATE -fno-sanitize=undefined -g1)
endif()
