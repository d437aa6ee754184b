"""Speech out of files of every kind, judged against what was spoken."""

import json
import random
import subprocess
import unittest

import numpy

import desktop
import speech
from case import SystemTest
from movie import Movie
from recorder import Recorder

# Sentences that stand in no language model as they are.
TEXT = ("he opened the door and walked into the room. she said that the meeting would begin at nine in the morning. "
        "most of the students finished their work before the end of the day.")
SENTENCE = "the children were playing in the garden behind the house"

# Words that this voice says so that they are recognised alone.
WORDS = ["thousand", "children", "government", "president", "everything", "company", "community", "control", "problem"]

NO_SPEECH = {"engine": "apple-speech-on-device", "locale": "en-US", "segments": [], "text": ""}


class Transcribe(SystemTest):
    def assert_well_formed(self, document):
        """What every transcript is, whatever was heard."""
        self.assertEqual(sorted(document), ["engine", "locale", "segments", "text"])
        self.assertEqual(document["engine"], "apple-speech-on-device")
        self.assertEqual(document["text"], " ".join(segment["text"] for segment in document["segments"]))
        last = 0
        for segment in document["segments"]:
            self.assertEqual(sorted(segment), ["confidence", "endMs", "startMs", "text"])
            self.assertRegex(segment["text"], r"^[a-z'.-]+$")
            self.assertTrue(0 <= segment["confidence"] <= 1, segment)
            self.assertGreaterEqual(segment["startMs"], last - 1)
            self.assertGreaterEqual(segment["endMs"], segment["startMs"])
            last = segment["endMs"]

    def assert_fails(self, done, text):
        self.assertEqual((done.returncode, done.stdout, done.stderr.decode()), (1, b"", text + "\n"))

    def test_words_stand_at_their_times(self):
        path = self.folder / "words.wav"
        spoken = speech.say_apart(WORDS, path)
        document = speech.transcript(path, "--locale", "en-US")
        self.assert_well_formed(document)
        recognised = 0
        for word, begin, end in spoken:
            for segment in document["segments"]:
                if segment["text"] == word and abs(segment["startMs"] / 1000 - begin) < 0.5:
                    recognised += 1
                    self.assertAlmostEqual(segment["startMs"] / 1000, begin, delta=0.05, msg=word)
                    self.assertAlmostEqual(segment["endMs"] / 1000, end, delta=0.05, msg=word)
        self.assertGreaterEqual(recognised, len(WORDS) - 2, document["text"])

    def test_every_kind_of_file_gives_the_words_at_the_same_times(self):
        source = self.folder / "speech.wav"
        speech.say(TEXT, source)
        plain = speech.transcript(source, "--locale", "en_US")
        self.assert_well_formed(plain)
        self.assertEqual(plain["locale"], "en_US")
        # Measured: 3 %.
        self.assertLess(speech.word_error_rate(TEXT, plain["text"]), 0.1, plain["text"])
        # Some words are heard better than others.
        confidences = [segment["confidence"] for segment in plain["segments"]]
        self.assertGreater(max(confidences), min(confidences) + 0.2)
        kinds = [("speech.flac", []), ("speech.mp3", ["-b:a", "128k"]), ("speech.m4a", ["-b:a", "128k"]),
                 ("speech.opus", ["-b:a", "64k"]),
                 ("speech.webm", ["-c:a", "libopus", "-b:a", "64k"]),
                 ("speech.mp4", ["-ar", "48000", "-ac", "2", "-b:a", "192k"])]
        for name, options in kinds:
            with self.subTest(file=name):
                path = self.folder / name
                speech.convert(source, path, *options)
                document = speech.transcript(path, "--locale", "en-US")
                self.assert_well_formed(document)
                self.assertLess(speech.word_error_rate(TEXT, document["text"]), 0.2, document["text"])
                self.assert_same_times(plain, document)

    def assert_same_times(self, one, other):
        """The long words that both have, in the order of time, begin at the same time."""
        compared = 0
        for segment in one["segments"]:
            near = [each for each in other["segments"]
                    if each["text"] == segment["text"] and abs(each["startMs"] - segment["startMs"]) < 400]
            if len(segment["text"]) >= 5 and near:
                compared += 1
                self.assertLessEqual(abs(near[0]["startMs"] - segment["startMs"]), 50, segment)
        self.assertGreaterEqual(compared, 8, other["text"])

    def test_a_recording_of_ours_is_transcribed_mixed_and_raw(self):
        sound = self.folder / "speech.wav"
        speech.say(SENTENCE, sound)
        player = ["pw-play", "--target=speakers", "--volume=1.0", str(sound)]
        raw = self.folder / "raw.mp4"
        with Recorder(self.folder / "talk.mp4", (0, 0, 320, 240), system=True, microphone=True, raw=raw) as recorder:
            recorder.wait_until_started()
            subprocess.run(player, check=True, timeout=60)
            self.assertEqual(recorder.finish(), 0, recorder.errors)
        self.assertEqual(len(Movie(raw).audio), 2)
        for path in (recorder.output, raw):
            with self.subTest(file=path.name):
                document = speech.transcript(path, "--locale", "en-US")
                self.assert_well_formed(document)
                # One sentence of ten words, played in real time on a machine that may be busy.
                self.assertLessEqual(speech.word_error_rate(SENTENCE, document["text"]), 0.5,
                                     document["text"])

    def test_silence_has_no_words(self):
        path = self.folder / "silence.wav"
        speech.write_wave(path, numpy.zeros(30 * speech.RATE))
        self.assertEqual(speech.transcript(path, "--locale", "en-US"), NO_SPEECH)
        speech.write_wave(path, numpy.zeros(0))
        done = speech.transcribe(path, "--locale", "en-US")
        self.assertIn(done.returncode, (0, 1))

    def test_locales(self):
        path = self.folder / "silence.wav"
        speech.write_wave(path, numpy.zeros(speech.RATE))
        for locale in ("en-US", "en_US", "en_US.UTF-8", "en-GB", "en"):
            with self.subTest(locale=locale):
                self.assertEqual(speech.transcript(path, "--locale", locale), {**NO_SPEECH, "locale": locale})
        for locale in ("de-DE", "tlh/Piqd", ""):
            with self.subTest(locale=locale):
                self.assert_fails(speech.transcribe(path, "--locale", locale),
                                  f"On-device transcription is not available for {locale}. (main.RecorderError 2)")
        user = {"LC_ALL": "", "LC_MESSAGES": "", "LANG": "en_GB.UTF-8"}
        self.assertEqual(speech.transcript(path, environment=user), {**NO_SPEECH, "locale": "en_GB"})
        user["LANG"] = "C.UTF-8"
        self.assertEqual(speech.transcript(path, environment=user), {**NO_SPEECH, "locale": "en_US"})
        user["LC_ALL"] = "de_DE.UTF-8"
        self.assert_fails(speech.transcribe(path, environment=user),
                          "On-device transcription is not available for de_DE. (main.RecorderError 2)")

    def test_files_that_cannot_be_used(self):
        path = self.folder / "missing.wav"
        # The locale is looked at first.
        self.assert_fails(speech.transcribe(path, "--locale", "tlh"),
                          "On-device transcription is not available for tlh. (main.RecorderError 2)")
        self.assert_fails(speech.transcribe(path, "--locale", "en-US"),
                          f"Could not open {path}: No such file or directory (POSIX 2)")
        self.assert_fails(speech.transcribe("", "--locale", "en-US"), "Missing --input. (main.RecorderError 0)")
        path.write_bytes(b"")
        self.assertRegex(speech.transcribe(path, "--locale", "en-US").stderr.decode(),
                         r"^Could not .* \(libav -\d+\)\n$")
        picture = self.folder / "picture.mp4"
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=s=64x64:d=1", str(picture)],
                               check=True, timeout=60)
        self.assertRegex(speech.transcribe(picture, "--locale", "en-US").stderr.decode(),
                         r"^Could not find sound in .*: Stream not found \(libav -\d+\)\n$")

    def test_damaged_files_end_with_a_document_or_an_error(self):
        source = self.folder / "source.wav"
        # A word, and noise that is too faint for speech: most runs need no model then.
        speech.say("thousand", source)
        noise = numpy.random.default_rng(1).normal(0, 6, 2 * speech.RATE)
        speech.write_wave(source, numpy.concatenate([noise, speech.read_wave(source), noise]))
        kinds = {"wav": [], "flac": [], "mp3": [], "m4a": [], "ogg": ["-c:a", "libopus"],
                 "webm": ["-c:a", "libopus"], "mkv": ["-c:a", "libvorbis"], "ts": ["-c:a", "aac"],
                 "mp4": ["-c:a", "aac", "-movflags", "frag_keyframe+delay_moov", "-frag_duration", "300000"]}
        for kind, options in kinds.items():
            whole = self.folder / f"whole.{kind}"
            speech.convert(source, whole, *options)
            content = whole.read_bytes()
            for name, damaged in damages(content, random.Random(kind)):
                with self.subTest(kind=kind, damage=name):
                    self.assert_ends(self.folder / f"damaged.{kind}", damaged)

    def test_files_of_the_fuzzer_end_with_a_document_or_an_error(self):
        files = sorted((desktop.ROOT / "tests/fuzz/corpus/sound").iterdir())
        self.assertGreater(len(files), 20)
        for file in files:
            with self.subTest(file=file.name):
                self.assert_ends(self.folder / "file", file.read_bytes())

    def assert_ends(self, path, content):
        path.write_bytes(content)
        done = speech.transcribe(path, "--locale", "en-US", seconds=60)
        if done.returncode == 0:
            self.assertEqual(done.stderr, b"")
            self.assert_well_formed(json.loads(done.stdout))
        else:
            self.assertEqual((done.returncode, done.stdout), (1, b""))
            self.assertRegex(done.stderr.decode(), r"^.+ \((libav|POSIX) -?\d+\)\n$")


def damages(content, chance):
    """(name, bytes): cut off, and with bytes changed in its head and everywhere."""
    yield "half", content[:len(content) // 2]
    yield "a byte short", content[:-1]
    yield "the first hundred bytes", content[:100]
    for number in range(2):
        damaged = bytearray(content)
        for _ in range(4):
            damaged[chance.randrange(min(len(damaged), 1500))] ^= 1 << chance.randrange(8)
        yield f"head {number}", bytes(damaged)
    damaged = bytearray(content)
    for _ in range(max(8, len(damaged) // 500)):
        damaged[chance.randrange(200, len(damaged))] = chance.randrange(256)
    yield "everywhere", bytes(damaged)


if __name__ == "__main__":
    unittest.main()
