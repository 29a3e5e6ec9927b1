# How our own code is compiled: one language level, one set of warnings, one place for sanitizers.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

set(CONNECTOR_SANITIZE "" CACHE STRING "Sanitizers for everything we build, as -fsanitize= takes them")
if(CONNECTOR_SANITIZE)
  add_compile_options(-fsanitize=${CONNECTOR_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer -O1)
  add_link_options(-fsanitize=${CONNECTOR_SANITIZE})
endif()

# Warnings as errors, for our own targets only: a dependency's header is a system header.
function(connector_own_code target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Werror
    -Wcast-qual -Wconversion -Wextra-semi -Wformat=2 -Wimplicit-fallthrough -Wnon-virtual-dtor
    -Wold-style-cast -Woverloaded-virtual -Wsign-conversion -Wundef -Wunused
    $<$<CXX_COMPILER_ID:Clang>:-Wshadow>
    # A constructor's parameter may have the name of the member that it sets.
    $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local -Wduplicated-branches -Wduplicated-cond -Wlogical-op -Wuseless-cast>)
endfunction()

# A stand-in for one library of the framework: platform/<name>/{include,src}.
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
  target_compile_features(${target} PUBLIC cxx_std_17)
  target_link_libraries(${target} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
  set_target_properties(${target} PROPERTIES VERSION 1.0.0 SOVERSION 1)
  connector_own_code(${target})
  install(TARGETS ${target} EXPORT connector_platform)
  install(DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}/${name}/include/"
          DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
endfunction()

# One subsystem of the product, compiled hidden; the subsystems are linked into one shared library.
function(connector_subsystem name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  add_library(connector_${name} OBJECT ${ARG_SOURCES})
  target_include_directories(connector_${name} PUBLIC "${PROJECT_SOURCE_DIR}/include")
  target_link_libraries(connector_${name} PUBLIC ${ARG_LINK})
  set_target_properties(connector_${name} PROPERTIES
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  connector_own_code(connector_${name})
endfunction()
