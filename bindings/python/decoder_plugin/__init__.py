"""Decode and tag audio files through the decoder plug-in ``decoder_ffmpeg``.

>>> from decoder_plugin import Plugin
>>> plugin = Plugin()                                   # doctest: +SKIP
>>> with plugin.open("song.tta") as song:               # doctest: +SKIP
...     print(song.format.sample_rate, song.tags["Title"])
...     for block in song:
...         play(block.samples)
"""

from ._errors import Cancelled, DecoderError, Failure
from ._plugin import Decoder, Plugin
from ._quit_event import QuitEvent
from ._sound import Block, Format, SourceStream
from ._tags import Picture, Tags

__all__ = [
    "Block",
    "Cancelled",
    "Decoder",
    "DecoderError",
    "Failure",
    "Format",
    "Picture",
    "Plugin",
    "QuitEvent",
    "SourceStream",
    "Tags",
]
