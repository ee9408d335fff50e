# The shared library: the objects of all rooms behind one soname. Only what carries BUCKETRY_API is visible.
if(NOT BUCKETRY_ROOM_TARGETS)
    message(STATUS "bucketry: there is no room yet, so no shared library")
    return()
endif()

add_library(bucketry SHARED)
add_library(bucketry::bucketry ALIAS bucketry)
target_link_libraries(bucketry PRIVATE ${BUCKETRY_ROOM_TARGETS} PUBLIC ${BUCKETRY_PUBLIC_LIBS})
target_include_directories(bucketry PUBLIC "$<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include>"
                                           "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
set_target_properties(bucketry PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                                          LINKER_LANGUAGE CXX LINK_DEPENDS "${CMAKE_SOURCE_DIR}/cmake/bucketry.map")
target_link_options(bucketry PRIVATE LINKER:--as-needed
                    "LINKER:--version-script=${CMAKE_SOURCE_DIR}/cmake/bucketry.map")
if(NOT BUCKETRY_SANITIZE) # whose runtime comes with the program
    target_link_options(bucketry PRIVATE LINKER:--no-undefined)
endif()
