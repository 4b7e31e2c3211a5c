# A build from nothing takes less than half of the time where sources are compiled by the dozen: what
# they include is read, and templates are made, once for all twelve. After a change the dozen are
# compiled again, and a source that forgets an include may find it in its neighbour, so those who work
# on the sources have the debug preset, which compiles each by itself. What is private to a file must
# have names that differ from those of its neighbours.
function(kalim_compile_in_batches target)
  if(NOT KALIM_COMPILE_IN_BATCHES)
    return()
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 12)
  # A kernel includes itself once more for each instruction set.
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    file(STRINGS "${source}" kernel REGEX "HWY_TARGET_INCLUDE" LIMIT_COUNT 1)
    if(kernel)
      set_source_files_properties("${source}" PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
    endif()
  endforeach()
  # g++ takes what is private to one of the sources for part of a header.
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endfunction()
