# What `cmake --install` installs: the public headers, the engine as a static and as a shared
# library, how CMake and pkg-config find them, the program, and what to read.
#
# The installed files hold no absolute path, so that the folder can be moved.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# With link-time optimisation an object is data of one compiler version, of no use to another. So the
# optimisation takes place here, once, and leaves one ordinary object for both libraries. In a single
# partition it makes up no global names, which could meet those of a host that is optimised likewise.
set(engine_objects $<TARGET_OBJECTS:torval_engine>)
if(CMAKE_INTERPROCEDURAL_OPTIMIZATION)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        message(FATAL_ERROR "Link-time optimisation of the installed libraries needs g++.")
    endif()
    string(TOUPPER "CMAKE_CXX_FLAGS_${CMAKE_BUILD_TYPE}" build_type_flags)
    separate_arguments(link_flags UNIX_COMMAND "${CMAKE_CXX_FLAGS} ${${build_type_flags}}")
    set(whole_engine "${CMAKE_CURRENT_BINARY_DIR}/torval_whole_engine.o")
    add_custom_command(
        OUTPUT "${whole_engine}"
        COMMAND "${CMAKE_CXX_COMPILER}" ${link_flags} -fPIC -flto -flto-partition=none
            -r -flinker-output=nolto-rel -o "${whole_engine}" ${engine_objects}
        DEPENDS torval_engine ${engine_objects}
        COMMENT "Optimising the engine as a whole"
        COMMAND_EXPAND_LISTS VERBATIM)
    # One target makes the object, so that the two libraries do not both do so at the same time.
    add_custom_target(torval_whole_engine DEPENDS "${whole_engine}")
    set(engine_objects "${whole_engine}")
endif()

foreach(kind IN ITEMS static shared)
    string(TOUPPER ${kind} library_type)
    add_library(torval_${kind} ${library_type} ${engine_objects})
    if(TARGET torval_whole_engine)
        add_dependencies(torval_${kind} torval_whole_engine)
    endif()
    set_target_properties(torval_${kind} PROPERTIES
        OUTPUT_NAME torval
        LINKER_LANGUAGE CXX
        INTERPROCEDURAL_OPTIMIZATION OFF)
    target_compile_features(torval_${kind} INTERFACE cxx_std_20)
    target_link_libraries(torval_${kind} PUBLIC Threads::Threads)
endforeach()
set_target_properties(torval_static PROPERTIES EXPORT_NAME torval)
# Interfaces under their identifiers never change; the functions may with the first number.
set_target_properties(torval_shared PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
target_link_options(torval_shared PRIVATE -Wl,-z,defs)

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
