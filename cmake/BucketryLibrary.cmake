# SPDX-License-Identifier: Apache-2.0
# The library: the objects of all rooms, shared behind one soname or static. Of the shared one only what carries BUCKETRY_API
# is visible.

# bucketry_add_library(<target> <object library>...): a library of this project, of the type that was chosen, from the
# objects of others. What they link is up to the caller: in a package, no object library is known.
function(bucketry_add_library target)
    add_library(${target} ${BUCKETRY_LIBRARY_TYPE})
    foreach(objects IN LISTS ARGN)
        target_sources(${target} PRIVATE $<TARGET_OBJECTS:${objects}>)
    endforeach()
    target_compile_features(${target} PUBLIC cxx_std_20)
    set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                                               LINKER_LANGUAGE CXX)
    if(BUCKETRY_LIBRARY_TYPE STREQUAL "SHARED")
        target_link_options(${target} PRIVATE LINKER:--as-needed)
        if(NOT BUCKETRY_SANITIZE) # whose runtime comes with the program
            target_link_options(${target} PRIVATE LINKER:--no-undefined)
        endif()
    endif()
endfunction()

bucketry_add_library(bucketry ${BUCKETRY_ROOM_TARGETS})
add_library(bucketry::bucketry ALIAS bucketry)
target_link_libraries(bucketry PRIVATE ${BUCKETRY_PRIVATE_LIBS} PUBLIC ${BUCKETRY_PUBLIC_LIBS})
target_include_directories(bucketry PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>"
                                           "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
if(BUCKETRY_LIBRARY_TYPE STREQUAL "SHARED")
    target_link_options(bucketry PRIVATE "LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/bucketry.map")
    set_target_properties(bucketry PROPERTIES LINK_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/bucketry.map")
endif()
