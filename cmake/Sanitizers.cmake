# Instrumentation for the whole build, so that every object agrees.

if(KALIM_SANITIZE STREQUAL "address")
  set(sanitizers address,undefined,float-cast-overflow)
elseif(KALIM_SANITIZE STREQUAL "thread")
  set(sanitizers thread)
elseif(NOT KALIM_SANITIZE STREQUAL "")
  message(FATAL_ERROR "KALIM_SANITIZE must be empty, address or thread, not '${KALIM_SANITIZE}'")
endif()

if(sanitizers)
  add_compile_options(-fsanitize=${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  if(KALIM_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
  endif()
  add_link_options(-fsanitize=${sanitizers})
endif()
