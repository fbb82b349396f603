#!/usr/bin/env python3
"""convert.py INPUT OUTPUT.wav: decodes a file as deep as it is, shows its tags, and stops cleanly on Ctrl-C."""

import signal
import sys
import wave

from decoder_plugin import Cancelled, DecoderError, Plugin, QuitEvent


# [convert]
def convert(source: str, target: str) -> None:
    with QuitEvent() as event:
        signal.signal(signal.SIGINT, lambda *_: event.set())
        with Plugin().open(source, quit_event=event, sample_format="source") as decoder:
            for name in decoder.tags:
                print(f"{name}: {'; '.join(decoder.tags.all(name))}")
            if decoder.format.is_float:  # Python's wave module knows integers only
                decoder.open(source, sample_format="s24")
            with wave.open(target, "wb") as output:
                output.setnchannels(decoder.format.channels)
                output.setsampwidth(decoder.format.bits // 8)
                output.setframerate(decoder.format.sample_rate)
                for block in decoder:
                    output.writeframes(block.samples)
            if decoder.worker_exit not in (0, None):
                raise SystemExit(f"{source} is damaged: {decoder.worker_messages.strip()}")
# [convert]


if __name__ == "__main__":
    if len(sys.argv) != 3:
        raise SystemExit("usage: convert.py INPUT OUTPUT.wav")
    try:
        convert(*sys.argv[1:])
    except Cancelled:
        raise SystemExit("broken off")
    except DecoderError as error:
        raise SystemExit(str(error))
