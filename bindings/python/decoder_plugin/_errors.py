"""Why a call failed."""

from __future__ import annotations

from enum import IntEnum


class DecoderError(Exception):
    """A call of the plug-in gave 0. ``failure`` tells what kind it was, the text is the plug-in's own."""

    def __init__(self, message: str, failure: "Failure") -> None:
        super().__init__(message)
        self.failure = failure


class Cancelled(DecoderError):
    """The quit event came while the call waited."""


class Failure(IntEnum):
    """The kinds of failure, with the plug-in's numbers. One that this list lacks is taken as OTHER."""

    NONE = 0
    OTHER = 1
    INVALID_ARGUMENT = 2
    NOT_SUPPORTED = 3
    NOT_OPEN = 4
    ABORTED = 5
    OUT_OF_MEMORY = 6
    NO_RESOURCES = 7
    QUIT_EVENT = 8
    WORKER_MISSING = 16
    WORKER_NOT_STARTED = 17
    FILE_NOT_FOUND = 32
    NO_ACCESS = 33
    NOT_OPENED = 34
    NOT_DECODABLE = 35
    NO_SUCH_STREAM = 36
    READ_FAILED = 37
    TAG_UNREADABLE = 48
    TAG_NOT_WRITABLE = 49
    DISK_FULL = 50

    @classmethod
    def _missing_(cls, value: object) -> "Failure":
        return cls.OTHER
