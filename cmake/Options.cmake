# What to build and how; everything a user may set is listed here.

option(KALIM_BUILD_PROGRAM "Build the command-line program" ON)
option(KALIM_BUILD_PLUGIN "Build the plug-in, in all formats" OFF)
option(KALIM_BUILD_CORE_LV2 "Build the small LV2 bundle for hosts without a window" OFF)
set(formats LV2 VST3 Standalone)
if(APPLE)
  list(APPEND formats AU)
endif()
set(KALIM_FORMATS "${formats}" CACHE STRING "What the plug-in is built as; Standalone needs the program")
option(KALIM_BUILD_PYTHON "Build the Python package, where pybind11 is installed" OFF)
option(KALIM_BUILD_TESTS "Build the tests" ON)
option(KALIM_BUILD_BENCHMARKS "Build the benchmarks" OFF)
option(KALIM_BUILD_GALLERY "Build the pictures of the editor's components, with the plug-in" OFF)
option(KALIM_COMPILE_IN_BATCHES "Compile sources by the dozen: quicker from nothing" ON)
option(KALIM_FUZZ "Build the targets of tests/fuzz with clang's fuzzer" OFF)
set(KALIM_SANITIZE "" CACHE STRING "Sanitizers to build with: empty, address or thread")
set_property(CACHE KALIM_SANITIZE PROPERTY STRINGS "" address thread)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

# A compiler cache makes rebuilds after a clean clone quick where one is installed.
find_program(KALIM_COMPILER_CACHE ccache)
if(KALIM_COMPILER_CACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${KALIM_COMPILER_CACHE}")
endif()

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
