# Puts the resources into a bundle:
#     cmake -D FROM=resources -D TO=bundle/Contents/Resources -D VERSION=... -P ...
# What an earlier build put there goes first, so that renamed presets do not stay.

file(GLOB earlier "${TO}/Vellacore_*")
file(REMOVE_RECURSE "${TO}/Presets" "${TO}/Licences" ${earlier})
file(MAKE_DIRECTORY "${TO}")
file(COPY "${FROM}/presets/" DESTINATION "${TO}/Presets")
file(COPY "${FROM}/licences/" DESTINATION "${TO}/Licences")
file(COPY "${FROM}/languages/" "${FROM}/help/" DESTINATION "${TO}")

# The manuals tell which version they are of.
file(GLOB manuals "${TO}/Vellacore_*/*.html")
foreach(manual IN LISTS manuals)
  configure_file("${manual}" "${manual}" @ONLY)
endforeach()
