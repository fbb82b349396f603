"""The records of the nine functions, field for field as in decoder_plugin.h: packed, little-endian."""

from __future__ import annotations

import ctypes
from typing import Optional


class _Packed(ctypes.LittleEndianStructure):
    _pack_ = 1


class CreateInfo(_Packed):
    _fields_ = [("error_log", ctypes.c_uint64), ("reserved", ctypes.c_uint64), ("trace_log", ctypes.c_uint64)]


class Param(_Packed):
    _fields_ = [
        ("index", ctypes.c_uint32),
        ("value", ctypes.c_int32),
        ("untouched8", ctypes.c_uint8 * 16),
        ("text", ctypes.c_void_p),
        ("text2", ctypes.c_void_p),
        ("untouched40", ctypes.c_uint8 * 8),
        ("data", ctypes.c_void_p),
    ]


class WaveFormat(_Packed):
    _fields_ = [
        ("format_tag", ctypes.c_uint16),
        ("channels", ctypes.c_uint16),
        ("samples_per_second", ctypes.c_uint32),
        ("average_bytes_per_second", ctypes.c_uint32),
        ("block_align", ctypes.c_uint16),
        ("bits_per_sample", ctypes.c_uint16),
        ("extra_size", ctypes.c_uint16),
        ("valid_bits_per_sample", ctypes.c_uint16),
        ("channel_mask", ctypes.c_uint32),
        ("sub_format", ctypes.c_uint8 * 16),
    ]


class DecoderFormat(_Packed):
    _fields_ = [
        ("wave", WaveFormat),
        ("bitrate", ctypes.c_uint32),
        ("duration_ms", ctypes.c_int64),
        ("reserved", ctypes.c_uint8 * 12),
    ]


class OpenInfo(_Packed):
    _fields_ = [
        ("path", ctypes.c_void_p),
        ("flags", ctypes.c_uint32),
        ("format", DecoderFormat),
        ("reserved", ctypes.c_uint32),
        ("tags", ctypes.c_void_p),
        ("tags_size", ctypes.c_uint32),
        ("info", ctypes.c_void_p),
        ("info_size", ctypes.c_uint32),
    ]


class BlockInfo(_Packed):
    _fields_ = [
        ("samples", ctypes.c_void_p),
        ("bytes", ctypes.c_uint32),
        ("format", DecoderFormat),
        ("reserved", ctypes.c_uint32),
        ("position", ctypes.c_uint64),
        ("end_of_stream", ctypes.c_int32),
    ]


OPEN_TAGS = 0x08
OPEN_INFO = 0x10

# Name: (result, arguments).
FUNCTIONS = {
    "Create": (ctypes.c_void_p, [ctypes.POINTER(CreateInfo)]),
    "Destroy": (ctypes.c_int64, [ctypes.c_void_p]),
    "Get": (ctypes.c_int64, [ctypes.c_void_p, ctypes.c_void_p, ctypes.POINTER(Param)]),
    "Set": (ctypes.c_int64, [ctypes.c_void_p, ctypes.c_void_p, ctypes.POINTER(Param)]),
    "Open": (ctypes.c_int64, [ctypes.c_void_p, ctypes.POINTER(OpenInfo)]),
    "Close": (ctypes.c_int64, [ctypes.c_void_p]),
    "DecodeBlock": (ctypes.c_int64, [ctypes.c_void_p, ctypes.POINTER(BlockInfo)]),
    "SetPosition": (ctypes.c_int64, [ctypes.c_void_p, ctypes.c_int64]),
    "DeleteATag": (ctypes.c_int64, [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p]),
}


def wide(text: str) -> ctypes.Array[ctypes.c_char]:
    """NUL-terminated UTF-16LE, alive as long as what this gives."""
    return ctypes.create_string_buffer(text.encode("utf-16-le", "surrogatepass") + b"\0\0")


def text_at(address: Optional[int]) -> Optional[str]:
    if not address:
        return None
    units = ctypes.cast(address, ctypes.POINTER(ctypes.c_uint16))
    length = 0
    while units[length]:
        length += 1
    return ctypes.string_at(address, 2 * length).decode("utf-16-le", "surrogatepass")
