"""Pictures of sounds: what is drawn is where the axes say."""

import os
import re
import shutil
import signal
import subprocess
import threading
import xml.etree.ElementTree

import host_kit
from care import Care, contents, make
from host_kit import TIME_LIMIT, HostTest, ffmpeg

SVG = "{http://www.w3.org/2000/svg}"
# A second of a tone, a second of nothing.
TONE = ["-f", "lavfi", "-i", "aevalsrc=0.501*sin(2*PI*5000*t)*lt(t\\,1):d=2:s=44100"]


class Picture:
    """The pixels of a PNG file, as FFmpeg reads them."""

    def __init__(self, name, width=1600, height=900):
        self.width = width
        self.bytes = ffmpeg("-i", name, "-f", "rawvideo", "-pix_fmt", "rgb24", "-")
        assert len(self.bytes) == width * height * 3

    def colour(self, x, y):
        place = 3 * (y * self.width + x)
        return self.bytes[place : place + 3]

    def brightness(self, x, y):
        return sum(self.colour(x, y))


class Labels:
    """The places of the labels, which an SVG file tells."""

    def __init__(self, name):
        root = xml.etree.ElementTree.parse(name).getroot()
        assert root.tag == SVG + "svg"
        self.texts = [text.text for text in root.iter(SVG + "text")]
        self.places = {text.text: (int(text.get("x")), int(text.get("y")) - 5) for text in root.iter(SVG + "text")}
        image = root.find(SVG + "image")
        self.spectrogram = range(int(image.get("y")), int(image.get("y")) + int(image.get("height")))
        self.columns = range(int(image.get("x")), int(image.get("x")) + int(image.get("width")))
        self.strokes = [path.get("d") for path in root.iter(SVG + "path")]


