"""Puts the shared library into the NumPy package; pyproject.toml holds all the rest.

The library is built by CMake, unless ORAVO_SUPERRESOLUTION_LIBRARY names the file of one that is built already.
"""

import os
import shutil
import subprocess
from pathlib import Path

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py

SOURCE = Path(__file__).resolve().parent


def built_library(folder: Path) -> Path:
    """Builds the library alone in a folder and returns its file."""
    subprocess.run(["cmake", "-S", SOURCE, "-B", folder, "-DCMAKE_BUILD_TYPE=Release", "-DORAVO_BUILD_TOOLS=OFF",
                    "-DORAVO_BUILD_TESTS=OFF", "-DORAVO_BUILD_BENCHMARKS=OFF"], check=True)
    subprocess.run(["cmake", "--build", folder, "--target", "oravo_superresolution", "--parallel", str(os.cpu_count())],
                   check=True)
    return folder / "liboravo_superresolution.so"


class BuildWithLibrary(build_py):
    """Copies the package's modules, and the library beside them under the name that they look for."""

    def run(self) -> None:
        super().run()
        prebuilt = os.environ.get("ORAVO_SUPERRESOLUTION_LIBRARY")
        library = Path(prebuilt) if prebuilt else built_library(Path(self.get_finalized_command("build").build_temp))
        interface = ".".join(self.distribution.get_version().split(".")[:2])
        target = Path(self.build_lib) / "oravo_superres" / f"liboravo_superresolution.so.{interface}"
        shutil.copy(library.resolve(), target)


class BinaryDistribution(Distribution):
    """A package for one kind of machine, although none of its modules is compiled."""

    def has_ext_modules(self) -> bool:
        return True


setup(cmdclass={"build_py": BuildWithLibrary}, distclass=BinaryDistribution,
      options={"build": {"build_base": "build-pip"}})
