include(CMakeFindDependencyMacro)
find_dependency(connector_platform HINTS "${CMAKE_CURRENT_LIST_DIR}/..")
include("${CMAKE_CURRENT_LIST_DIR}/oxconnectorfileimpl-targets.cmake")
