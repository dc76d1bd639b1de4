"""Packs the module into a wheel (PEP 517, PEP 427). A folder of plain Python needs no more, and so
`pip install` fetches nothing, wherever it runs."""

import base64
import hashlib
import pathlib
import re
import zipfile

HERE = pathlib.Path(__file__).resolve().parent


def _project(key):
    return re.search(rf'(?m)^{key} = "(.*)"$', (HERE / "pyproject.toml").read_text()).group(1)


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    name, version = _project("name"), _project("version")
    info = f"{name}-{version}.dist-info"
    files = {f"{name}/{path.name}": path.read_bytes() for path in sorted((HERE / name).iterdir())
             if path.is_file()}
    files[f"{info}/METADATA"] = (
        f"Metadata-Version: 2.1\nName: {name}\nVersion: {version}\n"
        f"Summary: {_project('description')}\nRequires-Python: {_project('requires-python')}\n"
        f"Description-Content-Type: text/markdown\n\n{(HERE / 'README.md').read_text()}").encode()
    files[f"{info}/WHEEL"] = (b"Wheel-Version: 1.0\nGenerator: wheel_of_sondex\n"
                              b"Root-Is-Purelib: true\nTag: py3-none-any\n")
    rows = []
    for path, data in files.items():
        digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
        rows.append(f"{path},sha256={digest},{len(data)}\n")
    files[f"{info}/RECORD"] = ("".join(rows) + f"{info}/RECORD,,\n").encode()
    wheel = f"{name}-{version}-py3-none-any.whl"
    with zipfile.ZipFile(pathlib.Path(wheel_directory, wheel), "w", zipfile.ZIP_DEFLATED) as packed:
        for path, data in files.items():
            packed.writestr(zipfile.ZipInfo(path), data)
    return wheel
