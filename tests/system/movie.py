"""What an independent reader (ffprobe, ffmpeg) sees in a movie file.

Pictures are arrays of 8-bit RGB, (height, width, 3); sound is float32, (samples, channels) at 48 kHz, from movie
time 0 on.
"""

import json
import struct
import subprocess
from pathlib import Path

import numpy

SAMPLE_RATE = 48000
CODE_CELLS = 32
CODE_CELL = 16  # pixels, as drawn


def run(*arguments):
    done = subprocess.run(arguments, stdin=subprocess.DEVNULL, capture_output=True, timeout=120)
    if done.returncode:
        raise AssertionError(f"{arguments[0]} failed: {done.stderr.decode()[-2000:]}")
    return done.stdout


class Movie:
    def __init__(self, path):
        self.path = Path(path)
        probe = json.loads(run("ffprobe", "-v", "error", "-show_streams", "-show_format", "-of", "json",
                               str(self.path)))
        self.streams = probe["streams"]
        self.duration = float(probe["format"]["duration"])  # seconds
        self.video = next(stream for stream in self.streams if stream["codec_type"] == "video")
        self.audio = [stream for stream in self.streams if stream["codec_type"] == "audio"]
        self.width = int(self.video["width"])
        self.height = int(self.video["height"])

    def kinds(self):
        return [stream["codec_type"] for stream in self.streams]

    def boxes(self):
        """The types of the file's top-level boxes, in order."""
        types = []
        with self.path.open("rb") as file:
            end = self.path.stat().st_size
            position = 0
            while position + 8 <= end:
                file.seek(position)
                size, kind = struct.unpack(">I4s", file.read(8))
                if size == 1:
                    size = struct.unpack(">Q", file.read(8))[0]
                elif size == 0:
                    size = end - position
                if size < 8:
                    raise AssertionError(f"a box of {size} bytes at {position}")
                types.append(kind.decode("latin-1"))
                position += size
        return types

    def check_playable(self):
        """Decodes everything; any complaint of the decoder is an error."""
        done = subprocess.run(["ffmpeg", "-v", "error", "-i", str(self.path), "-map", "0", "-fps_mode", "passthrough",
                               "-enc_time_base:v", "-1", "-f", "null", "-"],
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=120)
        if done.returncode or done.stderr:
            raise AssertionError(f"{self.path} does not play: {done.stderr.decode()[-2000:]}")

    def times(self):
        """The presentation time of each picture, in seconds."""
        text = run("ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries", "packet=pts_time",
                   "-of", "csv=p=0", str(self.path)).decode()
        return numpy.array([float(line.strip(",")) for line in text.split() if line.strip(",")])

    def _decode(self, picture_filter, pixel_format, start=None, count=None):
        arguments = ["ffmpeg", "-v", "error", "-i", str(self.path)]
        if start is not None:
            arguments += ["-ss", str(start)]
        arguments += ["-map", "0:v:0", "-fps_mode", "passthrough"]
        if picture_filter:
            arguments += ["-vf", picture_filter]
        if count is not None:
            arguments += ["-frames:v", str(count)]
        # The matrix and range come from the stream's own tags: wrong tags show as wrong colours.
        arguments += ["-sws_flags", "bicubic+accurate_rnd+full_chroma_int+full_chroma_inp",
                      "-f", "rawvideo", "-pix_fmt", pixel_format, "-"]
        return numpy.frombuffer(run(*arguments), numpy.uint8)

    def pictures(self, crop=None, start=None, count=None):
        """Decoded pictures (number, height, width, 3); crop is (x, y, width, height)."""
        x, y, width, height = crop or (0, 0, self.width, self.height)
        data = self._decode(f"crop={width}:{height}:{x}:{y}:exact=1" if crop else None, "rgb24", start, count)
        return data.reshape(-1, height, width, 3)

    def luma(self, start=None, count=None):
        """The plane Y of the decoded pictures as it is stored (limited range)."""
        return self._decode(None, "yuv420p", start, count).reshape(
            -1, self.height * 3 // 2, self.width)[:, :self.height]

    def numbers(self, x=0, y=0, scale=1.0):
        """The number code of each picture; its upper left corner lies at (x, y) of the captured region,
        and scale is the size of the movie's picture over that of the region. None where none is readable."""
        cell = CODE_CELL * scale
        width, height = int(CODE_CELLS * cell), int(cell)
        left, top = round(x * scale), round(y * scale)
        data = self._decode(f"format=gray,crop={width}:{height}:{left}:{top}:exact=1", "gray")
        strips = data.reshape(-1, height, width)
        # The middle half of each cell, so that neighbours do not bleed in.
        levels = numpy.stack([
            strips[:, height // 4:height - height // 4,
                   int((index + 0.3) * cell):int((index + 0.7) * cell) + 1].mean(axis=(1, 2))
            for index in range(CODE_CELLS)], axis=1)
        return [read_number(row) for row in levels]

    def sound(self, track):
        """All samples of an audio track (0 is the first), placed by their presentation times."""
        data = run("ffmpeg", "-v", "error", "-i", str(self.path), "-map", f"0:a:{track}",
                   "-af", "aresample=async=1:first_pts=0", "-ac", "2", "-ar", str(SAMPLE_RATE),
                   "-f", "f32le", "-")
        return numpy.frombuffer(data, numpy.float32).reshape(-1, 2)


def read_number(levels):
    """The number whose code shows these 32 brightnesses; None when it is no valid code."""
    white = (levels[0] + levels[-1]) / 2
    black = (levels[1] + levels[-2]) / 2
    if white - black < 60:
        return None
    bits = levels > (white + black) / 2
    payload = int("".join("1" if bit else "0" for bit in bits[2:30]), 2)
    number, checksum = payload >> 8, payload & 0xFF
    return number if (number * 2654435761 & 0xFFFFFFFF) >> 24 == checksum else None


def rms(samples):
    """Of the louder channel."""
    return float(numpy.sqrt((samples.astype(numpy.float64) ** 2).mean(axis=0)).max())


def tone_frequency(samples):
    """The strongest frequency of the first channel, in Hz."""
    spectrum = numpy.abs(numpy.fft.rfft(samples[:, 0] * numpy.hanning(len(samples))))
    return float(spectrum.argmax() * SAMPLE_RATE / len(samples))
