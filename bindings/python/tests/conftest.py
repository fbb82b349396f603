import os
import subprocess

import pytest

from decoder_plugin import Plugin


@pytest.fixture(scope="session")
def plugin():
    return Plugin(os.environ["DECODER_PLUGIN"])


@pytest.fixture
def make_file(tmp_path):
    """make_file(name, *ffmpeg arguments): a second of a tone under that name."""

    def make(name, *arguments, source="sine=frequency=440:duration=1"):
        path = tmp_path / name
        subprocess.run(
            ["ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i", source, *arguments, str(path)], check=True
        )
        return path

    return make
