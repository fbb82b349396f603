"""The loaded plug-in and its decoders."""

from __future__ import annotations

import ctypes
import os
import sys
from collections.abc import Iterable, Iterator
from pathlib import Path
from typing import Optional, Union

from . import _records
from ._errors import Cancelled, DecoderError, Failure
from ._quit_event import QuitEvent
from ._records import text_at, wide
from ._sound import Block, Format, SourceStream
from ._tags import Tags, Values

_PathLike = Union[str, "os.PathLike[str]"]


def _find_plugin() -> Path:
    named = os.environ.get("DECODER_PLUGIN")
    if named:
        return Path(named)
    for prefix in (sys.prefix, "/usr/local", "/usr"):
        path = Path(prefix) / "lib/decoder-ffmpeg/decoders/decoder_ffmpeg.so"
        if path.exists():
            return path
    raise FileNotFoundError("no plug-in is installed; name it by Plugin(path) or the variable DECODER_PLUGIN")


class Plugin:
    """The shared library. It stays loaded as long as the process lives; one object serves any number of threads.

    ``path`` is the library's; without one it is what the environment variable DECODER_PLUGIN names, or the installed
    one. OSError when it can't be loaded, AttributeError when it lacks one of the nine functions.
    """

    def __init__(self, path: Optional[_PathLike] = None) -> None:
        self.path = Path(path if path is not None else _find_plugin()).absolute()
        self._library = ctypes.CDLL(str(self.path))
        for name, (result, arguments) in _records.FUNCTIONS.items():
            function = getattr(self._library, name)
            function.restype = result
            function.argtypes = arguments

    @property
    def version(self) -> Optional[str]:
        """As "MAJOR.MINOR.PATCH"; None for a plug-in without extensions."""
        with Decoder(self) as decoder:
            return decoder._get("Version")[0]

    @property
    def extensions(self) -> dict[str, str]:
        """What a host should hand to this plug-in: extension (".tta") and description. It reads far more."""
        with Decoder(self) as decoder:
            return dict(decoder._rows("Decodes"))

    def can_tag(self, path: _PathLike) -> bool:
        """Whether files of this extension can be tagged."""
        with Decoder(self) as decoder:
            text = wide(os.fspath(path))
            param = _records.Param(text=ctypes.addressof(text))
            return decoder._call("Get", wide("CanWriteIDTags"), param) == 1 and param.value == 1

    def open(self, source: _PathLike, **options: object) -> "Decoder":
        """A decoder that has opened ``source``; the options are those of Decoder and Decoder.open."""
        made = {key: options.pop(key) for key in ("quit_event",) if key in options}
        decoder = Decoder(self, **made)  # type: ignore[arg-type]
        try:
            decoder.open(source, **options)  # type: ignore[arg-type]
        except BaseException:
            decoder.close()
            raise
        return decoder

    def read_tags(self, path: _PathLike) -> Tags:
        with self.open(path) as decoder:
            return decoder.tags

    def write_tags(self, path: _PathLike, tags: Union[Tags, Values]) -> None:
        """Writes these names and pictures into the file and leaves all others as they are. DecoderError when the file
        couldn't be changed."""
        blob = (tags if isinstance(tags, Tags) else Tags(tags)).to_blob()
        with Decoder(self) as decoder:
            text = wide(os.fspath(path))
            data = ctypes.create_string_buffer(blob, len(blob))
            param = _records.Param(text=ctypes.addressof(text), data=ctypes.addressof(data), value=len(blob))
            decoder._check(decoder._call("Set", wide("IDTags"), param), f"{path}: the tags can't be written")

    def delete_tags(self, path: _PathLike, names: Optional[Iterable[str]] = None) -> None:
        """Deletes these names (a picture by its key), or without names every tag of the file."""
        listed = None if names is None else wide("".join(name + "\0" for name in names))
        with Decoder(self) as decoder:
            result = decoder._call("DeleteATag", wide(os.fspath(path)), listed)
            decoder._check(result, f"{path}: the tags can't be deleted")


