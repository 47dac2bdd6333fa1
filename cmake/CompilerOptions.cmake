# Options of our own code. JUCE and other libraries come in as SYSTEM headers and keep their own warnings to
# themselves.
add_library(tessivar_options INTERFACE)
target_include_directories(tessivar_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(tessivar_options INTERFACE -Wall -Wextra -Wshadow -Wconversion -Werror)

# Arithmetic is exact IEEE single precision with gradual underflow on every machine: no contraction into fused
# operations that the source does not ask for, no fast-math anywhere.
add_compile_options(-ffp-contract=off)

# The oldest processor the program runs on. The kernels in engine/numerics/simd pick wider instructions at run
# time; aes and pclmul are what the SIMD library counts as part of its SSE4 target.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    add_compile_options(-march=x86-64-v2 -maes -mpclmul)
endif()

if(TESSIVAR_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
elseif(TESSIVAR_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
else()
    add_compile_options($<$<CONFIG:Release,RelWithDebInfo>:-D_FORTIFY_SOURCE=2> -fstack-protector-strong)

    if(WIN32)
        add_link_options(-fstack-protector-strong) # brings the library that the checks call
    else()
        add_link_options(-Wl,-z,relro,-z,now)
    endif()
endif()
add_compile_definitions(_GLIBCXX_ASSERTIONS)
