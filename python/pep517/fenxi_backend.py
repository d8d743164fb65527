"""The build backend of fenxi's Python package (PEP 517): the extension is
built by the project's CMake for the interpreter that runs the build, and
the wheel is written here, with nothing beyond the standard library.

    python3 -m pip install .                          # an isolated build fetches cmake, ninja and pybind11
    python3 -m pip install --no-build-isolation .     # or uses those already installed (Debian's)
    python3 -m build --wheel --no-isolation           # a wheel in dist/

config_settings: ``build-dir`` (default build/pip-<interpreter tag>) and
``jobs`` (default: the cores).
"""
from __future__ import annotations

import base64
import hashlib
import io
import os
import re
import shutil
import subprocess
import sys
import sysconfig
import tarfile
import zipfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
NAME = "fenxi"  # the import package


def _version() -> str:
    """The CMake project's version: the one version number."""
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as f:
        found = re.search(r"project\(fenxi\s+VERSION\s+([0-9.]+)", f.read())
    if not found:
        raise RuntimeError("no project(fenxi VERSION ...) in CMakeLists.txt")
    return found.group(1)


def _project() -> dict:
    """pyproject.toml's [project] table."""
    try:
        import tomllib
    except ImportError:  # Python < 3.11
        import tomli as tomllib
    with open(os.path.join(ROOT, "pyproject.toml"), "rb") as f:
        return tomllib.load(f)["project"]


def _metadata() -> str:
    """Core metadata 2.1 from [project] and the CMake version."""
    p = _project()
    lines = ["Metadata-Version: 2.1", f"Name: {p['name']}", f"Version: {_version()}", f"Summary: {p['description']}",
             f"License: {p['license']['text']}", f"Requires-Python: {p['requires-python']}"]
    lines += [f"Classifier: {c}" for c in p.get("classifiers", [])]
    lines += [f"Requires-Dist: {d}" for d in p.get("dependencies", [])]
    for extra, needs in p.get("optional-dependencies", {}).items():
        lines.append(f"Provides-Extra: {extra}")
        lines += [f'Requires-Dist: {d}; extra == "{extra}"' for d in needs]
    lines += ["License-File: LICENSE", "License-File: NOTICE", "Description-Content-Type: text/markdown", ""]
    with open(os.path.join(ROOT, p["readme"]), encoding="utf-8") as f:
        lines.append(f.read())
    return "\n".join(lines)


def _tag() -> str:
    """cpXY-cpXY-platform of the running interpreter."""
    interpreter = f"cp{sys.version_info.major}{sys.version_info.minor}"
    abi = interpreter + getattr(sys, "abiflags", "")
    platform = re.sub(r"[-.]", "_", sysconfig.get_platform())
    return f"{interpreter}-{abi}-{platform}"


def _setting(config_settings, key, default):
    return (config_settings or {}).get(key) or default


def _build_extension(config_settings) -> str:
    """Configures and builds the extension; returns the built package directory."""
    build = os.path.abspath(_setting(config_settings, "build-dir", os.path.join(ROOT, "build", f"pip-{_tag()}")))
    configure = ["cmake", "-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release", "-DFENXI_BUILD_TESTS=OFF",
                 "-DFENXI_BUILD_CLI=OFF", "-DFENXI_BUILD_PYTHON=ON", f"-DPython3_EXECUTABLE={sys.executable}"]
    if shutil.which("ninja"):
        configure += ["-G", "Ninja"]
    try:  # pybind11 from the build environment (an isolated build) rather than the system's
        import pybind11
        configure.append(f"-Dpybind11_DIR={pybind11.get_cmake_dir()}")
    except ImportError:
        pass
    if not os.path.exists(os.path.join(build, "CMakeCache.txt")):
        subprocess.run(configure, check=True)
    jobs = str(_setting(config_settings, "jobs", os.cpu_count() or 1))
    subprocess.run(["cmake", "--build", build, "--target", "_fenxi", "-j", jobs], check=True)
    return os.path.join(build, "python", NAME)


