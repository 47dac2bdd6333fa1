# Reads the includes of every room and fails when one reaches where it must not: see docs/architecture.md for
# the reasons. Run by ctest with -DSOURCE_DIR=<root of the sources>.
cmake_minimum_required(VERSION 3.25)

if(NOT IS_DIRECTORY "${SOURCE_DIR}/engine")
    message(FATAL_ERROR "layers: SOURCE_DIR is not the root of the sources: '${SOURCE_DIR}'")
endif()

set(rooms terms platform engine model jobs report playback ui cli app tests/engine)

# Rooms whose headers a room may include: never one above it.
set(terms_sees terms)
set(platform_sees platform)
set(engine_sees terms engine platform)
set(model_sees terms model platform)
set(jobs_sees terms jobs engine model platform)
set(report_sees terms report jobs engine model platform)
set(playback_sees terms playback engine model platform)
set(ui_sees terms ui)
set(cli_sees terms cli report jobs playback model platform)
set(app_sees terms app ui report jobs playback model platform)
set(tests/engine_sees terms engine platform tests)

# The headers of platform/ that know no JUCE, which is all that the engine may include of it.
set(withoutJuce platform/Memory.h)
set(engine_platform ${withoutJuce})
set(tests/engine_platform ${withoutJuce})

# Headers of the operating systems, and the only folders whose sources may include them. Nothing else includes
# what lies there.
set(system_header "^(unistd|fcntl|signal|dlfcn|poll|spawn|pthread|sched|pwd|grp|errno|termios|dirent|ftw|glob|execinfo|mntent|syslog|ucontext|windows|winioctl|winternl|aclapi|sddl|psapi|shellapi|shlobj|objbase|tlhelp32|dwmapi|io)\\.h$|^(csignal|cerrno)$|^(sys|linux|netinet|arpa|net|X11)/")
set(system_at "^platform/(posix|windows)/")

# A C library tells a failure by errno there.
set(errno_at "^model/(audiofile/)?PatchedInputStream\\.cpp$")


# JUCE modules, by the name after "juce_", that a room may include.
set(withoutWindow core events data_structures audio_basics audio_formats)
set(windows gui_basics gui_extra graphics)
set(terms_juce)
set(platform_juce core events)
set(engine_juce)
set(tests/engine_juce)
set(model_juce ${withoutWindow})
set(jobs_juce ${withoutWindow})
set(report_juce ${withoutWindow})
set(cli_juce ${withoutWindow} audio_devices)
set(playback_juce ${withoutWindow} audio_devices audio_utils)
set(ui_juce core events data_structures ${windows})
set(app_juce ${withoutWindow} ${windows} audio_devices audio_utils)

# Other libraries: the pattern of their headers and the only folders that may name them.
set(libraries fftw highway sndfile expat cli11 json ebur128 zita png)
set(fftw_header "^fftw3")
set(fftw_at "^tests/engine/")
set(highway_header "^hwy/")
set(highway_at "^engine/numerics/")
set(sndfile_header "^sndfile")
set(sndfile_at "^model/")
set(expat_header "^expat")
set(expat_at "^model/")
set(cli11_header "^CLI/")
set(cli11_at "^cli/")
set(ebur128_header "^ebur128")
set(ebur128_at "^playback/")
set(zita_header "^zita-resampler/")
set(zita_at "^playback/")
set(json_header "^nlohmann/")
set(json_at "^(cli|jobs|app|report)/")
set(png_header "^png\\.h$")
set(png_at "^report/")

# The C library's functions whose last bit differs from system to system, and where results must not depend on
# them. Data files are made by the build; some fades of playback and what is only drawn may differ.
set(inexact "std::(exp|exp2|expm1|log|log2|log10|log1p|pow|sin|cos|tan|asin|acos|atan|atan2|sinh|cosh|tanh|hypot|cbrt|fma) [(]")
set(inexact_rooms terms engine model jobs report cli)
set(inexact_at "^engine/DataFileGenerator\\.cpp$")

set(breaches "")
set(numFiles 0)
set(units "") # a header and its sources: what is included with one is there with all of them

macro(breach text)
    list(APPEND breaches "  ${file}: ${include}\n      ${text}")
endmacro()

