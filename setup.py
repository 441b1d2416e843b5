"""The Python package: what CMake builds of python/, and the two libraries beside it.

    /usr/bin/python3 -m build --no-isolation

QIP_BUILD_TREE names a tree that CMake has built already; otherwise one is made.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).parent.resolve()


def version() -> str:
    """The number of the public header."""
    header = (ROOT / "include/qip/export.h").read_text()
    return ".".join(re.findall(r"define QIP_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)", header))


class BuildByCMake(build_ext):
    def build_extension(self, ext: Extension) -> None:
        tree = os.environ.get("QIP_BUILD_TREE")
        built = pathlib.Path(tree) if tree else self.build_tree()
        target = pathlib.Path(self.get_ext_fullpath(ext.name)).parent
        target.mkdir(parents=True, exist_ok=True)
        for file in (built / "python/qip").glob("*.so*"):
            shutil.copy(file, target)

    def build_tree(self) -> pathlib.Path:
        tree = pathlib.Path(self.build_temp).resolve() / "cmake"
        parts = [f"-DQIP_BUILD_{part}=OFF" for part in ("TOOLS", "EXAMPLES", "TESTS", "BENCH")]
        options = ["-DCMAKE_BUILD_TYPE=Release", f"-DPython3_EXECUTABLE={sys.executable}", *parts]
        subprocess.run(["cmake", "-S", ROOT, "-B", tree, *options], check=True)
        jobs = ["--parallel", str(len(os.sched_getaffinity(0)))]
        subprocess.run(["cmake", "--build", tree, "--target", "qip_python", *jobs], check=True)
        return tree


SCRATCH = ROOT / "build"  # which git ignores
SCRATCH.mkdir(exist_ok=True)

setup(
    version=version(),
    packages=["qip"],
    package_dir={"qip": "python/qip"},
    package_data={"qip": ["py.typed", "*.pyi"]},
    ext_modules=[Extension("qip._core", sources=[], py_limited_api=True)],
    cmdclass={"build_ext": BuildByCMake},
    options={"bdist_wheel": {"py_limited_api": "cp311"}, "egg_info": {"egg_base": SCRATCH.name}},
)
