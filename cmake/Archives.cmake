# Libraries that the plug-in carries within itself. It shares a host's process with other plug-ins, which
# may come with another version, or call the library at a time when it must not be called twice.

# Makes TARGET of the archive of a library that was found as PkgConfig::PREFIX, and of the shared one where
# there is no archive; KALIM_HAS_OWN_PREFIX tells the sources which.
function(kalim_add_archive target prefix archive)
  find_library(KALIM_${prefix}_ARCHIVE "${archive}"
    HINTS ${${prefix}_LIBRARY_DIRS} "${${prefix}_LIBDIR}")
  add_library(${target} INTERFACE)
  target_include_directories(${target} SYSTEM INTERFACE ${${prefix}_INCLUDE_DIRS})
  if(KALIM_${prefix}_ARCHIVE)
    target_link_libraries(${target} INTERFACE "${KALIM_${prefix}_ARCHIVE}")
  else()
    target_link_libraries(${target} INTERFACE PkgConfig::${prefix})
  endif()
  target_compile_definitions(${target} INTERFACE
    "KALIM_HAS_OWN_${prefix}=$<BOOL:${KALIM_${prefix}_ARCHIVE}>")
endfunction()
