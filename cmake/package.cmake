# What `cmake --install` installs: the public headers, the engine as a static and as a shared
# library, how CMake and pkg-config find them, the program, and the documents.
#
# The installed files hold no absolute path, so that the folder can be moved.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS torval)
install(TARGETS torval_static torval_shared EXPORT torval_targets
    INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/torval" TYPE INCLUDE FILES_MATCHING PATTERN "*.h")
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/docs/hosting.md" TYPE DOC)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples" TYPE DOC)

set(config_folder "${CMAKE_INSTALL_LIBDIR}/cmake/torval")
install(EXPORT torval_targets
    FILE torval-targets.cmake
    NAMESPACE torval::
    DESTINATION "${config_folder}")
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/torval-config-version.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES
    "${CMAKE_CURRENT_LIST_DIR}/torval-config.cmake"
    "${CMAKE_CURRENT_BINARY_DIR}/torval-config-version.cmake"
    DESTINATION "${config_folder}")

file(RELATIVE_PATH prefix_from_pc
    "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/torval.pc.in" torval.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/torval.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
