# bin/${kalim_linked}, a link to the program beside its resources.
set(bin "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/bin")
file(MAKE_DIRECTORY "${bin}")
file(CREATE_LINK "../lib/kalim/${kalim_linked}" "${bin}/${kalim_linked}" SYMBOLIC)
message(STATUS "Installing: ${bin}/${kalim_linked}")
