import os
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

PACKAGE = Path(__file__).parents[1]


def test_pip_installs_it_from_the_tree(tmp_path):
    """With its marker for type checkers, and usable where nothing of the tree is in reach."""
    source = shutil.copytree(PACKAGE, tmp_path / "source", ignore=shutil.ignore_patterns("tests"))  # pip builds in there
    target = tmp_path / "installed"
    offline = ["--no-build-isolation", "--no-deps", "--no-index", "--disable-pip-version-check", "--root-user-action=ignore"]
    subprocess.run([sys.executable, "-m", "pip", "install", "-q", *offline, "--target", target, source], check=True)
    shutil.rmtree(source)
    code = "import decoder_plugin; print(decoder_plugin.__file__, decoder_plugin.Plugin().version)"
    environment = {**os.environ, "PYTHONPATH": str(target)}
    shown = subprocess.run([sys.executable, "-c", code], cwd=tmp_path, env=environment, check=True, text=True, stdout=subprocess.PIPE)
    file, version = shown.stdout.split()
    assert Path(file) == target / "decoder_plugin/__init__.py"
    assert (target / "decoder_plugin/py.typed").exists()
    assert (target / f"decoder_plugin-{version}.dist-info").is_dir()


@pytest.mark.parametrize("platform", ["linux", "win32"])
def test_its_types_are_whole(tmp_path, platform):
    checked = [PACKAGE / "decoder_plugin", PACKAGE.parents[1] / "examples/python/convert.py"]
    options = ["--strict", "--platform", platform, "--cache-dir", tmp_path]
    subprocess.run([sys.executable, "-m", "mypy", *options, *checked], cwd=PACKAGE, check=True)
