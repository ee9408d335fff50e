# SPDX-License-Identifier: Apache-2.0
# What is built. Parts that only developers or hosts' tests need are off in another project's build, unless asked for.
include(CMakeDependentOption)

cmake_dependent_option(BUCKETRY_TESTS "Build the tests and the examples (needs GoogleTest)" OFF
                       "PROJECT_IS_TOP_LEVEL" OFF)
cmake_dependent_option(BUCKETRY_BENCH "Build the benchmarks" OFF "PROJECT_IS_TOP_LEVEL" OFF)
option(BUCKETRY_SIMULATOR "Build the store simulator" ${PROJECT_IS_TOP_LEVEL})
option(BUCKETRY_TOOL "Build the command-line tool (needs the simulator and CLI11)" ${PROJECT_IS_TOP_LEVEL})
option(BUCKETRY_INSTALL "Install the library, and what of the simulator and the tool is built" ${PROJECT_IS_TOP_LEVEL})
option(BUCKETRY_CCACHE "Compile through ccache, where there is one" ${PROJECT_IS_TOP_LEVEL})
set(BUCKETRY_SANITIZE "" CACHE STRING "Sanitizers for everything, as -fsanitize takes them")
if(PROJECT_IS_TOP_LEVEL)
    option(BUILD_SHARED_LIBS "Build shared libraries; OFF: static ones" ON)
endif()

if(BUCKETRY_TOOL AND NOT BUCKETRY_SIMULATOR)
    message(FATAL_ERROR "bucketry: the tool needs the simulator. Set BUCKETRY_SIMULATOR=ON or BUCKETRY_TOOL=OFF.")
endif()
if(BUCKETRY_TESTS AND NOT BUCKETRY_TOOL)
    message(FATAL_ERROR "bucketry: the tests need the tool. Set BUCKETRY_TOOL=ON or BUCKETRY_TESTS=OFF.")
endif()

# Shared, unless this project or the one around it says otherwise.
set(BUCKETRY_LIBRARY_TYPE SHARED)
if(DEFINED BUILD_SHARED_LIBS AND NOT BUILD_SHARED_LIBS)
    set(BUCKETRY_LIBRARY_TYPE STATIC)
endif()
