# bin/${program}, a link to the program beside its resources.
set(bin "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/bin")
file(MAKE_DIRECTORY "${bin}")
file(CREATE_LINK "../lib/kalim/${program}" "${bin}/${program}" SYMBOLIC)
message(STATUS "Installing: ${bin}/${program}")
