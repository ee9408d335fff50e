# SPDX-License-Identifier: Apache-2.0
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)
find_package(Boost 1.81 REQUIRED COMPONENTS thread chrono system url)
find_package(spdlog REQUIRED)
find_package(tinyxml2 REQUIRED)
find_package(OpenSSL 3.0 REQUIRED)
find_package(CURL 7.80 REQUIRED)
find_package(zstd REQUIRED)
find_package(ZLIB REQUIRED)

# What the public headers show, and so every target sees.
set(BUCKETRY_PUBLIC_LIBS Boost::headers Boost::thread Boost::chrono Threads::Threads)

if(BUCKETRY_TESTS)
    find_package(GTest REQUIRED)
endif()