def _record_line(path: str, data: bytes) -> str:
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return f"{path},sha256={digest},{len(data)}"


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    package = _build_extension(config_settings)
    version, tag = _version(), _tag()
    name = f"{NAME}-{version}-{tag}.whl"
    info = f"{NAME}-{version}.dist-info"
    files = []
    for base, _, names in os.walk(package):
        for n in sorted(names):
            if n.endswith((".pyc",)) or "__pycache__" in base:
                continue
            full = os.path.join(base, n)
            files.append((os.path.join(NAME, os.path.relpath(full, package)).replace(os.sep, "/"), full))
    entries = []
    with open(os.path.join(wheel_directory, name), "wb") as out, zipfile.ZipFile(out, "w", zipfile.ZIP_DEFLATED) as z:
        def add(path, data):
            z.writestr(zipfile.ZipInfo(path, date_time=(2020, 1, 1, 0, 0, 0)), data, zipfile.ZIP_DEFLATED)
            entries.append(_record_line(path, data))

        for arcname, full in sorted(files):
            with open(full, "rb") as f:
                data = f.read()
            info_ = zipfile.ZipInfo(arcname, date_time=(2020, 1, 1, 0, 0, 0))
            info_.external_attr = (0o755 if arcname.endswith((".so", ".pyd")) else 0o644) << 16
            z.writestr(info_, data, zipfile.ZIP_DEFLATED)
            entries.append(_record_line(arcname, data))
        add(f"{info}/METADATA", _metadata().encode())
        add(f"{info}/WHEEL", f"Wheel-Version: 1.0\nGenerator: fenxi_backend\nRoot-Is-Purelib: false\nTag: {tag}\n".encode())
        for licence in ("LICENSE", "NOTICE"):
            with open(os.path.join(ROOT, licence), "rb") as f:
                add(f"{info}/licenses/{licence}", f.read())
        entries.append(f"{info}/RECORD,,")
        z.writestr(zipfile.ZipInfo(f"{info}/RECORD", date_time=(2020, 1, 1, 0, 0, 0)), "\n".join(entries) + "\n")
    return name


def _sources() -> list:
    """The files of the source tree: git's list where there is one, else a walk without build outputs."""
    try:
        listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, capture_output=True).stdout
        return sorted(p for p in listed.decode().split("\0") if p and os.path.isfile(os.path.join(ROOT, p)))
    except (OSError, subprocess.CalledProcessError):
        out = []
        for base, dirs, names in os.walk(ROOT):
            dirs[:] = [d for d in dirs if d not in ("build", "node_modules", ".git", "dist", "__pycache__")]
            out += [os.path.relpath(os.path.join(base, n), ROOT) for n in names]
        return sorted(out)


def build_sdist(sdist_directory, config_settings=None):
    version = _version()
    top = f"{NAME}-{version}"
    name = f"{top}.tar.gz"
    with tarfile.open(os.path.join(sdist_directory, name), "w:gz", format=tarfile.PAX_FORMAT) as tar:
        for path in _sources():
            tar.add(os.path.join(ROOT, path), arcname=f"{top}/{path}", recursive=False)
        data = _metadata().encode()
        member = tarfile.TarInfo(f"{top}/PKG-INFO")
        member.size = len(data)
        tar.addfile(member, io.BytesIO(data))
    return name


def get_requires_for_build_wheel(config_settings=None):
    return []


def get_requires_for_build_sdist(config_settings=None):
    return []


def prepare_metadata_for_build_wheel(metadata_directory, config_settings=None):
    info = os.path.join(metadata_directory, f"{NAME}-{_version()}.dist-info")
    os.makedirs(info, exist_ok=True)
    with open(os.path.join(info, "METADATA"), "w", encoding="utf-8") as f:
        f.write(_metadata())
    return os.path.basename(info)
