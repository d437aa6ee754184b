"""The sound in the movie: order of tracks, exact levels, silence exactly where muted, a sound server that dies."""

import os
import time
import unittest

import numpy

import desktop
from case import SystemTest, attempted, unless_disturbed
from movie import rms, tone_frequency
from recorder import Recorder

REGION = (0, 0, 64, 64)
# Sines: (amplitude, root mean square, the meter's value: 3.5 times that).
SYSTEM = (440, 0.2, 0.14142, 0.49497)
MICROPHONE = (1000, 0.1, 0.07071, 0.24749)
# AAC blocks overlap over 2048 samples: what is next to an edge may be blurred by that much.
BLUR = 0.045


def at(samples, begin, end):
    return samples[int(begin * 48000):int(end * 48000)]


def tones():
    return (desktop.tone("speakers", SYSTEM[0], SYSTEM[1]), desktop.tone("micfeed", MICROPHONE[0], MICROPHONE[1]))


def quiet_environment():
    """An environment in which no sound server can be found."""
    return {**os.environ, "PIPEWIRE_REMOTE": "nobody-is-here", "PULSE_SERVER": "unix:/nonexistent"}


class Sound(SystemTest):
    @attempted
    def test_tracks_levels_and_mute(self):
        system_tone, microphone_tone = tones()
        with system_tone, microphone_tone, \
                Recorder(self.folder / "sound.mp4", REGION, system=True, microphone=True,
                         raw=self.folder / "raw.mp4") as recorder:
            zero = recorder.wait_until_started()
            time.sleep(2)
            levels_until = time.monotonic()
            muted_sent, muted = recorder.command("microphone", False)
            time.sleep(1.2)
            unmuted_sent, unmuted = recorder.command("microphone", True)
            time.sleep(0.6)
            both_sent, _ = recorder.command("system", False)
            time.sleep(0.8)
            recorder.finish()
        self.assert_succeeded(recorder)
        movie = self.assert_finished(recorder.raw)

        # Video, then system audio, then microphone.
        self.assertEqual(movie.kinds(), ["video", "audio", "audio"])
        self.assertEqual([(track["codec_name"], track["sample_rate"], track["channels"]) for track in movie.audio],
                         [("aac", "48000", 2)] * 2)
        system, microphone = movie.sound(0), movie.sound(1)

        # Commands are answered with the state.
        self.assertEqual(muted.line, '{"kind":"audioState","microphoneEnabled":false,"systemEnabled":true,'
                                     '"commandID":"c-1"}\n')
        self.assertEqual(unmuted.line, '{"kind":"audioState","microphoneEnabled":true,"systemEnabled":true,'
                                       '"commandID":"c-2"}\n')

        # Muted is silent from the answer on, until the next command, and the meter reads 0.
        silent = at(microphone, muted.arrival - zero + BLUR, unmuted_sent - zero - BLUR)
        self.assertGreater(len(silent), 48000)
        self.assertEqual(float(numpy.abs(silent).max()), 0.0)
        read = [event.members["microphoneLevel"] for event in recorder.events if event.kind == "levels"
                and muted.arrival + 0.15 < event.arrival < unmuted_sent]
        self.assertEqual(set(read), {0})

        # The meter shows the tones within 0.02.
        levels = [event for event in recorder.events
                  if event.kind == "levels" and zero + 0.5 < event.arrival < levels_until]
        for event in levels:
            self.assertEqual(list(event.members), ["kind", "microphoneLevel", "systemLevel"])
        with unless_disturbed():
            self.assertGreater(len(read), 5)
            self.assertGreater(len(levels), 8)
            for event in levels:
                self.assertAlmostEqual(event.members["systemLevel"], SYSTEM[3], delta=0.02)
                self.assertAlmostEqual(event.members["microphoneLevel"], MICROPHONE[3], delta=0.02)
            arrivals = [event.arrival for event in levels]
            self.assertGreater(float(numpy.mean(numpy.diff(arrivals))), 0.095)

        # The tones are on their tracks, as loud as they were played, and without a hole where they were not muted.
        with unless_disturbed():
            for samples, (frequency, _, expected, _) in ((system, SYSTEM), (microphone, MICROPHONE)):
                steady = at(samples, 0.5, 1.8)
                self.assertAlmostEqual(tone_frequency(steady), frequency, delta=1.5)
                self.assertAlmostEqual(rms(steady), expected, delta=0.004)
            for begin, end in ((0.5, muted_sent - zero - 0.15),
                               (unmuted.arrival - zero + 0.15, recorder.signalled - zero - 0.15)):
                self.assert_tone_throughout(microphone, begin, end, MICROPHONE[2])
            self.assert_tone_throughout(system, 0.5, both_sent - zero - 0.15, SYSTEM[2])

    def assert_tone_throughout(self, samples, begin, end, expected):
        """The tone sounds without a hole: every 10 ms of it are as loud as they should be."""
        part = at(samples, begin, end)
        blocks = part[:len(part) // 480 * 480].reshape(-1, 480, 2).astype(float)
        loudness = numpy.sqrt((blocks ** 2).mean(axis=1)).max(axis=1)
        self.assertGreater(len(loudness), 20)
        self.assertGreater(float(loudness.min()), expected * 0.8)
        self.assertLess(float(loudness.max()), expected * 1.2)

    def test_a_source_that_was_not_chosen_has_no_track_and_refuses_commands(self):
        with Recorder(self.folder / "one.mp4", REGION, microphone=True) as recorder:
            recorder.wait_until_started()
            _, answer = recorder.command("system", True)
            time.sleep(0.5)
            recorder.finish()
        self.assert_succeeded(recorder)
        self.assertEqual(answer.line,
                         '{"kind":"audioState","microphoneEnabled":true,"systemEnabled":false,"commandID":"c-1",'
                         '"error":"Choose this input before starting a recording."}\n')
        self.assertEqual(self.assert_finished(recorder.output).kinds(), ["video", "audio"])

    def test_without_sound_no_level_is_ever_reported(self):
        with Recorder(self.folder / "none.mp4", REGION, environment=quiet_environment()) as recorder:
            recorder.wait_until_started()
            time.sleep(0.5)
            recorder.finish()
        self.assert_succeeded(recorder)
        self.assertEqual([event.kind for event in recorder.events], ["started", "finishing", "processing"])
        self.assertEqual(self.assert_finished(recorder.output).kinds(), ["video"])

    def test_no_sound_server_is_an_error_when_sound_was_asked_for(self):
        for chosen in ({"system": True}, {"microphone": True}):
            with self.subTest(chosen=chosen), \
                    Recorder(self.folder / "x.mp4", REGION, environment=quiet_environment(), **chosen) as recorder:
                self.assertEqual(recorder.wait(), 1)
                self.assertRegex(recorder.errors, r"\A[^\n]+ \(PipeWire -?\d+\)\n\Z")
                self.assertEqual(recorder.events, [])
        self.assert_left_alone(self.folder)


class SoundServerRestart(SystemTest):
    @attempted
    def test_a_sound_server_that_dies_leaves_silence_until_it_is_back(self):
        with Recorder(self.folder / "restart.mp4", REGION, system=True, microphone=True,
                      raw=self.folder / "raw.mp4") as recorder:
            zero = recorder.wait_until_started()
            system_tone, microphone_tone = tones()
            with system_tone, microphone_tone:
                time.sleep(1.2)
                stopping = time.monotonic()
                desktop.stop_sound_services()
                stopped = time.monotonic()
            time.sleep(1.2)
            starting = time.monotonic()
            desktop.start_sound_services()
            system_tone, microphone_tone = tones()
            with system_tone, microphone_tone:
                # The recorder looks for the server again and again.
                for level in ("systemLevel", "microphoneLevel"):
                    recorder.wait_for(lambda event: event.kind == "levels" and event.arrival > starting
                                      and event.members[level] > 0.1, 10)
                time.sleep(1.5)
                recorder.finish()
        self.assert_succeeded(recorder)
        movie = self.assert_finished(recorder.raw)
        length = recorder.signalled - zero
        for track, (frequency, _, expected, _) in ((0, SYSTEM), (1, MICROPHONE)):
            samples = movie.sound(track)
            gap = at(samples, stopped - zero + 0.1, starting - zero)
            self.assertEqual(float(numpy.abs(gap).max()), 0.0)
            with unless_disturbed():
                self.assertAlmostEqual(len(samples) / 48000, length, delta=0.1)
                self.assertAlmostEqual(rms(at(samples, stopping - zero - 0.8, stopping - zero - 0.2)), expected,
                                       delta=0.01)
                after = at(samples, length - 1.2, length - 0.2)
                self.assertAlmostEqual(rms(after), expected, delta=0.01)
                self.assertAlmostEqual(tone_frequency(after), frequency, delta=1.5)


if __name__ == "__main__":
    unittest.main()
