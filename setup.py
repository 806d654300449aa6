"""Builds the Python package: setuptools calls CMake for the extension module.

Everything that is not about the compiled part stands in pyproject.toml. The version is the one of
the CMake project, so that it stands in one place.
"""

import pathlib
import re

from setuptools import setup

ROOT = pathlib.Path(__file__).resolve().parent


def version() -> str:
    project = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"project\(\s*quarn\s+VERSION\s+([0-9.]+)", project).group(1)


# Beside the folders of the CMake presets, not among them.
setup(version=version(), options={"build": {"build_base": "build/pip"}})
