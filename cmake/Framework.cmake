# The plug-in framework, compiled once into a library that everything above the core links.

find_package(JUCE CONFIG REQUIRED)

add_library(kalim_framework STATIC)

target_link_libraries(kalim_framework
  PRIVATE
    juce::juce_audio_processors
    juce::juce_audio_utils
    juce::juce_gui_extra
    juce::juce_opengl)

# The distribution's framework uses the system's picture libraries.
if(TARGET juce::pkgconfig_JUCE_IMG_LINUX_DEPS)
  target_link_libraries(kalim_framework PUBLIC juce::pkgconfig_JUCE_IMG_LINUX_DEPS)
endif()

# The stand-alone program plays through JACK as well, whose library it loads when there is one.
find_path(KALIM_JACK_HEADERS jack/jack.h)
set(has_jack 0)
if(KALIM_JACK_HEADERS)
  set(has_jack 1)
endif()

target_compile_definitions(kalim_framework
  PUBLIC
    JUCE_JACK=${has_jack}
    JUCE_WEB_BROWSER=0
    JUCE_USE_CURL=0
    JUCE_VST3_CAN_REPLACE_VST2=0
    JUCE_DISPLAY_SPLASH_SCREEN=0
    JUCE_REPORT_APP_USAGE=0
    JUCE_USE_FLAC=0
    JUCE_USE_OGGVORBIS=0
    JUCE_MODAL_LOOPS_PERMITTED=1
    JUCE_STRICT_REFCOUNTEDPOINTER=1
    JUCE_PLUGINHOST_LV2=1
    JUCE_PLUGINHOST_VST3=1
    $<$<CONFIG:Debug>:DEBUG=1>
    $<$<NOT:$<CONFIG:Debug>>:NDEBUG=1>
  INTERFACE
    $<TARGET_PROPERTY:kalim_framework,COMPILE_DEFINITIONS>)

# As system headers, so that our warnings stay ours.
target_include_directories(kalim_framework SYSTEM
  INTERFACE $<TARGET_PROPERTY:kalim_framework,INCLUDE_DIRECTORIES>)
