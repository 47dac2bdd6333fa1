# Icon, version information and manifest of the programs for Windows. Drawing the icons needs rsvg-convert and
# icotool; scripts/setup.sh windows installs them.
include(${CMAKE_CURRENT_LIST_DIR}/../Publisher.cmake)
enable_language(RC)
find_program(RSVG_CONVERT_PROGRAM rsvg-convert REQUIRED)
find_program(ICOTOOL_PROGRAM icotool REQUIRED)

set(TESSIVAR_WINDOWS_PACKAGING ${PROJECT_SOURCE_DIR}/packaging/windows)
set(TESSIVAR_WINDOWS_RESOURCES ${PROJECT_BINARY_DIR}/windows-resources)
set(TESSIVAR_PROGRAM_ICON ${TESSIVAR_WINDOWS_RESOURCES}/tessivar.ico)
set(TESSIVAR_GROUP_ICON ${TESSIVAR_WINDOWS_RESOURCES}/group-file.ico)

# One icon of all sizes that Explorer and the task bar ask for, between 100 and 400 % of scale. What is not
# larger than 32 pixels is drawn from the second picture. The large ones stay PNG, which keeps the file small.
function(tessivar_draw_icon result picture smallPicture)
    get_filename_component(name ${result} NAME_WE)
    set(plain)
    set(packed)
    set(images)

    foreach(size 16 20 24 32 40 48 64 96 128 256)
        set(source ${PROJECT_SOURCE_DIR}/packaging/icons/${picture}.svg)
        if(size LESS_EQUAL 32)
            set(source ${PROJECT_SOURCE_DIR}/packaging/icons/${smallPicture}.svg)
        endif()

        set(image ${TESSIVAR_WINDOWS_RESOURCES}/${name}-${size}.png)
        add_custom_command(
            OUTPUT ${image}
            COMMAND ${RSVG_CONVERT_PROGRAM} -w ${size} -h ${size} -o ${image} ${source}
            DEPENDS ${source}
            VERBATIM)
        list(APPEND images ${image})
        if(size GREATER 64)
            list(APPEND packed --raw=${image})
        else()
            list(APPEND plain ${image})
        endif()
    endforeach()

    add_custom_command(
        OUTPUT ${result}
        COMMAND ${ICOTOOL_PROGRAM} --create --output=${result} ${plain} ${packed}
        DEPENDS ${images}
        VERBATIM)
endfunction()

file(MAKE_DIRECTORY ${TESSIVAR_WINDOWS_RESOURCES})
tessivar_draw_icon(${TESSIVAR_PROGRAM_ICON} tessivar tessivar-small)
tessivar_draw_icon(${TESSIVAR_GROUP_ICON} group-file group-file)
add_custom_target(tessivar_windows_icons DEPENDS ${TESSIVAR_PROGRAM_ICON} ${TESSIVAR_GROUP_ICON})

# tessivar_add_windows_resources(TARGET NAME DESCRIPTION): NAME.exe gets its resources; DESCRIPTION is what
# Explorer and the task manager call it.
function(tessivar_add_windows_resources target name description)
    set(PROGRAM_NAME ${name})
    set(PROGRAM_DESCRIPTION ${description})
    set(manifest ${TESSIVAR_WINDOWS_RESOURCES}/${name}.manifest)
    set(script ${TESSIVAR_WINDOWS_RESOURCES}/${name}.rc)
    configure_file(${TESSIVAR_WINDOWS_PACKAGING}/program.manifest.in ${manifest} @ONLY)
    configure_file(${TESSIVAR_WINDOWS_PACKAGING}/program.rc.in ${script} @ONLY)
    target_sources(${target} PRIVATE ${script})
    set_source_files_properties(${script} TARGET_DIRECTORY ${target} PROPERTIES
        OBJECT_DEPENDS "${TESSIVAR_PROGRAM_ICON};${TESSIVAR_GROUP_ICON};${manifest}")
    add_dependencies(${target} tessivar_windows_icons)
endfunction()
