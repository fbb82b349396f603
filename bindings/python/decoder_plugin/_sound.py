"""What a stream holds, what it was made from, and one piece of it."""

from __future__ import annotations

from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Optional

from ._records import DecoderFormat

if TYPE_CHECKING:
    import numpy.typing

_FLOAT = 3
_EXTENSIBLE = 0xFFFE


@dataclass(frozen=True)
class Format:
    """How samples lie in a block: frames of ``channels`` samples, little-endian."""

    sample_rate: int  # frames per second
    channels: int
    bits: int  # of one sample
    is_float: bool
    frame_bytes: int
    channel_mask: int  # a bit for each loudspeaker as in WAVEFORMATEXTENSIBLE; 0 unknown
    bitrate: int  # of the source, in bits per second; 0 unknown
    duration: Optional[float]  # of the source, in seconds; None unknown

    @classmethod
    def _from_record(cls, record: DecoderFormat) -> "Format":
        wave = record.wave
        extensible = wave.format_tag == _EXTENSIBLE and wave.extra_size >= 22
        tag = int.from_bytes(bytes(wave.sub_format[:2]), "little") if extensible else wave.format_tag
        return cls(
            sample_rate=wave.samples_per_second,
            channels=wave.channels,
            bits=wave.bits_per_sample,
            is_float=tag == _FLOAT,
            frame_bytes=wave.block_align,
            channel_mask=wave.channel_mask if extensible else 0,
            bitrate=record.bitrate,
            duration=record.duration_ms / 1000 if record.duration_ms > 0 else None,
        )


@dataclass(frozen=True)
class SourceStream:
    """An audio stream as it lies in the file, in the worker's words."""

    codec: str  # "flac"
    details: str  # "96000 Hz, stereo, s32 (24 bit)"


class Block:
    """Up to 4096 frames. ``samples`` shows the decoder's own memory and holds these samples until the next block
    is asked for; ``bytes(block)`` and ``block.to_numpy()`` are copies that stay."""

    def __init__(self, samples: memoryview, format: Format) -> None:
        self.samples = samples
        self.format = format

    def __bytes__(self) -> bytes:
        return bytes(self.samples)

    def __len__(self) -> int:
        """Frames."""
        return self.samples.nbytes // self.format.frame_bytes

    def to_numpy(self) -> numpy.typing.NDArray[Any]:
        """Shape (frames, channels): float32 or float64 as they are, integers of 8, 16 and 32 bits likewise, those of
        24 bits as int32 with the same values. Needs NumPy; ValueError for other formats."""
        import numpy

        shape = (-1, self.format.channels)
        kind = ("f" if self.format.is_float else "i", self.format.bits)
        if kind == ("i", 8):
            return numpy.frombuffer(self.samples, "u1").reshape(shape).copy()
        if kind == ("i", 24):
            triples = numpy.frombuffer(self.samples, "u1").reshape(-1, 3)
            wide = numpy.zeros((len(triples), 4), "u1")
            wide[:, 1:] = triples
            return (wide.view("<i4") >> 8).reshape(shape)
        if kind not in (("i", 16), ("i", 32), ("f", 32), ("f", 64)):
            raise ValueError(f"samples of {self.format.bits} bits have no type of NumPy")
        return numpy.frombuffer(self.samples, f"<{kind[0]}{kind[1] // 8}").reshape(shape).copy()
