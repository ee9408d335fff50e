# SPDX-License-Identifier: Apache-2.0
# Headers, libraries, tool, and what find_package and pkg-config need. The library itself is always there; what else a host
# may link is a component, asked for by its name: find_package(bucketry COMPONENTS simulator), pkg-config bucketry-simulator.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/bucketry")
set(doc_dir "${CMAKE_INSTALL_DATAROOTDIR}/doc/bucketry")
file(RELATIVE_PATH BUCKETRY_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
# For bucketryConfig.cmake: the names, and the code that finds what they need.
set(BUCKETRY_COMPONENTS "")
set(BUCKETRY_DEPENDENCIES "")

# bucketry_install_library(<target> [COMPONENT <name>] DESCRIPTION <text> HEADERS <folder>
#                          [DEPENDS <arguments of find_dependency>...] [REQUIRES <package of pkg-config>...] [LIBS <flag>...]
#                          [STATIC_DEPENDS ...] [STATIC_REQUIRES ...] [STATIC_LIBS ...])
# STATIC_ is what only those need who link a static library. A component's target is bucketry::<name> for hosts.
function(bucketry_install_library target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "COMPONENT;DESCRIPTION;HEADERS"
                          "DEPENDS;REQUIRES;LIBS;STATIC_DEPENDS;STATIC_REQUIRES;STATIC_LIBS")
    set(package bucketry)
    set(indent "")
    if(arg_COMPONENT)
        string(REPLACE "_" "-" package "bucketry-${arg_COMPONENT}")
        set(indent "    ")
        set_target_properties(${target} PROPERTIES EXPORT_NAME ${arg_COMPONENT})
        list(APPEND BUCKETRY_COMPONENTS ${arg_COMPONENT})
    endif()
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/${arg_HEADERS}/bucketry" TYPE INCLUDE FILES_MATCHING PATTERN "*.h")
    install(TARGETS ${target} EXPORT ${target}Targets)
    install(EXPORT ${target}Targets NAMESPACE bucketry:: DESTINATION "${package_dir}")

    if(BUCKETRY_LIBRARY_TYPE STREQUAL "STATIC")
        list(APPEND arg_DEPENDS ${arg_STATIC_DEPENDS})
    else()
        set(arg_STATIC_REQUIRES "")
        set(arg_STATIC_LIBS "")
    endif()
    list(TRANSFORM arg_DEPENDS REPLACE "(.+)" "${indent}find_dependency(\\1)\n" OUTPUT_VARIABLE lines)
    list(JOIN lines "" lines)
    if(arg_COMPONENT AND lines)
        set(lines "if(\"${arg_COMPONENT}\" IN_LIST bucketry_FIND_COMPONENTS)\n${lines}endif()\n")
    endif()
    string(APPEND BUCKETRY_DEPENDENCIES "${lines}")

    foreach(words IN ITEMS REQUIRES LIBS STATIC_REQUIRES STATIC_LIBS)
        list(JOIN arg_${words} " " ${words})
    endforeach()
    set(pc "${PROJECT_BINARY_DIR}/package/${package}.pc")
    configure_file("${PROJECT_SOURCE_DIR}/cmake/bucketry.pc.in" "${pc}" @ONLY)
    install(FILES "${pc}" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

    set(BUCKETRY_COMPONENTS "${BUCKETRY_COMPONENTS}" PARENT_SCOPE)
    set(BUCKETRY_DEPENDENCIES "${BUCKETRY_DEPENDENCIES}" PARENT_SCOPE)
endfunction()

# libcurl is named as a flag: its package would add, for a static link, what only a static libcurl needs.
bucketry_install_library(bucketry DESCRIPTION "${PROJECT_DESCRIPTION}" HEADERS include
    DEPENDS Threads "Boost 1.81 COMPONENTS thread chrono"
    LIBS -lboost_thread -lboost_chrono -pthread
    STATIC_DEPENDS "Boost 1.81 COMPONENTS url" spdlog tinyxml2 "OpenSSL 3.0" "CURL 7.80" zstd ZLIB
    STATIC_REQUIRES spdlog tinyxml2 openssl libzstd zlib
    STATIC_LIBS -lboost_url -lcurl)
if(TARGET bucketry_simulator)
    bucketry_install_library(bucketry_simulator COMPONENT simulator
        DESCRIPTION "An object store in memory behind a socket, for tests" HEADERS simulator/include
        STATIC_DEPENDS "OpenSSL 3.0" tinyxml2 STATIC_REQUIRES openssl tinyxml2 STATIC_LIBS -pthread)
endif()

if(TARGET bucketry_tool)
    file(RELATIVE_PATH to_library "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
    set_target_properties(bucketry_tool PROPERTIES INSTALL_RPATH "$ORIGIN/${to_library}")
    install(TARGETS bucketry_tool)
endif()

list(JOIN BUCKETRY_COMPONENTS ", " BUCKETRY_COMPONENTS)
configure_package_config_file(cmake/bucketryConfig.cmake.in "${PROJECT_BINARY_DIR}/package/bucketryConfig.cmake"
                              INSTALL_DESTINATION "${package_dir}"
                              NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/package/bucketryConfigVersion.cmake"
                                 VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/package/bucketryConfig.cmake"
              "${PROJECT_BINARY_DIR}/package/bucketryConfigVersion.cmake" DESTINATION "${package_dir}")
install(FILES LICENSE THIRD_PARTY.md DESTINATION "${doc_dir}")

if(PROJECT_IS_TOP_LEVEL)
    add_custom_target(uninstall VERBATIM
        COMMAND "${CMAKE_COMMAND}" -D "MANIFEST=${PROJECT_BINARY_DIR}/install_manifest.txt"
                -P "${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake")
endif()
