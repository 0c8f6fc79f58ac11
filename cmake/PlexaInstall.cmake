# Headers, libraries, the command, a CMake package and a pkg-config file.

include(CMakePackageConfigHelpers)

set(plexa_headers ${CMAKE_INSTALL_INCLUDEDIR}/plexa)
set(plexa_platform_headers ${plexa_headers}/platform)
set(plexa_package ${CMAKE_INSTALL_LIBDIR}/cmake/plexa)

# Every shared object of the project, and where its users find its headers.
set(plexa_libraries)
foreach(library plexa_common plexa_platform plexa_gles vexcolor vexcapture vexutils plexa_kit)
    if(TARGET ${library})
        list(APPEND plexa_libraries ${library})
    endif()
endforeach()
set_target_properties(plexa_platform PROPERTIES EXPORT_NAME platform)
foreach(library ${plexa_libraries})
    target_include_directories(${library} INTERFACE
        $<INSTALL_INTERFACE:${plexa_headers}> $<INSTALL_INTERFACE:${plexa_platform_headers}>)
endforeach()

install(TARGETS ${plexa_libraries} EXPORT plexa_targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    PUBLIC_HEADER DESTINATION ${plexa_headers})
if(TARGET plexa)
    install(TARGETS plexa RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

file(GLOB plexa_platform_includes CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/platform/*/include)
foreach(include_dir ${plexa_platform_includes})
    install(DIRECTORY ${include_dir}/ DESTINATION ${plexa_platform_headers})
endforeach()

install(DIRECTORY kit/include/ DESTINATION ${plexa_headers})
install(DIRECTORY examples/stage DESTINATION ${CMAKE_INSTALL_DATADIR}/plexa)

install(EXPORT plexa_targets NAMESPACE plexa:: DESTINATION ${plexa_package})
configure_package_config_file(cmake/plexa-config.cmake.in
    ${CMAKE_BINARY_DIR}/plexa-config.cmake INSTALL_DESTINATION ${plexa_package})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/plexa-config-version.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/plexa-config.cmake ${CMAKE_BINARY_DIR}/plexa-config-version.cmake
    DESTINATION ${plexa_package})

# The file finds its prefix from where it lies, so that an installed tree can be moved.
file(RELATIVE_PATH plexa_pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
foreach(package plexa plexa-kit)
    configure_file(cmake/${package}.pc.in ${CMAKE_BINARY_DIR}/${package}.pc @ONLY)
    install(FILES ${CMAKE_BINARY_DIR}/${package}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
