"""Builds the package's library with the project's own CMake files, in the source tree."""

import os
import re
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

SOURCE = Path(__file__).resolve().parent.parent


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build = Path(self.build_temp).resolve()
        target = Path(self.get_ext_fullpath(ext.name)).resolve().parent
        options = {
            "CMAKE_BUILD_TYPE": "Release",
            "KALIM_BUILD_PROGRAM": "OFF",
            "KALIM_BUILD_TESTS": "OFF",
            "KALIM_BUILD_PYTHON": "ON",
            "KALIM_PYTHON": sys.executable,
        }
        given = [f"-D{name}={value}" for name, value in options.items()]
        subprocess.run(["cmake", "-S", SOURCE, "-B", build, *given], check=True)
        jobs = str(os.cpu_count() or 1)
        command = ["cmake", "--build", build, "--target", "kalim_python", "--parallel", jobs]
        subprocess.run(command, check=True)
        command = ["cmake", "--install", build, "--component", "python", "--prefix", target]
        subprocess.run(command, check=True)


def find_version():
    text = (SOURCE / "CMakeLists.txt").read_text()
    return re.search(r"project\(Kalim VERSION ([0-9.]+)", text).group(1)


setup(
    version=find_version(),
    ext_modules=[Extension("kalim._core", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
)
