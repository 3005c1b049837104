# What cmake --install lays down: the library for applications, and the virtual terminal to try them on.
include(CMakePackageConfigHelpers)

# Library, headers, and how other builds find them.
get_target_property(library_sources kt_driver SOURCES)
if(library_sources)
    install(TARGETS kt_driver EXPORT kt_driver-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kt_driver DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
            FILES_MATCHING PATTERN "*.h")

    set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kt_driver)
    install(EXPORT kt_driver-targets NAMESPACE kt_driver:: DESTINATION ${package_dir})
    configure_file(${PROJECT_SOURCE_DIR}/packaging/kt_driver-config.cmake.in
                   ${PROJECT_BINARY_DIR}/packaging/kt_driver-config.cmake COPYONLY)
    write_basic_package_version_file(${PROJECT_BINARY_DIR}/packaging/kt_driver-config-version.cmake
                                     COMPATIBILITY SameMajorVersion)
    install(FILES ${PROJECT_BINARY_DIR}/packaging/kt_driver-config.cmake
                  ${PROJECT_BINARY_DIR}/packaging/kt_driver-config-version.cmake
            DESTINATION ${package_dir})

    # Relative to the file itself, so that an installed tree can be moved.
    file(RELATIVE_PATH pc_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
    configure_file(${PROJECT_SOURCE_DIR}/packaging/kt_driver.pc.in ${PROJECT_BINARY_DIR}/packaging/kt_driver.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/packaging/kt_driver.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()

# The virtual terminal: its parts find each other relative to the program's own place, so their places are fixed.
if(TARGET kt-terminal)
    install(TARGETS kt-terminal RUNTIME DESTINATION bin)
    install(TARGETS kt_terminal_root kt_terminal_standin kt_terminal_multiplexer kt_terminal_hwclock kt_terminal_pppd RUNTIME DESTINATION libexec/kt-terminal)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/share/kt-terminal DESTINATION share FILES_MATCHING PATTERN "*.json")
endif()
