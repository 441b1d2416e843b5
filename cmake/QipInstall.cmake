# What `cmake --install` installs: libraries, the program, headers, a relocatable CMake package and a
# pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS qbase qip_gauss EXPORT qip_gauss_targets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
set_target_properties(qbase PROPERTIES EXPORT_NAME base)
set_target_properties(qip_gauss PROPERTIES
    EXPORT_NAME gauss INSTALL_RPATH "$ORIGIN" BUILD_WITH_INSTALL_RPATH ON)
if(TARGET qip-smooth)
    file(RELATIVE_PATH libraries_from_program /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
    set_target_properties(qip-smooth PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_program}")
    install(TARGETS qip-smooth RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    # Built with the RPATH of the installed program, and the libraries where it finds them from its build folder:
    # an RPATH to be replaced at installation would end in an empty element, which means the current folder.
    if(libraries_from_program STREQUAL "../${CMAKE_INSTALL_LIBDIR}")
        set_target_properties(qbase qip_gauss PROPERTIES
            LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR})
        set_target_properties(qip-smooth PROPERTIES
            RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tools BUILD_WITH_INSTALL_RPATH ON)
    endif()
endif()
install(DIRECTORY include/qip platform/qbase DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qip_gauss)
install(EXPORT qip_gauss_targets NAMESPACE qip:: DESTINATION ${package_dir} FILE qip_gauss-targets.cmake)
configure_package_config_file(cmake/qip_gauss-config.cmake.in
                              ${CMAKE_CURRENT_BINARY_DIR}/qip_gauss-config.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/qip_gauss-config-version.cmake
                                 VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qip_gauss-config.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/qip_gauss-config-version.cmake
        DESTINATION ${package_dir})

# pkg-config derives the prefix from where the file itself is, so that the installed tree can be moved.
file(RELATIVE_PATH prefix_from_pc "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/qip_gauss.pc.in ${CMAKE_CURRENT_BINARY_DIR}/qip_gauss.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qip_gauss.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
