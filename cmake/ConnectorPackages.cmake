# The Debian packages, one per component: cpack --config build/release/CPackConfig.cmake

set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_CONTACT "Connector file service maintainers <maintainers@connector.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)

set(runtime liboxconnectorfileimpl${PROJECT_VERSION_MAJOR})
set(same_runtime "${runtime} (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "${PROJECT_DESCRIPTION}, shared libraries")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liboxconnectorfileimpl-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${same_runtime}, libboost-dev, libpoco-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "${PROJECT_DESCRIPTION}, headers")

set(CPACK_DEBIAN_HOST_PACKAGE_NAME connector-host)
set(CPACK_DEBIAN_HOST_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_HOST_PACKAGE_DEPENDS "${same_runtime}")
set(CPACK_COMPONENT_HOST_DESCRIPTION "${PROJECT_DESCRIPTION}, spoken to over standard input and output")

# What our own libraries need of others is read from them; where they are themselves is said above.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_HOST_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}" "${PROJECT_BINARY_DIR}/platform")

# In /usr the loader needs no run path, which is only there for other prefixes.
if(NOT CONNECTOR_PLATFORM)
  set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/RemoveRunPaths.cmake")
endif()

include(CPack)
