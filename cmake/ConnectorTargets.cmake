# Settings and functions for our own targets: C++ standard, warnings, sanitizers, installation.

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# Installed libraries find each other in their directory, and a platform outside the prefix.
set(CMAKE_INSTALL_RPATH "$ORIGIN")
set(CMAKE_INSTALL_RPATH_USE_LINK_PATH ON)

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

set(CONNECTOR_SANITIZE "" CACHE STRING "Sanitizers for all targets, in the syntax of -fsanitize=")
if(CONNECTOR_SANITIZE)
  add_compile_options(-fsanitize=${CONNECTOR_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer -O1)
  add_link_options(-fsanitize=${CONNECTOR_SANITIZE})
endif()

# Warnings for our own targets. The presets make them errors.
function(connector_own_code target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic
    -Wcast-qual -Wconversion -Wextra-semi -Wformat=2 -Wimplicit-fallthrough -Wnon-virtual-dtor
    -Wold-style-cast -Woverloaded-virtual -Wsign-conversion -Wundef -Wunused
    $<$<CXX_COMPILER_ID:Clang>:-Wshadow>
    # GCC's plain -Wshadow also warns about a constructor's parameter with the name of a member.
    $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local -Wduplicated-branches -Wduplicated-cond -Wlogical-op -Wuseless-cast>)
endfunction()

# Installs a shared library as part of the export set, and the public headers in `include`.
function(connector_install_library target export include)
  install(TARGETS ${target} EXPORT ${export})
  install(DIRECTORY "${include}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
endfunction()

# Installs the files for find_package and pkg-config: the export set `package`, and the files
# <package>-config.cmake and <package>.pc.in from the directory `source`. The prefix may be moved later.
function(connector_install_package package namespace source)
  set(destination "${CMAKE_INSTALL_LIBDIR}/cmake/${package}")
  install(EXPORT ${package} NAMESPACE ${namespace}:: FILE ${package}-targets.cmake
          DESTINATION "${destination}")
  write_basic_package_version_file(${package}-config-version.cmake COMPATIBILITY SameMajorVersion)
  install(FILES "${source}/${package}-config.cmake"
                "${CMAKE_CURRENT_BINARY_DIR}/${package}-config-version.cmake"
          DESTINATION "${destination}")

  set(destination "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
  set(prefix "${CMAKE_INSTALL_PREFIX}")
  cmake_path(RELATIVE_PATH prefix BASE_DIRECTORY "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig")
  # An absolute directory replaces the prefix.
  set(libdir "\${prefix}")
  set(includedir "\${prefix}")
  cmake_path(APPEND libdir "${CMAKE_INSTALL_LIBDIR}")
  cmake_path(APPEND includedir "${CMAKE_INSTALL_INCLUDEDIR}")
  configure_file("${source}/${package}.pc.in" ${package}.pc @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${package}.pc"
          DESTINATION "${destination}")
endfunction()

# Builds a stand-in for one library of the framework from platform/<name>/{include,src}.
function(connector_platform_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  string(REGEX REPLACE "^lib" "" target "${name}")
  add_library(${target} SHARED)
  add_library(connector_platform::${target} ALIAS ${target})
  list(TRANSFORM ARG_SOURCES PREPEND "${name}/src/")
  target_sources(${target} PRIVATE ${ARG_SOURCES})
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/${name}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_include_directories(${target} PRIVATE "${CMAKE_CURRENT_SOURCE_DIR}/detail")
  target_compile_features(${target} PUBLIC cxx_std_17)
  target_link_libraries(${target} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
  set_target_properties(${target} PROPERTIES VERSION 1.0.0 SOVERSION 1)
  connector_own_code(${target})
  connector_install_library(${target} connector_platform "${CMAKE_CURRENT_SOURCE_DIR}/${name}/include/")
endfunction()

# Builds one subsystem of the product as objects with hidden visibility. All subsystems are linked
# into one shared library.
function(connector_subsystem name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  add_library(connector_${name} OBJECT ${ARG_SOURCES})
  target_include_directories(connector_${name} PUBLIC "${PROJECT_SOURCE_DIR}/include")
  target_link_libraries(connector_${name} PUBLIC ${ARG_LINK})
  set_target_properties(connector_${name} PROPERTIES
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  connector_own_code(connector_${name})
endfunction()
