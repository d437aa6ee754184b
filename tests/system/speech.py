"""Speech with known words at known times, and what the recorder makes of it."""

import json
import os
import re
import subprocess
import wave

import numpy

from recorder import PROGRAM

RATE = 22050  # Hz, of everything that espeak-ng says

# The clearest of its voices for the recogniser.
VOICE = "en-us+edward"


def say(text, path, voice=VOICE, words_per_minute=150):
    """Speaks the text into a WAV file."""
    subprocess.run(["espeak-ng", "-v", voice, "-s", str(words_per_minute), "-w", str(path), text],
                   check=True, timeout=60, stdin=subprocess.DEVNULL)


def read_wave(path):
    with wave.open(str(path)) as file:
        return numpy.frombuffer(file.readframes(file.getnframes()), numpy.int16)


def write_wave(path, samples):
    with wave.open(str(path), "wb") as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(RATE)
        file.writeframes(samples.astype(numpy.int16).tobytes())


def say_apart(words, path, gap=1.2):
    """Speaks the words with that much silence (in seconds) before each; gives (word, begin, end), in seconds from the
    first sample that is heard of a word to the last."""
    silence = numpy.zeros(int(gap * RATE), numpy.int16)
    parts = []
    spoken = []
    position = 0
    for word in words:
        say(word, path, words_per_minute=140)
        samples = read_wave(path)
        loudness = numpy.abs(samples.astype(int))
        heard = numpy.nonzero(loudness > 0.03 * loudness.max())[0]
        samples = samples[heard[0]:heard[-1] + 1]
        parts += [silence, samples]
        spoken.append((word, (position + len(silence)) / RATE, (position + len(silence) + len(samples)) / RATE))
        position += len(silence) + len(samples)
    write_wave(path, numpy.concatenate([*parts, silence]))
    return spoken


def convert(source, target, *options):
    """Has ffmpeg make another file of one."""
    subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-y", "-i", str(source), *options, str(target)], check=True,
                   timeout=120)


def transcribe(path, *options, seconds=120, environment=None):
    """Runs the program to its end: the process with its output."""
    return subprocess.run([PROGRAM, "transcribe", "--input", str(path), *options], stdin=subprocess.DEVNULL,
                          capture_output=True, timeout=seconds, env={**os.environ, **(environment or {})})


def transcript(path, *options, **settings):
    """The document of a successful run."""
    done = transcribe(path, *options, **settings)
    if done.returncode or done.stderr or done.stdout.count(b"\n") != 1:
        raise AssertionError(f"transcribe {path}: status {done.returncode}, {done.stderr!r}, {done.stdout[:200]!r}")
    return json.loads(done.stdout)


def words_of(text):
    return re.sub(r"[^a-z' ]", " ", text.lower()).split()


def word_error_rate(spoken, heard):
    """Words that must be replaced, put in or left out, as a share of the spoken ones."""
    spoken, heard = words_of(spoken), words_of(heard)
    distances = list(range(len(heard) + 1))
    for row, word in enumerate(spoken, 1):
        diagonal, distances[0] = distances[0], row
        for column, other in enumerate(heard, 1):
            diagonal, distances[column] = distances[column], min(
                distances[column] + 1, distances[column - 1] + 1, diagonal + (word != other))
    return distances[-1] / len(spoken)
