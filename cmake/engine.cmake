# The engine: standard library and threads only, as a static and as a shared library. The program, its
# tests and its benchmarks link the static one, as other hosts do.

file(GLOB_RECURSE engine_sources CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/src/*.cpp")
add_library(torval_engine OBJECT ${engine_sources})
target_include_directories(torval_engine PRIVATE
    "${CMAKE_SOURCE_DIR}/include" "${CMAKE_SOURCE_DIR}/src")
target_link_libraries(torval_engine PRIVATE torval_flags)
# With hidden symbols position-independent code costs nothing measurable.
set_target_properties(torval_engine PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)

# With link-time optimisation an object is data of one compiler version, of no use to another. So the
# optimisation takes place here, once, and leaves one ordinary object for both libraries. With a
# single partition it invents no global names, which could clash with those of a host optimised the
# same way.
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

# A library with a sanitizer in it is of no use to a host without.
set(kinds static)
if(NOT TORVAL_SANITIZE)
    list(APPEND kinds shared)
endif()
foreach(kind IN LISTS kinds)
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
    target_include_directories(torval_${kind} INTERFACE
        "$<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include>")
    target_link_libraries(torval_${kind} PUBLIC Threads::Threads)
endforeach()
set_target_properties(torval_static PROPERTIES EXPORT_NAME torval)
if(TARGET torval_shared)
    # An interface never changes under its identifier; functions may change with the major version.
    set_target_properties(torval_shared PROPERTIES
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR})
    target_link_options(torval_shared PRIVATE -Wl,-z,defs)
endif()

# What follows calls the engine through these libraries; optimising it across files gains nothing.
set(CMAKE_INTERPROCEDURAL_OPTIMIZATION OFF)