class Decoder:
    """One run through a file or URL. Belongs to one thread at a time; iterating gives the blocks up to the end.

    ``quit_event`` ends every wait with Cancelled while it is set.
    """

    format: Format
    tags: Tags  # of the file, as far as the plug-in or its worker knows them
    info: Tags  # about the streams: "Encoder", "ID Tag"

    def __init__(self, plugin: Plugin, quit_event: Optional[QuitEvent] = None) -> None:
        self._plugin = plugin
        self._record = _records.BlockInfo()
        self._decoder: Optional[int] = plugin._library.Create(ctypes.byref(_records.CreateInfo()))
        if not self._decoder:
            raise MemoryError("no memory for a decoder")
        if quit_event is not None:
            self._set("EventQuit", text=quit_event.name)

    def open(
        self,
        source: _PathLike,
        *,
        tags: bool = True,
        sample_format: Optional[str] = None,
        audio_stream: Optional[int] = None,
    ) -> None:
        """Opens a path or URL; waits until the worker has delivered the format.

        ``sample_format`` is one of "s16", "s24", "s32", "f32", "f64" and "source" (as deep as the source); without it
        samples have 16 bits. ``audio_stream`` counts from 0. DecoderError tells why it failed.
        """
        if sample_format is not None:
            self._set("SampleFormat", text=sample_format)
        if audio_stream is not None:
            self._set("AudioStream", value=audio_stream)
        path = wide(os.fspath(source))
        flags = _records.OPEN_TAGS | _records.OPEN_INFO if tags else 0
        record = _records.OpenInfo(path=ctypes.addressof(path), flags=flags)
        self._check(self._call("Open", record), f"{source} can't be opened")
        self.format = Format._from_record(record.format)
        self.tags = Tags.from_blob(ctypes.string_at(record.tags, record.tags_size) if record.tags else b"")
        self.info = Tags.from_blob(ctypes.string_at(record.info, record.info_size) if record.info else b"")

    def read_block(self) -> Optional[Block]:
        """The next block, None at the end."""
        record = self._record
        self._check(self._call("DecodeBlock", record), "decoding broke off")
        if record.bytes == 0:
            return None
        samples = (ctypes.c_uint8 * record.bytes).from_address(record.samples)
        return Block(memoryview(samples).cast("B"), self.format)

    def __iter__(self) -> Iterator[Block]:
        block = self.read_block()
        while block is not None:
            yield block
            block = self.read_block()

    def seek(self, frame: int) -> None:
        """Goes on from this frame, counted from the beginning."""
        self._check(self._call("SetPosition", frame), "the position can't be set")

    @property
    def source_streams(self) -> list[SourceStream]:
        """The audio streams of the file that was opened last, in its order, which ``audio_stream`` counts. Empty for a
        plug-in that can't tell, and after an open that failed."""
        return [SourceStream(codec, details) for codec, details in self._rows("SourceStream")]

    @property
    def duration_estimated(self) -> Optional[bool]:
        """Whether ``format.duration`` is the worker's guess, so that far less or more may decode without anything being
        wrong. None for a plug-in that can't tell, and after an open that failed."""
        param = _records.Param()
        return param.value == 1 if self._call("Get", wide("DurationEstimated"), param) == 1 else None

    @property
    def worker_exit(self) -> Optional[int]:
        """At the end of the stream: 0 when the worker was content with the file, another number when the file or the
        worker broke, None when it can't be known. What came is then shorter than the file promised."""
        param = _records.Param()
        return param.value if self._call("Get", wide("WorkerExit"), param) == 1 else None

    @property
    def worker_messages(self) -> str:
        """The worker's last words on its errors; empty when it had none."""
        return self._get("WorkerMessages")[0] or ""

    def close(self) -> None:
        if self._decoder:
            self._plugin._library.Destroy(self._decoder)
            self._decoder = None

    def __enter__(self) -> "Decoder":
        return self

    def __exit__(self, *exception: object) -> None:
        self.close()

    def __del__(self) -> None:
        if getattr(self, "_decoder", None):
            self.close()

    def _call(self, name: str, *arguments: object) -> int:
        if not self._decoder:
            raise ValueError("the decoder is closed")
        result: int = getattr(self._plugin._library, name)(self._decoder, *arguments)
        return result

    def _check(self, result: int, what: str) -> None:
        if result == 1:
            return
        text, number = self._get("LastFailure")
        failure = Failure(number) if text else Failure.OTHER
        kind = Cancelled if failure is Failure.ABORTED else DecoderError
        raise kind(f"{what}: {text}" if text else what, failure)

    def _get(self, key: str, index: int = 0) -> tuple[Optional[str], int]:
        param = _records.Param(index=index)
        if self._call("Get", wide(key), param) != 1:
            return None, 0
        return text_at(param.text), param.value

    def _rows(self, key: str) -> Iterator[tuple[str, str]]:
        param = _records.Param()
        while self._call("Get", wide(key), param) == 1:
            yield text_at(param.text) or "", text_at(param.text2) or ""
            param.index += 1

    def _set(self, key: str, text: Optional[str] = None, value: int = 0) -> None:
        buffer = wide(text) if text is not None else None
        param = _records.Param(value=value, text=ctypes.addressof(buffer) if buffer is not None else None)
        self._check(self._call("Set", wide(key), param), f"{key} {text if text is not None else value}")
