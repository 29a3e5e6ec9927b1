include(CMakeFindDependencyMacro)
find_dependency(Boost CONFIG)
find_dependency(Poco COMPONENTS Foundation JSON)
include("${CMAKE_CURRENT_LIST_DIR}/connector_platform-targets.cmake")
