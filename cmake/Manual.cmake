# Finds what sets the manual: a Python that has weasyprint and markdown. TESSIVAR_MANUAL_PYTHON is empty
# without one. TESSIVAR_CHECK_PYTHON is any Python 3: the text can be checked without the tools that set it.
find_program(TESSIVAR_SYSTEM_PYTHON NAMES python3 PATHS /usr/bin NO_DEFAULT_PATH)
find_program(TESSIVAR_CHECK_PYTHON NAMES python3)
mark_as_advanced(TESSIVAR_SYSTEM_PYTHON TESSIVAR_CHECK_PYTHON)
unset(TESSIVAR_MANUAL_PYTHON)

# Debian's packages belong to the system's own Python, which need not be the first in the path.
foreach(python IN ITEMS ${TESSIVAR_SYSTEM_PYTHON} ${TESSIVAR_CHECK_PYTHON})
    if(NOT TESSIVAR_MANUAL_PYTHON AND python)
        execute_process(COMMAND ${python} -c "import markdown, weasyprint"
            RESULT_VARIABLE result OUTPUT_QUIET ERROR_QUIET)

        if(result EQUAL 0)
            set(TESSIVAR_MANUAL_PYTHON ${python})
        endif()
    endif()
endforeach()
