# Icons and fonts, built into the binaries as data.
file(GLOB artwork CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/resources/artwork/*.svg"
  "${PROJECT_SOURCE_DIR}/resources/artwork/*.png")
# What appIcon.png is drawn from.
list(FILTER artwork EXCLUDE REGEX "/appIcon\\.svg$")

# The editor looks alike everywhere only with a font of its own, which comes with the system's packages;
# where it is elsewhere, KALIM_FONT_Regular and KALIM_FONT_SemiBold name its files.
foreach(weight IN ITEMS Regular SemiBold)
  find_file(KALIM_FONT_${weight} "Inter-${weight}.otf"
    PATHS /usr/share/fonts/opentype/inter REQUIRED)
  list(APPEND artwork "${KALIM_FONT_${weight}}")
endforeach()

juce_add_binary_data(kalim_artwork NAMESPACE artwork HEADER_NAME Artwork.h SOURCES ${artwork})
# The framework's own rule does not notice changed files.
add_custom_command(APPEND
  OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/juce_binarydata_kalim_artwork/JuceLibraryCode/BinaryData1.cpp"
  DEPENDS ${artwork})
set_target_properties(kalim_artwork PROPERTIES POSITION_INDEPENDENT_CODE ON)
