"""The Python module as a wheel, which holds the library itself. CMakeLists.txt builds it."""

import pathlib
import re

from skbuild import setup

header = (pathlib.Path(__file__).parent / "common" / "Version.h").read_text()
version = ".".join(re.search(rf"ZOR_COMMON_VERSION_{part} (\d+)", header)[1] for part in ("MAJOR", "MINOR", "PATCH"))

setup(
    name="zor-common",
    version=version,
    description="Network packets by number, for traffic generators and test tools",
    packages=["zor_common"],
    package_dir={"zor_common": "python/zor_common"},
    package_data={"zor_common": ["__init__.pyi", "py.typed"]},
    python_requires=">=3.9",
    cmake_args=[
        "-DBUILD_SHARED_LIBS=OFF",
        "-DCMAKE_UNITY_BUILD=ON",  # the library alone, which compiles several times as fast that way
        "-DZOR_COMMON_BUILD_EXAMPLES=OFF",
        "-DZOR_COMMON_BUILD_PYTHON=ON",
        "-DZOR_COMMON_BUILD_TESTS=OFF",
        "-DZOR_COMMON_BUILD_TOOLS=OFF",
        "-DZOR_COMMON_INSTALL=OFF",
    ],
    cmake_install_target="install",
    cmake_install_dir="python",
)
