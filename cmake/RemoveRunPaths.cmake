# Run by CPack on what it is about to pack.
file(GLOB_RECURSE installed "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*")
foreach(file IN LISTS installed)
  if(file MATCHES "/bin/[^/]+$|\\.so[.0-9]*$" AND NOT IS_SYMLINK "${file}")
    file(RPATH_REMOVE FILE "${file}")
  endif()
endforeach()
