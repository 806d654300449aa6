"""Builds the Python package: setuptools calls CMake for the extension module.

Everything that is not about the compiled part stands in pyproject.toml. The version is the one of
the CMake project, so that it stands in one place.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent


def version():
    project = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"project\(\s*quarn\s+VERSION\s+([0-9.]+)", project).group(1)


class CMakeBuild(build_ext):
    """Has CMake build the target quarn_python, and puts it where setuptools looks for it.

    Options for CMake can be given in the environment variable CMAKE_ARGS.
    """

    def build_extension(self, extension):
        target = pathlib.Path(self.get_ext_fullpath(extension.name)).resolve()
        build = pathlib.Path(self.build_temp).resolve()
        build.mkdir(parents=True, exist_ok=True)
        cmake = shutil.which("cmake") or "cmake"
        # The libraries become part of the module: a wheel has to stand for itself.
        options = {
            "CMAKE_BUILD_TYPE": "Release",
            "BUILD_SHARED_LIBS": "OFF",
            "QUARN_PYTHON": sys.executable,
            "QUARN_BUILD_PYTHON": "ON",
            "QUARN_BUILD_TESTS": "OFF",
            "QUARN_BUILD_EXAMPLES": "OFF",
            "QUARN_BUILD_BENCHMARKS": "OFF",
            "QUARN_INSTALL": "OFF",
            "QUARN_PYTHON_OUTPUT": target.parent,
        }
        arguments = [f"-D{name}={value}" for name, value in options.items()]
        arguments += os.environ.get("CMAKE_ARGS", "").split()
        subprocess.run([cmake, "-S", ROOT, "-B", build, *arguments], check=True)
        jobs = str(self.parallel or os.cpu_count() or 1)
        subprocess.run(
            [cmake, "--build", build, "--target", "quarn_python", "--parallel", jobs], check=True
        )


setup(
    version=version(),
    ext_modules=[Extension("quarn._core", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
    # Only asked for where none is installed; the one of the system does as well.
    setup_requires=[] if shutil.which("cmake") else ["cmake>=3.22"],
    # Beside the folders of the CMake presets, not among them.
    options={"build": {"build_base": "build/pip"}},
)
