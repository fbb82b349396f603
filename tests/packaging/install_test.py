#!/usr/bin/env python3
"""install_test.py BUILD CXX: installs the build into a staging folder, moves the tree elsewhere, and uses it there as a
person with files and as the build of a host do."""

import os
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.append(str(Path(__file__).parents[1] / "documents"))
import links

BUILD, CXX = sys.argv[1:]

CONSUMER = """
cmake_minimum_required(VERSION 3.16)
project(consumer CXX)
find_package(decoder_plugin %s REQUIRED)
file(WRITE ${CMAKE_BINARY_DIR}/plugin-path "${decoder_plugin_PLUGIN}")
add_executable(host host.cpp)
target_link_libraries(host PRIVATE decoder_plugin::header)
"""
HOST = """
#include <decoder_plugin.hpp>
#include <cstdio>
int main(int, char** arguments) {
    decoder_plugin::Plugin plugin{std::filesystem::path(arguments[1])};
    decoder_plugin::Decoder decoder(plugin);
    decoder.Open(arguments[2], DECODER_OPEN_TAGS);
}
"""


def run(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, **options).stdout


with tempfile.TemporaryDirectory() as folder:
    folder = Path(folder)
    run("cmake", "--install", BUILD, "--prefix", "/opt/audio", env={**os.environ, "DESTDIR": str(folder / "stage")})
    prefix = folder / "moved here" / "audio"
    prefix.parent.mkdir()
    (folder / "stage/opt/audio").rename(prefix)
    assert list((folder / "stage").rglob("*")) == [folder / "stage/opt"], "something lies outside the prefix"
    worker = prefix / "lib/decoder-ffmpeg/ffmpeg-lgpl.exe"
    assert worker.is_symlink()

    run(prefix / "bin/decoder-host", "doctor", cwd="/")
    for file in ("man/man1/decoder-host.1.gz", "man/man1/decoder-host-decode.1.gz",
                 "bash-completion/completions/decoder-host", "zsh/site-functions/_decoder-host",
                 "fish/vendor_completions.d/decoder-host.fish"):  # fmt: skip
        assert (prefix / "share" / file).is_file(), file

    documents = list((prefix / "share/doc/decoder-ffmpeg").rglob("*.md"))
    assert len(documents) > 10, documents
    broken = [f"{document.name}: {fault}" for document in documents for _, fault in links.broken_links(document)]
    assert not broken, "\n".join(broken)

    song = folder / "tone.tta"
    run("ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i", "sine=duration=1", "-metadata", "title=A tone", song)
    shown = run(prefix / "bin/decoder-host", "info", "--json", song, cwd="/")
    assert "A tone" in shown, shown

    (folder / "CMakeLists.txt").write_text(CONSUMER % "0.2")
    (folder / "host.cpp").write_text(HOST)
    run("cmake", "-S", folder, "-B", folder / "build", f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCMAKE_CXX_COMPILER={CXX}")
    run("cmake", "--build", folder / "build")
    plugin = (folder / "build/plugin-path").read_text()
    assert Path(plugin).samefile(prefix / "lib/decoder-ffmpeg/decoders/decoder_ffmpeg.so"), plugin
    run(folder / "build/host", plugin, song)

    pkg = {**os.environ, "PKG_CONFIG_PATH": str(prefix / "share/pkgconfig")}
    told = run("pkg-config", "--variable=plugin_path", "decoder_plugin", env=pkg).strip().replace("\\ ", " ")
    assert Path(told).samefile(plugin), told
    flags = run("pkg-config", "--cflags", "decoder_plugin", env=pkg).strip().replace("\\ ", " ")
    assert Path(flags.removeprefix("-I")).samefile(prefix / "include"), flags
print("installed, moved, found and used")
