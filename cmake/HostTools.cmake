# Programs that a cross-build runs are built from the same sources for the system that builds, in a folder of
# their own; all its packages are those of the native build.
include(ExternalProject)

set(TESSIVAR_HOST_TOOLS ${PROJECT_BINARY_DIR}/host/tools)
ExternalProject_Add(tessivar_host_tools
    SOURCE_DIR ${PROJECT_SOURCE_DIR}
    BINARY_DIR ${PROJECT_BINARY_DIR}/host
    CMAKE_ARGS
        -DCMAKE_BUILD_TYPE=Release
        -DTESSIVAR_BUILD_TESTS=OFF
        -DTESSIVAR_BUILD_BENCHMARKS=OFF
    BUILD_COMMAND ${CMAKE_COMMAND} --build <BINARY_DIR> --target tessivar-generate-resources
    INSTALL_COMMAND ""
    BUILD_ALWAYS ON
    BUILD_BYPRODUCTS ${TESSIVAR_HOST_TOOLS}/tessivar-generate-resources)
