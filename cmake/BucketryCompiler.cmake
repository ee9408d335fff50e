# SPDX-License-Identifier: Apache-2.0
# Language, warnings, sanitizers and the compiler cache, for this folder and those below it: nothing here reaches a project
# around this one. All targets get the same flags, so that one precompiled header serves them all.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
# Whatever a project around this one has chosen: -fPIE would not go with the precompiled header, and files of one room may
# use one name each for themselves.
set(CMAKE_POSITION_INDEPENDENT_CODE OFF)
set(CMAKE_UNITY_BUILD OFF)

get_property(is_multi_config GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT is_multi_config)
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
if(BUCKETRY_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    find_program(BUCKETRY_CCACHE_PROGRAM ccache)
    if(BUCKETRY_CCACHE_PROGRAM)
        set(CMAKE_CXX_COMPILER_LAUNCHER
            env "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=1
            "CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime"
            "${BUCKETRY_CCACHE_PROGRAM}")
        if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
            add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
        else()
            add_compile_options(-fpch-preprocess)
        endif()
    endif()
endif()
