#!/bin/sh
# Installs the package with pip into a fresh environment, offline, and uses it: install.sh PYTHON SOURCE
set -eu
python=$1
source=$2
"$python" -m pip --version && "$python" -c "import setuptools, venv, wheel" || { echo "no pip or setuptools: skipped"; exit 0; }
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
"$python" -m venv --system-site-packages "$folder/venv"
"$folder/venv/bin/pip" install --no-index --no-build-isolation --no-deps "$source"
cd "$folder"
"$folder/venv/bin/python" - <<'END'
import pathlib
import sys

import numpy as np

import kalim

home = pathlib.Path(kalim.__file__).parent
assert str(home).startswith(sys.prefix), home
assert (home / "py.typed").exists() and (home / "__init__.pyi").exists()
clock = np.arange(10000) / 1000
hum = np.sin(2 * np.pi * 50 * clock)
assert np.std(kalim.remove(hum, 1000, mains=50)) < 0.01
END
