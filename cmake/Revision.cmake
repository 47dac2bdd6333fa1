# The source revision that --version and the about box show. A tree without git says "unknown".
find_package(Git QUIET)
set(TESSIVAR_REVISION "unknown")
if(GIT_FOUND AND EXISTS ${PROJECT_SOURCE_DIR}/.git)
    execute_process(COMMAND ${GIT_EXECUTABLE} rev-parse --short=10 HEAD
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE TESSIVAR_REVISION
        OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE revisionResult)
    if(NOT revisionResult EQUAL 0)
        set(TESSIVAR_REVISION "unknown")
    endif()
endif()
