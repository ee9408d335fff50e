# Language, warnings, sanitizers and the compiler cache. All targets get the same flags, so that one precompiled
# header serves them all.

option(BUCKETRY_TESTS "Build the tests and the examples" ON)
option(BUCKETRY_BENCH "Build the benchmarks (needs Google Benchmark)" OFF)
set(BUCKETRY_SANITIZE "" CACHE STRING "Sanitizers for everything, as -fsanitize takes them")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT DEFINED CMAKE_COMPILE_WARNING_AS_ERROR)
    set(CMAKE_COMPILE_WARNING_AS_ERROR ON)
endif()
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release)
endif()

add_compile_options(-Wall -Wextra -Wconversion -fPIC -fvisibility=hidden)
add_compile_definitions($<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)

if(BUCKETRY_SANITIZE)
    add_compile_options(-fsanitize=${BUCKETRY_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${BUCKETRY_SANITIZE})
endif()

# The cache is told to forget where the checkout lies, so that several checkouts share their hits, and what a
# precompiled header needs.
find_program(BUCKETRY_CCACHE ccache)
if(BUCKETRY_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER
        env "CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}" CCACHE_NOHASHDIR=1
        "CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime" "${BUCKETRY_CCACHE}")
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
    else()
        add_compile_options(-fpch-preprocess)
    endif()
endif()
