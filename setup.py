"""Builds the extension module with the project's CMake build; pyproject.toml holds the metadata."""
import os
import re
import subprocess
import sys
from pathlib import Path

import pybind11
from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent


def project_version():
    text = (ROOT / "CMakeLists.txt").read_text()
    return re.search(r"project\(Vesk3D VERSION ([0-9.]+)", text).group(1)


class CMakeBuild(build_ext):
    """Configures the top-level CMake project with only the Python module and builds it."""

    def build_extension(self, ext):
        module_dir = Path(self.get_ext_fullpath(ext.name)).resolve().parent
        build_dir = Path(self.build_temp).resolve() / "cmake"
        configure = [
            "cmake", "-S", str(ROOT), "-B", str(build_dir),
            "-DCMAKE_BUILD_TYPE=Release",
            "-DBUILD_SHARED_LIBS=OFF",
            "-DVESK3D_BUILD_TESTS=OFF", "-DVESK3D_BUILD_EXAMPLES=OFF", "-DVESK3D_BUILD_APP=OFF",
            "-DVESK3D_BUILD_PYTHON=ON",
            f"-DVESK3D_PYTHON_MODULE_DIR={module_dir}",
            f"-DPython_EXECUTABLE={sys.executable}",
            f"-Dpybind11_DIR={pybind11.get_cmake_dir()}",
        ]
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count() or 1))
        subprocess.run(configure, check=True)
        subprocess.run(["cmake", "--build", str(build_dir), "--target", "_vesk3d", "-j", jobs], check=True)


setup(
    version=project_version(),
    ext_modules=[Extension("vesk3d._vesk3d", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
)
