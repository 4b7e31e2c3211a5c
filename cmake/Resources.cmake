# Presets, translations and the manual, which every bundle holds a copy of. The programs of the build
# tree find one at its top.

set(resources "${PROJECT_SOURCE_DIR}/resources")
file(GLOB_RECURSE resource_files CONFIGURE_DEPENDS
  "${resources}/presets/*.xml" "${resources}/languages/*.loc" "${resources}/help/*"
  "${resources}/licences/*")
# What vanished or was renamed shows in the list only.
set(resource_list "${PROJECT_BINARY_DIR}/resources.list")
file(CONFIGURE OUTPUT "${resource_list}" CONTENT "${resource_files}")
list(APPEND resource_files "${resource_list}")
set(copy_script "${CMAKE_CURRENT_LIST_DIR}/CopyResources.cmake")

set(resources_stamp "${PROJECT_BINARY_DIR}/resources.stamp")
add_custom_command(OUTPUT "${resources_stamp}"
  COMMAND "${CMAKE_COMMAND}" -D "FROM=${resources}" -D "TO=${PROJECT_BINARY_DIR}/Contents/Resources"
    -D "VERSION=${PROJECT_VERSION}" -P "${copy_script}"
  COMMAND "${CMAKE_COMMAND}" -E touch "${resources_stamp}"
  DEPENDS ${resource_files} "${copy_script}"
  VERBATIM)
add_custom_target(kalim_resources ALL DEPENDS "${resources_stamp}")

# Before the bundle's library is linked, since it is started right after.
function(kalim_put_resources_into target bundle)
  add_custom_command(TARGET ${target} PRE_LINK
    COMMAND "${CMAKE_COMMAND}" -D "FROM=${resources}" -D "TO=${bundle}/Contents/Resources"
      -D "VERSION=${PROJECT_VERSION}" -P "${copy_script}"
    VERBATIM)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${resource_files} "${copy_script}")
endfunction()
