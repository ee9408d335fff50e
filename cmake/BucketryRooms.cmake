# SPDX-License-Identifier: Apache-2.0
# A room is one folder below src/, built as an object library `bucketry_<name>` ("/" becomes "_").
# Each room target carries the properties BUCKETRY_NAME and BUCKETRY_CLOSURE: the targets of itself and of all rooms
# below it.

set(BUCKETRY_ROOM_TARGETS "")
set(BUCKETRY_PRIVATE_LIBS "") # imported targets that rooms need beyond BUCKETRY_PUBLIC_LIBS

# The precompiled header of all rooms; tests have one of their own, with GoogleTest in it.
file(WRITE "${PROJECT_BINARY_DIR}/pch/empty.cpp.in" "")
configure_file("${PROJECT_BINARY_DIR}/pch/empty.cpp.in" "${PROJECT_BINARY_DIR}/pch/empty.cpp" COPYONLY)
set(BUCKETRY_PCH_HEADERS
    <algorithm> <array> <atomic> <chrono> <condition_variable> <cstddef> <cstdint> <cstring> <exception> <fstream>
    <functional> <future> <iterator> <limits> <map> <memory> <mutex> <optional> <set> <sstream> <stdexcept> <string>
    <string_view> <system_error> <thread> <tuple> <type_traits> <unordered_map> <utility> <variant> <vector>
    <boost/thread/condition_variable.hpp> <boost/thread/mutex.hpp> <boost/thread/shared_mutex.hpp>)
add_library(bucketry_pch OBJECT "${PROJECT_BINARY_DIR}/pch/empty.cpp")
target_link_libraries(bucketry_pch PRIVATE ${BUCKETRY_PUBLIC_LIBS})
target_precompile_headers(bucketry_pch PRIVATE ${BUCKETRY_PCH_HEADERS})

# The .cpp files below `folder`, without those in its sub-folders `nested`, which are rooms of their own.
function(bucketry_glob result folder)
    file(GLOB_RECURSE files CONFIGURE_DEPENDS RELATIVE "${folder}" "${folder}/*.cpp")
    foreach(nested IN LISTS ARGN)
        list(FILTER files EXCLUDE REGEX "^${nested}/")
    endforeach()
    list(TRANSFORM files PREPEND "${folder}/")
    set(${result} ${files} PARENT_SCOPE)
endfunction()

# bucketry_add_room(<name> [DEPENDS <room>...] [LIBS <imported target>...] [NESTED <sub-folder that is a room>...])
function(bucketry_add_room name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "DEPENDS;LIBS;NESTED")
    bucketry_glob(sources "${PROJECT_SOURCE_DIR}/src/${name}" ${arg_NESTED})
    if(NOT sources)
        return()
    endif()
    string(REPLACE "/" "_" target "bucketry_${name}")

    set(closure ${target})
    foreach(room IN LISTS arg_DEPENDS)
        string(REPLACE "/" "_" below "bucketry_${room}")
        if(TARGET ${below})
            get_target_property(rooms ${below} BUCKETRY_CLOSURE)
            list(APPEND closure ${rooms})
        endif()
    endforeach()
    list(REMOVE_DUPLICATES closure)

    add_library(${target} OBJECT ${sources})
    target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>"
                                                "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>")
    target_link_libraries(${target} PUBLIC ${BUCKETRY_PUBLIC_LIBS} ${arg_LIBS})
    target_precompile_headers(${target} REUSE_FROM bucketry_pch)
    set_target_properties(${target} PROPERTIES BUCKETRY_NAME ${name} BUCKETRY_CLOSURE "${closure}"
                                    BUCKETRY_NESTED "${arg_NESTED}")
    set(BUCKETRY_ROOM_TARGETS ${BUCKETRY_ROOM_TARGETS} ${target} PARENT_SCOPE)
    list(APPEND BUCKETRY_PRIVATE_LIBS ${arg_LIBS})
    list(REMOVE_DUPLICATES BUCKETRY_PRIVATE_LIBS)
    set(BUCKETRY_PRIVATE_LIBS ${BUCKETRY_PRIVATE_LIBS} PARENT_SCOPE)
endfunction()

# bucketry_add_test(<room> [EXTRA_ROOMS <room>...] [LIBS <target>...] [TIMEOUT <seconds>])
# `bucketry_<room>_tests` from tests/<room>/, one ctest entry. It links the objects of the room and of all below it,
# not the shared library, so that it sees what is hidden there.
function(bucketry_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "EXTRA_ROOMS;LIBS")
    set(rooms "")
    set(nested "")
    foreach(room IN ITEMS ${name} ${arg_EXTRA_ROOMS})
        string(REPLACE "/" "_" target "bucketry_${room}")
        if(NOT TARGET ${target})
            return()
        endif()
        get_target_property(closure ${target} BUCKETRY_CLOSURE)
        list(APPEND rooms ${closure})
    endforeach()
    list(REMOVE_DUPLICATES rooms)
    string(REPLACE "/" "_" room_target "bucketry_${name}")
    get_target_property(nested ${room_target} BUCKETRY_NESTED)
    bucketry_glob(sources "${PROJECT_SOURCE_DIR}/tests/${name}" ${nested})
    if(NOT sources)
        return()
    endif()
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 300)
    endif()

    set(target "${room_target}_tests")
    add_executable(${target} ${sources})
    target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
    # The doubles come before GoogleMock: they have copies of std::string's functions, and must not be drawn in for those.
    target_link_libraries(${target} PRIVATE ${rooms} ${arg_LIBS} bucketry_support
                                            GTest::gmock_main GTest::gmock GTest::gtest)
    target_precompile_headers(${target} REUSE_FROM bucketry_tests_pch)
    add_test(NAME ${name} COMMAND ${target} --gtest_brief=1)
    set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT})
endfunction()
