# Headers, library, simulator, tool, and what find_package and pkg-config need.
if(NOT TARGET bucketry)
    return()
endif()
include(CMakePackageConfigHelpers)

set(BUCKETRY_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/bucketry")
set(exported bucketry)
if(TARGET bucketry_simulator)
    set_target_properties(bucketry_simulator PROPERTIES EXPORT_NAME simulator)
    list(APPEND exported bucketry_simulator)
    install(DIRECTORY simulator/include/bucketry TYPE INCLUDE FILES_MATCHING PATTERN "*.h")
endif()
install(TARGETS ${exported} EXPORT bucketryTargets)
if(TARGET bucketry_tool)
    file(RELATIVE_PATH to_library "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
    set_target_properties(bucketry_tool PROPERTIES INSTALL_RPATH "$ORIGIN/${to_library}")
    install(TARGETS bucketry_tool)
endif()
install(DIRECTORY include/bucketry TYPE INCLUDE FILES_MATCHING PATTERN "*.h")
install(EXPORT bucketryTargets NAMESPACE bucketry:: DESTINATION "${BUCKETRY_PACKAGE_DIR}")

configure_package_config_file(cmake/bucketryConfig.cmake.in "${CMAKE_BINARY_DIR}/package/bucketryConfig.cmake"
                              INSTALL_DESTINATION "${BUCKETRY_PACKAGE_DIR}")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/package/bucketryConfigVersion.cmake"
                                 COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_BINARY_DIR}/package/bucketryConfig.cmake"
              "${CMAKE_BINARY_DIR}/package/bucketryConfigVersion.cmake" DESTINATION "${BUCKETRY_PACKAGE_DIR}")

file(RELATIVE_PATH BUCKETRY_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/bucketry.pc.in "${CMAKE_BINARY_DIR}/package/bucketry.pc" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/package/bucketry.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
install(FILES LICENSE TYPE DOC)
