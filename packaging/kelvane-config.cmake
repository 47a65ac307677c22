# kelvane::kelvane         the library, shared
# kelvane::kelvane_static  the same, static
# kelvane::platform        optional companion: UIO devices, simulated ones included; static
include(CMakeFindDependencyMacro)
find_dependency(Threads)
include(${CMAKE_CURRENT_LIST_DIR}/kelvane-targets.cmake)
