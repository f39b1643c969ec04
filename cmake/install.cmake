include(CMakePackageConfigHelpers)

install(TARGETS qzk EXPORT qzk-targets)
install(FILES ${PROJECT_SOURCE_DIR}/include/qzk.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qzk)
install(EXPORT qzk-targets NAMESPACE qzk:: FILE qzk-config.cmake DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qzk-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qzk-config-version.cmake DESTINATION ${package_dir})

# Found from where the file lies, so that the installed tree may be moved.
set(package_config_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_package_config /${package_config_dir} /)
string(REGEX REPLACE "/$" "" prefix_from_package_config "${prefix_from_package_config}")
get_target_property(library_name qzk OUTPUT_NAME)
if(NOT library_name)
  set(library_name qzk)
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/qzk.pc.in ${PROJECT_BINARY_DIR}/qzk.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qzk.pc DESTINATION ${package_config_dir})