foreach(room IN LISTS rooms)
    file(GLOB_RECURSE files RELATIVE "${SOURCE_DIR}" "${SOURCE_DIR}/${room}/*.h" "${SOURCE_DIR}/${room}/*.cpp")

    foreach(file IN LISTS files)
        math(EXPR numFiles "${numFiles} + 1")
        string(REGEX REPLACE "\\.[a-z]+$" "" unit "${file}")
        string(REGEX REPLACE "^platform/(posix|windows)/" "platform/" unit "${unit}")
        list(APPEND units "${unit}")

        if(room IN_LIST inexact_rooms AND NOT file MATCHES "${inexact_at}")
            file(STRINGS "${SOURCE_DIR}/${file}" lines REGEX "${inexact}")

            foreach(include IN LISTS lines)
                breach("results come from terms/Mathematics.h, with the same bits on every system")
            endforeach()
        endif()

        file(STRINGS "${SOURCE_DIR}/${file}" lines REGEX "^[ \t]*#[ \t]*include[ \t]*[\"<]")

        foreach(line IN LISTS lines)
            string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*([\"<][^\">]*[\">]).*$" "\\1" include "${line}")
            string(REGEX REPLACE "[\"<>]" "" path "${include}")

            if(include MATCHES "^\"")
                string(REGEX REPLACE "/.*$" "" target "${path}")
                string(REGEX REPLACE "\\.h$" "" included "${path}")
                list(APPEND uses_${unit} "${included}")
                if(NOT path MATCHES "/" OR NOT IS_DIRECTORY "${SOURCE_DIR}/${target}")
                    breach("own headers are included by their path from the root")
                elseif(path MATCHES "${system_at}" AND NOT file MATCHES "${system_at}")
                    breach("only for files of ${system_at}")
                elseif(target STREQUAL "platform" AND DEFINED ${room}_platform AND NOT path IN_LIST ${room}_platform)
                    list(JOIN ${room}_platform ", " allowed)
                    breach("${room}/ may include of platform/ only: ${allowed}")
                elseif(NOT target IN_LIST ${room}_sees)
                    list(JOIN ${room}_sees ", " allowed)
                    breach("${room}/ may include only: ${allowed}")
                endif()
            elseif(path MATCHES "^juce_([a-z_]+)/")
                if(NOT CMAKE_MATCH_1 IN_LIST ${room}_juce)
                    list(JOIN ${room}_juce ", " allowed)
                    breach("modules of JUCE that ${room}/ may include: ${allowed}")
                endif()
            elseif(path STREQUAL "JuceHeader.h")
                breach("modules are included one by one")
            elseif(path MATCHES "${system_header}")
                if(NOT file MATCHES "${system_at}" AND NOT (path STREQUAL "cerrno" AND file MATCHES "${errno_at}"))
                    breach("headers of the operating system are only for files of ${system_at}")
                endif()
            elseif(path MATCHES "/" AND EXISTS "${SOURCE_DIR}/${path}")
                breach("own headers stand in double quotes")
            else()
                foreach(library IN LISTS libraries)
                    if(path MATCHES "${${library}_header}" AND NOT file MATCHES "${${library}_at}")
                        breach("only for files of ${${library}_at}")
                    endif()
                endforeach()
            endif()
        endforeach()
    endforeach()
endforeach()

# No circle leads from a folder through another one and back. First all goes that is on none: again and again
# what includes nothing that is left. Then each way out of a folder is followed, to see whether it comes back.
list(REMOVE_DUPLICATES units)
set(left ${units})
set(numBefore -1)
list(LENGTH left numLeft)

while(NOT numLeft EQUAL numBefore)
    set(numBefore ${numLeft})

    foreach(unit IN LISTS left)
        set(isLeft_${unit} TRUE)
    endforeach()

    set(candidates ${left})
    set(left "")

    foreach(unit IN LISTS candidates)
        set(isLeft_${unit} FALSE)

        foreach(other IN LISTS uses_${unit})
            if(isLeft_${other} AND NOT other STREQUAL unit)
                set(isLeft_${unit} TRUE)
            endif()
        endforeach()

        if(isLeft_${unit})
            list(APPEND left "${unit}")
        endif()
    endforeach()

    list(LENGTH left numLeft)
endwhile()

foreach(unit IN LISTS left)
    get_filename_component(folder "${unit}" DIRECTORY)

    foreach(first IN LISTS uses_${unit})
        get_filename_component(otherFolder "${first}" DIRECTORY)
        if(isLeft_${first} AND NOT otherFolder STREQUAL folder)
            set(waiting "${first}")
            set(seen "")

            while(waiting AND NOT unit IN_LIST seen)
                list(POP_FRONT waiting current)
                list(APPEND seen "${current}")

                foreach(next IN LISTS uses_${current})
                    if(isLeft_${next} AND NOT next IN_LIST seen AND NOT next IN_LIST waiting)
                        list(APPEND waiting "${next}")
                    endif()
                endforeach()
            endwhile()

            if(unit IN_LIST seen)
                set(file "${unit}")
                set(include "${first}")
                breach("which leads back to it: a circle between folders")
            endif()
        endif()
    endforeach()
endforeach()

if(numFiles EQUAL 0)
    message(FATAL_ERROR "layers: no source file found below '${SOURCE_DIR}'")
endif()

if(breaches)
    string(REPLACE ";" "\n" breaches "${breaches}")
    message(FATAL_ERROR "layers: includes across the wrong border:\n${breaches}")
endif()

message(STATUS "layers: ${numFiles} files keep to their rooms")
