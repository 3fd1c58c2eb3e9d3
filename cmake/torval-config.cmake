# find_package(torval): the engine as torval::torval, a static library, and torval::torval_shared.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
include("${CMAKE_CURRENT_LIST_DIR}/torval-targets.cmake")
