# The interpreter that the Python package is built for, and pybind11. What a distribution packages for
# Python is packaged for its own interpreter, which need not be the first one on the path.

find_program(KALIM_PYTHON python3 HINTS /usr/bin DOC "Python that the package is for")
set(Python_EXECUTABLE "${KALIM_PYTHON}")
find_package(Python COMPONENTS Interpreter Development.Module QUIET)
set(PYBIND11_FINDPYTHON ON)
if(Python_FOUND)
  find_package(pybind11 2.10 CONFIG QUIET)
endif()
if(NOT pybind11_FOUND)
  message(STATUS "Python package: not built, for there is no pybind11 or no Python to build for")
  set(KALIM_BUILD_PYTHON OFF)
endif()