class Waves(HostTest):
    setUp = Care.setUp

    def test_what_is_drawn_is_where_the_axes_say(self):
        for encoder in ("pcm_s16le", "pcm_s24le", "pcm_s32le", "pcm_f32le", "pcm_f64le"):
            with self.subTest(encoder):
                ffmpeg(*TONE, "-c:a", encoder, "tone.wav")
                line = self.json("wave", "tone.wav", "--force", "-o", "tone.png")
                self.assertAlmostEqual(line["peakDbfs"], -6, delta=0.1)
                self.assertAlmostEqual(line["rmsDbfs"], -12, delta=0.1)
                picture = Picture("tone.png")
                self.host("wave", "tone.wav", "--force", "-o", "tone.SVG")
                labels = Labels("tone.SVG")
                tone, silence = labels.places["0:00.400"][0], labels.places["0:01.600"][0]

                brightest = max(labels.spectrogram, key=lambda y: picture.brightness(tone, y))
                self.assertAlmostEqual(brightest, labels.places["5 kHz"][1], delta=3)
                scale = labels.places["-20"][0] - 20
                shown = picture.colour(tone, brightest)
                level = min(labels.spectrogram, key=lambda y: sum(
                    abs(a - b) for a, b in zip(picture.colour(scale, y), shown)))  # fmt: skip
                step = labels.places["-40"][1] - labels.places["-20"][1]
                self.assertAlmostEqual((labels.spectrogram[0] - level) / step * 20, -6, delta=2)
                self.assertLess(max(picture.brightness(silence, y) for y in labels.spectrogram), 20)

                wave = range(70, labels.spectrogram[0] - 20)
                high = [y for y in wave if picture.colour(tone, y)[2] > 150]
                self.assertAlmostEqual(high[0], labels.places["-6"][1], delta=1)
                self.assertAlmostEqual(high[0] + high[-1], 2 * labels.places["-inf"][1], delta=2)
                self.assertEqual([y for y in wave if picture.colour(silence, y)[2] > 150], [labels.places["-inf"][1]])

    def test_no_frequency_is_lost_or_made_up(self):
        """In small pictures, in sounds shorter than a window of the transform, at the highest frequency."""
        def sound(name, expression, rest):
            ffmpeg("-f", "lavfi", "-i", f"aevalsrc={expression}:s=44100:{rest}", "-c:a", "pcm_s16le", name)

        tones = range(3000, 18000, 3100)
        sound("tones.wav", "+".join(f"0.15*sin(2*PI*{tone}*t)" for tone in tones), "d=1")
        sound("short.wav", f"0.5*sin(2*PI*{tones[1]}*t)", "d=0.01")
        sound("highest.wav", "0.5*cos(PI*n)", "d=1")
        for name, frequencies, size in (("tones.wav", tones, "1600x900"), ("tones.wav", tones, "400x300"),
                                        ("short.wav", tones[1:2], "1600x900"), ("highest.wav", [22000], "1600x900")):  # fmt: skip
            with self.subTest(name, size=size):
                self.host("wave", name, "--force", "--size", size, "-o", "a.png")
                self.host("wave", name, "--force", "--size", size, "-o", "a.svg")
                rows, columns = Labels("a.svg").spectrogram, Labels("a.svg").columns
                picture = Picture("a.png", *map(int, size.split("x")))
                middle = columns[len(columns) // 2]
                for tone in frequencies:
                    place = rows[-1] - tone * len(rows) // 22050
                    near = [picture.brightness(middle, y) for y in range(place - 2, place + 3) if y in rows]
                    self.assertGreater(max(near), 400, tone)
                self.assertTrue(name == "short.wav" or picture.brightness(middle, rows[-1]) < 20)

    def test_an_svg_is_xml_with_its_labels(self):
        make("a &'b' é😀.tta" if not host_kit.OPTIONS.runner else "a &'b' é.tta", seconds=75)
        (name,) = os.listdir(".")
        self.host("wave", name, "-o", "a.svg", "--start", "5")
        texts = Labels("a.svg").texts
        self.assertEqual(texts[0], name)
        self.assertEqual(texts[1].split(", peak")[0], "1:10.000, PCM, 16 bits, 44100 Hz, 1 channel")
        for text in ("0:10", "1:10", "20 kHz", "0 dBFS", "-100"):
            self.assertIn(text, texts)
        minute = Labels("a.svg").places["1:10"][0] - Labels("a.svg").places["0:10"][0]
        self.assertAlmostEqual(minute, len(Labels("a.svg").columns) * 60 / 70, delta=2)

    def test_many_files_and_channels(self):
        os.mkdir("in")
        for channels in (1, 6, 10):
            tones = "|".join(f"0.5*sin({100 * number}*t)" for number in range(channels))
            ffmpeg("-f", "lavfi", "-i", f"aevalsrc={tones}:d=1", "-c:a", "pcm_s16le", f"in/{channels}.wav")
        names = [f"in/{channels}.wav" for channels in (1, 6, 10)]
        lines = self.json_lines("wave", *names, "--to", "out", "--svg", lines=1)
        self.assertEqual([line["status"] for line in lines.values()], ["done"] * 3)
        # A lane has strokes for peaks and for loudness; where lanes would be too many there is one.
        self.assertEqual([len(Labels(f"out/{channels}.svg").strokes) for channels in (1, 6, 10)], [2, 12, 2])
        rows = [[int(row) for row in re.findall(r"[ V](\d+)", lane)] for lane in Labels("out/6.svg").strokes[::2]]
        self.assertEqual([max(lane) - min(lane) > 10 for lane in rows], [False] + [True] * 5, "the first channel is silent")
        before = contents("out/1.svg")
        self.host("wave", "in/6.wav", "-o", "out/1.svg", code=1)
        self.assertEqual(contents("out/1.svg"), before)
        self.host("wave", "in/6.wav", "-o", "out/1.svg", "--force")
        self.assertNotEqual(contents("out/1.svg"), before)
        with open("small.png", "wb") as file:
            file.write(self.host("wave", "in/1.wav", "--size", "400x300", "-o", "-").stdout)
        Picture("small.png", 400, 300)
        shutil.copy("in/1.wav", "in.png")
        self.host("wave", "in.png", "--force", "-o", "in.png", code=1)
        self.assertEqual(contents("in.png"), contents("in/1.wav"))

    def test_no_picture_of_nothing(self):
        whole = make("a.flac", seconds=6)
        with open("cut.flac", "wb") as file:
            file.write(whole[: len(whole) // 2])
        with open("text.flac", "w") as file:
            file.write("no sound\n")
        before = sorted(os.listdir("."))
        for code, *arguments in (
            (1, "text.flac", "-o", "x.png"), (1, "a.flac", "--start", "9", "-o", "x.png"), (1, "a.flac", "-o", "no/x.png"),
            (2, "a.flac", "-o", "x.jpg"), (2, "a.flac", "-o", "x"), (2, "a.flac", "-o", "x.png", "--svg"),
            (2, "a.flac", "--size", "400", "-o", "x.png"), (2, "a.flac", "--size", "399x300", "-o", "x.png"),
            (2, "a.flac", "--size", "400x300x", "-o", "x.png"), (2, "a.flac", "--size", "99999x900", "-o", "x.png"),
        ):  # fmt: skip
            with self.subTest(arguments):
                self.host("wave", *arguments, code=code)
                self.assert_nothing_left(before)
        # What came of a file that is cut is shown.
        self.assertIn(b"of 0:06.000 came", self.host("wave", "cut.flac", "-o", "cut.png", code=4).stderr)
        Picture("cut.png")

    def test_text_where_there_is_no_terminal(self):
        ffmpeg(*TONE, "-sample_fmt", "s16", "a.tta")
        first, *rows, times = self.host("wave", "a.tta").stdout.decode().splitlines()
        self.assertRegex(first, r"\Aa\.tta: 0:02\.000, PCM, 16 bits, .*peak -6\.0 dBFS, RMS -12\.0 dBFS\Z")
        self.assertEqual([set(row[:39]) for row in rows], [{" "}, {" "}, {"#"}, {"#"}, {"#"}])
        self.assertEqual({len(row) for row in rows}, {79})
        self.assertEqual({row[40:].strip() for row in rows}, {""})
        self.assertRegex(times, r"\A0:00 {71}0:02\Z")


class WavesOnPosix(HostTest):
    setUp = Care.setUp

    def test_terminals(self):
        ffmpeg(*TONE, "a.tta")
        for locale, filled in (("C.UTF-8", "█"), ("C", "#")):
            code, output = self.on_terminal("wave", "a.tta", "-q", columns=40, LC_ALL=locale)
            self.assertEqual((code, output), (0, b""))
            code, output = self.on_terminal("wave", "a.tta", columns=40, LC_ALL=locale)
            _, *rows, times = output.decode().split("Hz")[1].splitlines()
            self.assertEqual((code, len(rows), len(times)), (0, 5, 39))
            for row in rows[-2:]:
                self.assertEqual(row, filled * 20 + " " * 19)
        self.assertEqual(self.on_terminal("wave", "a.tta", "-o", "-")[0], 2)

    def test_memory_does_not_grow_with_the_sound(self):
        def most_memory(seconds):
            source = subprocess.Popen(
                [host_kit.OPTIONS.ffmpeg, "-v", "error", "-f", "lavfi", "-i", f"anullsrc=r=8000:d={seconds}:cl=mono",
                 "-c:a", "pcm_s16le", "-f", "wav", "-"], stdout=subprocess.PIPE)  # fmt: skip
            host = subprocess.Popen([host_kit.OPTIONS.host, "wave", "-", "--json", "--force", "-o", "a.png"],
                                    stdin=source.stdout, stdout=subprocess.PIPE)  # fmt: skip
            source.stdout.close()
            said = host.stdout.read()
            host.stdout.close()
            _, status, usage = os.wait4(host.pid, 0)
            host.returncode = os.waitstatus_to_exitcode(status)
            self.assertEqual((host.returncode, source.wait()), (0, 0))
            self.assertIn(b'"durationMs":%d' % (seconds * 1000), said)
            return usage.ru_maxrss

        # As numbers the samples of the long one take 115 MB.
        self.assertLess(most_memory(3600), most_memory(60) + 40000)

    def test_interruption_leaves_nothing(self):
        audio = make("head.wav")
        audio = audio[:4] + b"\xff" * 4 + audio[8:]
        cut = audio.index(b"data") + 4
        audio = audio[:cut] + b"\xff" * 4 + audio[cut + 4 :]
        os.mkfifo("endless")
        before = sorted(os.listdir("."))
        flowing = threading.Event()

        def feed():
            try:
                with open("endless", "wb") as pipe:
                    pipe.write(audio)
                    for count in range(1 << 30):
                        pipe.write(bytes(65536))
                        if count == 100:
                            flowing.set()
            except BrokenPipeError:
                pass

        feeder = threading.Thread(target=feed)
        feeder.start()
        process = subprocess.Popen([host_kit.OPTIONS.host, "wave", "endless", "-o", "ended.png"], stderr=subprocess.PIPE)
        self.assertTrue(flowing.wait(TIME_LIMIT))
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.communicate(timeout=TIME_LIMIT)[1], b"")
        self.assertEqual(process.returncode, 130)
        feeder.join()
        self.assert_nothing_left(before)

    def test_a_name_that_is_no_text(self):
        make("a.tta")
        os.rename("a.tta", b"bad \xff\x01 name.tta")
        self.host("wave", b"bad \xff\x01 name.tta", "-o", "a.svg")
        self.assertEqual(Labels("a.svg").texts[0], "bad \\xFF\\u0001 name.tta")
        self.host("wave", b"bad \xff\x01 name.tta", "-o", "a.png")
        Picture("a.png")
