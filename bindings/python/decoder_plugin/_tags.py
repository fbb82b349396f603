"""Tags as a mapping from names to values, and their flat form at the plug-in's border."""

from __future__ import annotations

import struct
from collections.abc import Iterable, Iterator, Mapping, MutableMapping
from dataclasses import dataclass
from typing import Union

_SEPARATOR = "\r"  # between several values of one name
_PICTURE = "_albumart_"

Value = Union[str, Iterable[str]]
Values = Union[Mapping[str, Value], Iterable[tuple[str, Value]]]


@dataclass(frozen=True)
class Picture:
    """One picture of a file: ``data`` holds the bytes of an image file, ``key`` the plug-in's name for it.

    A key has the form ``_albumart_NUMBER_TYPE``, with the description behind a slash in the type where there is
    one; ``Picture.front(data)`` makes the usual one.
    """

    key: str
    data: bytes

    @classmethod
    def front(cls, data: bytes) -> "Picture":
        return cls("_albumart_1_Front Album Cover", data)

    @classmethod
    def back(cls, data: bytes) -> "Picture":
        return cls("_albumart_1_Back Album Cover", data)

    @property
    def type(self) -> str:
        """What the picture shows, as the plug-in names it: "Front Album Cover"."""
        return self.key[len(_PICTURE) :].partition("_")[2]


class Tags(MutableMapping[str, str]):
    """Names, in the case that the file gives them and compared without ASCII case, with one or more values.

    ``tags["Artist"]`` is the first value, ``tags.all("Artist")`` the list of them; a list may be assigned.
    ``tags.pictures`` are the covers. Names that begin with an underscore are the plug-in's own and don't show in
    the mapping.
    """

    def __init__(self, values: Values = (), pictures: Iterable[Picture] = ()) -> None:
        self._values: dict[str, tuple[str, list[str]]] = {}
        self.pictures: list[Picture] = list(pictures)
        for name, value in values.items() if isinstance(values, Mapping) else values:
            self[name] = value

    @staticmethod
    def _fold(name: str) -> str:
        return "".join(chr(ord(c) + 32) if "A" <= c <= "Z" else c for c in name)

    def __getitem__(self, name: str) -> str:
        return self.all(name)[0]

    def all(self, name: str) -> list[str]:
        """All values of the name, in their order. KeyError when there is none."""
        try:
            return self._values[self._fold(name)][1]
        except KeyError:
            raise KeyError(name) from None

    def __setitem__(self, name: str, value: Value) -> None:
        values = [value] if isinstance(value, str) else list(value)
        if not name or "\0" in name or any("\0" in text for text in values):
            raise ValueError("a tag's name isn't empty, and neither name nor value holds a NUL")
        self._values[self._fold(name)] = (name, values or [""])

    def __delitem__(self, name: str) -> None:
        del self._values[self._fold(name)]

    def __iter__(self) -> Iterator[str]:
        return (name for name, _ in self._values.values())

    def __len__(self) -> int:
        return len(self._values)

    def __repr__(self) -> str:
        shown = {name: values[0] if len(values) == 1 else values for name, values in self._values.values()}
        return f"Tags({shown!r}, {len(self.pictures)} pictures)"

    @classmethod
    def from_blob(cls, blob: bytes) -> "Tags":
        """Reads the flat form; what isn't whole at its end is left out."""
        tags = cls()
        for name, value, data in _entries(blob):
            if name.startswith(_PICTURE):
                tags.pictures.append(Picture(name, data))
            elif name and not name.startswith("_"):
                values = value.split(_SEPARATOR)
                if name in tags:
                    tags.all(name).extend(values)
                else:
                    tags[name] = values
        return tags

    def to_blob(self) -> bytes:
        """The flat form: little-endian, texts in UTF-16, an entry's length counted with its own four bytes."""
        entries = [(name, _SEPARATOR.join(values), b"") for name, values in self._values.values()]
        entries += [(picture.key, "", picture.data) for picture in self.pictures]
        blob = [struct.pack("<I", len(entries))]
        for name, value, data in entries:
            body = (name + "\0" + value + "\0").encode("utf-16-le", "surrogatepass") + data
            blob.append(struct.pack("<I", 4 + len(body)) + body)
        return b"".join(blob)


def _entries(blob: bytes) -> Iterator[tuple[str, str, bytes]]:
    if len(blob) < 4:
        return
    (count,) = struct.unpack_from("<I", blob)
    at = 4
    for _ in range(count):
        if len(blob) - at < 4:
            return
        (length,) = struct.unpack_from("<I", blob, at)
        if length < 8 or length > len(blob) - at:
            return
        body = blob[at + 4 : at + length]
        texts = []
        for _ in range(2):
            end = _terminator(body)
            if end < 0:
                return
            texts.append(body[:end].decode("utf-16-le", "surrogatepass"))
            body = body[end + 2 :]
        yield texts[0], texts[1], body
        at += length


def _terminator(body: bytes) -> int:
    end = body.find(b"\0\0")
    while end >= 0 and end % 2:
        end = body.find(b"\0\0", end + 1)
    return end
