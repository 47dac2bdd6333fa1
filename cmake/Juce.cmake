# The JUCE modules, compiled once. A module is sources: linking it into several libraries would define it several times.
find_package(JUCE 7.0.5 CONFIG REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(ZLIB REQUIRED)
# Debian's JUCE comes without its bundled codecs.
pkg_check_modules(TESSIVAR_CODECS REQUIRED IMPORTED_TARGET flac vorbis vorbisfile vorbisenc ogg)

add_library(tessivar_juce STATIC)
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
        JUCE_GLOBAL_MODULE_SETTINGS_INCLUDED=1)
target_compile_definitions(tessivar_juce INTERFACE $<TARGET_PROPERTY:tessivar_juce,COMPILE_DEFINITIONS>)
target_include_directories(tessivar_juce SYSTEM INTERFACE $<TARGET_PROPERTY:tessivar_juce,INCLUDE_DIRECTORIES>)
