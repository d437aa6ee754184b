"""What becomes of a recorded movie: raw copy, mix, the log beside them; and what is left when that goes wrong."""

import contextlib
import ctypes
import json
import os
import re
import signal
import subprocess
import time
import unittest

import numpy

import desktop
from case import SUCCESS, SystemTest, attempted, unless_disturbed
from movie import SAMPLE_RATE, Movie, rms, run
from recorder import Recorder, heed_interrupts

REGION = (0, 0, 544, 64)
SMALL = (0, 0, 64, 64)
BOTH = {"system": True, "microphone": True}
# Sines: frequency in Hz, amplitude.
SYSTEM = (440, 0.2)
MICROPHONE = (1000, 0.1)

PR_CAPBSET_DROP = 24
CAP_DAC_OVERRIDE = 1


def tones():
    return desktop.tone("speakers", *SYSTEM), desktop.tone("micfeed", *MICROPHONE)


def amplitude(samples, frequency):
    """Of the sine of that frequency, which has whole periods in the samples."""
    angles = 2 * numpy.pi * frequency * numpy.arange(len(samples)) / SAMPLE_RATE
    return float(2 * abs(samples[:, 0].astype(float) @ numpy.exp(-1j * angles)) / len(samples))


def picture_packets(path):
    """Times, flags and the hash of the content of every picture as it is stored."""
    return run("ffprobe", "-v", "error", "-select_streams", "v:0", "-show_data_hash", "sha256", "-show_entries",
               "packet=pts,dts,duration,flags,size,data_hash", "-of", "csv=p=0", str(path)).decode().splitlines()


def picture_track(path):
    """Everything that the file says of the picture track, but for its place in the file."""
    probe = run("ffprobe", "-v", "error", "-select_streams", "v:0", "-show_data_hash", "sha256", "-show_streams",
                "-of", "json", str(path))
    return json.loads(probe)["streams"][0]


def read_log(path):
    lines = path.read_text(encoding="ascii").splitlines(keepends=True)
    return [json.loads(line) for line in lines], lines


class PostProcessing(SystemTest):
    @attempted
    def test_two_sounds_become_one_and_the_raw_copy_keeps_them_apart(self):
        movie_path = self.folder / "Take 1.mp4"
        raw_path = self.folder / "raw" / "deep" / "Take 1.mp4"
        log_path = self.folder / "logs" / "deep" / "health.jsonl"
        raw_path.parent.mkdir(parents=True)
        raw_path.write_bytes(b"an older copy")
        (self.folder / "Take 1.mp4.sb-a1b2").write_bytes(b"litter")
        (self.folder / "Take 1.mp4.bak").write_bytes(b"no litter")

        def prepare():
            heed_interrupts()
            os.umask(0o027)

        system_tone, microphone_tone = tones()
        with desktop.picture("counter", *REGION), system_tone, microphone_tone, \
                Recorder(movie_path, REGION, **BOTH, raw=raw_path, options=["--health-path", str(log_path)],
                         prepare=prepare) as recorder:
            recorder.wait_until_started()
            time.sleep(2)
            recorder.stop()
            recorder.wait_for("processing")
            # Too late: what has begun is brought to its end.
            with contextlib.suppress(ProcessLookupError):
                for number in (signal.SIGTERM, signal.SIGINT):
                    os.kill(recorder.process.pid, number)
            recorder.wait()
        self.assert_succeeded(recorder)
        raw = self.assert_finished(raw_path)
        movie = self.assert_finished(movie_path)

        # A heartbeat comes as soon as the export begins, and nothing after the last.
        kinds = recorder.kinds()
        self.assertEqual(kinds[:3], SUCCESS)
        self.assertLessEqual(set(kinds[3:]), {"heartbeat"})
        with unless_disturbed():
            self.assertGreaterEqual(len(kinds), 4)

        with self.subTest("nothing else lies beside them"):
            self.assert_left_alone(self.folder, "Take 1.mp4", "Take 1.mp4.bak", "logs", "raw")
            self.assert_left_alone(raw_path.parent, "Take 1.mp4")

        with self.subTest("permissions and owner are those that the recording was made with"):
            for path in (movie_path, raw_path):
                status = path.stat()
                self.assertEqual((status.st_mode & 0o7777, status.st_uid, status.st_gid),
                                 (0o640, os.getuid(), os.getgid()))

        with self.subTest("tracks"):
            self.assertEqual(raw.kinds(), ["video", "audio", "audio"])
            self.assertEqual(movie.kinds(), ["video", "audio"])
            self.assertEqual([(track["codec_name"], track["sample_rate"], track["channels"])
                              for track in movie.audio], [("aac", "48000", 2)])

        apart = [raw.sound(0), raw.sound(1)]
        mixed = movie.sound(0)
        # One tone a track in the raw copy, both of them as loud in the mix.
        for begin in (24000, 36000):
            for (frequency, expected), own, other in ((SYSTEM, *apart), (MICROPHONE, *reversed(apart))):
                second = slice(begin, begin + SAMPLE_RATE)
                with unless_disturbed():
                    self.assertAlmostEqual(amplitude(own[second], frequency), expected, delta=0.005)
                    self.assertLess(amplitude(other[second], frequency), 0.001)
                self.assertAlmostEqual(amplitude(mixed[second], frequency), amplitude(own[second], frequency),
                                       delta=0.002)

        with self.subTest("sample by sample the mix is their sum, from time 0 to the end"):
            length = max(len(samples) for samples in apart)
            expected = sum(numpy.pad(samples, ((0, length - len(samples)), (0, 0))) for samples in apart)
            self.assertAlmostEqual(len(mixed), length, delta=1024)
            common = min(len(mixed), length) - 2048  # where the sound is cut off, AAC blurs it
            # A shift by one sample would be an error of 0.012.
            self.assertLess(rms(mixed[2048:common] - expected[2048:common]), 0.004)

        with self.subTest("the picture is the recorded one, bit for bit, at the same times"):
            packets = picture_packets(raw_path)
            self.assertGreater(len(packets), 30)
            self.assertEqual(picture_packets(movie_path), packets)
            self.assertEqual(picture_track(movie_path), picture_track(raw_path))
            self.assertEqual([track["start_time"] for track in movie.audio + raw.audio], ["0.000000"] * 3)

        with self.subTest("the log tells of both sources"):
            records, lines = read_log(log_path)
            self.assertEqual(records[0]["event"], "started")
            self.assertEqual(records[-1]["event"], "finished")
            first = [record["source"] for record in records if record["event"] == "first-audio-sample"]
            self.assertEqual(sorted(first), ["microphone", "system"])
            self.assertRegex(lines[0], r'\A\{"elapsedMs":\d+,"event":"started","hasMicrophoneSamples":false,'
                                       r'"hasSystemAudioSamples":false,"microphoneEnabled":true,'
                                       r'"microphoneSampleCount":0,"systemAudioEnabled":true,'
                                       r'"systemAudioSampleCount":0,"timestamp":"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ",'
                                       r'"type":"recorder-health"\}\n\Z')

    def test_one_sound_stays_as_it_was_recorded_and_its_log_has_a_line_in_two_seconds(self):
        movie_path, raw_path, log_path = (self.folder / name for name in ("one.mp4", "raw.mp4", "log.jsonl"))
        log_path.write_text("what an earlier recording left\n", encoding="ascii")
        with Recorder(movie_path, SMALL, microphone=True, raw=raw_path,
                      options=["--health-path", str(log_path)]) as recorder:
            recorder.wait_until_started()
            desktop.wait_until(lambda: "audio-sample" in [record["event"] for record in read_log(log_path)[0]], 10,
                               "the second line of the microphone")
            recorder.finish()
        self.assert_succeeded(recorder)
        self.assertEqual(recorder.kinds(), SUCCESS)  # no heartbeat: there is nothing to export
        self.assertEqual(movie_path.read_bytes(), raw_path.read_bytes())
        self.assertEqual(self.assert_finished(movie_path).kinds(), ["video", "audio"])

        records, _ = read_log(log_path)
        events = [record["event"] for record in records]
        self.assertEqual((events[:3], events[-1]), (["started", "first-audio-sample", "audio-sample"], "finished"))
        self.assertLessEqual(set(events[3:-1]), {"audio-sample"})  # some seconds later, on a busy machine
        for record in records:
            self.assertEqual((record["systemAudioEnabled"], record["hasSystemAudioSamples"],
                              record["systemAudioSampleCount"]), (False, False, 0))
            self.assertNotIn("lastSystemAudioSampleElapsedMs", record)
        first, second = records[1:3]
        self.assertEqual((first["source"], first["microphoneSampleCount"]), ("microphone", 1))
        self.assertGreaterEqual(second["elapsedMs"] - first["elapsedMs"], 2000)
        self.assertGreater(second["samplePtsMs"] - first["samplePtsMs"], 1500)
        self.assertGreater(second["microphoneSampleCount"], 20)

    def test_any_name_will_do(self):
        names = ["with  spaces.mp4", "it's \"quoted\" $HOME `x` \\ *.mp4",
                 "Gr\u00fc\u00dfe \u6620\u753b \U0001f3ac.mp4", "-dash.mp4", "--dashes", "no extension", "a.b..c.mp4",
                 ".hidden", "50%25 #1?.mp4", "a:b.mov"]
        (self.folder / "raw").mkdir()

        def prepare():
            heed_interrupts()
            os.chdir(self.folder)

        with contextlib.ExitStack() as stack:
            # Beside each other, and by relative paths: what is tried here is the names.
            recorders = [stack.enter_context(Recorder(name, SMALL, **BOTH, raw=f"raw/{name}", prepare=prepare))
                         for name in names]
            for recorder in recorders:
                recorder.wait_until_started()
            time.sleep(0.3)
            for recorder in recorders:
                recorder.stop()
            for name, recorder in zip(names, recorders):
                with self.subTest(name):
                    recorder.wait()
                    self.assert_succeeded(recorder)
                    self.assertEqual(Movie(self.folder / name).kinds(), ["video", "audio"])
                    self.assertEqual(Movie(self.folder / "raw" / name).kinds(), ["video", "audio", "audio"])
        self.assert_left_alone(self.folder, "raw", *names)
        self.assert_left_alone(self.folder / "raw", *names)

    def test_a_raw_copy_that_fails_ends_the_run_before_the_mix(self):
        (self.folder / "file").write_bytes(b"")
        rows = [
            ("below a file", "kept.mp4", self.folder / "file" / "raw.mp4", r"Could not create the folder [^\n]+"),
            # The older copy is removed first; here it is the movie itself.
            ("the movie's own path", "lost.mp4", self.folder / "lost.mp4", r"Could not copy [^\n]+ \(POSIX 2\)"),
        ]
        with contextlib.ExitStack() as stack:
            recorders = [stack.enter_context(Recorder(self.folder / name, SMALL, **BOTH, raw=raw))
                         for _, name, raw, _ in rows]
            for recorder in recorders:
                recorder.wait_until_started()
            time.sleep(0.3)
            for (name, _, _, error), recorder in zip(rows, recorders):
                with self.subTest(name):
                    self.assertEqual(recorder.finish(), 1)
                    self.assertRegex(recorder.errors, rf"\A{error}[^\n]*\n\Z")
                    self.assertEqual(recorder.kinds(), ["started", "finishing"])
        self.assert_left_alone(self.folder, "file", "kept.mp4")
        self.assertEqual(self.assert_finished(self.folder / "kept.mp4").kinds(), ["video", "audio", "audio"])

    def assert_not_mixed(self, recorder, error):
        """Failed at the mix-down: the movie is the recorded one, and nothing lies beside it."""
        self.assertEqual(recorder.wait(), 1)
        self.assertRegex(recorder.errors, rf"\A{error}\n\Z")
        self.assertEqual([kind for kind in recorder.kinds() if kind != "heartbeat"], SUCCESS)
        self.assertEqual(self.assert_finished(recorder.output).kinds(), ["video", "audio", "audio"])
        self.assert_left_alone(recorder.output.parent, recorder.output.name)

    def test_in_a_folder_that_takes_no_files_the_movie_stays_as_it_was_recorded(self):
        folder = self.folder / "folder"
        folder.mkdir()
        self.addCleanup(folder.chmod, 0o755)

        def prepare():
            heed_interrupts()
            # Permissions would not bind the superuser.
            ctypes.CDLL(None).prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0)

        with Recorder(folder / "movie.mp4", SMALL, **BOTH, prepare=prepare) as recorder:
            recorder.wait_until_started()
            time.sleep(0.5)
            folder.chmod(0o555)
            recorder.stop()
            self.assert_not_mixed(recorder, rf"Could not create {re.escape(str(folder))}/\.movie-mixed-[0-9A-F-]{{36}}"
                                            r"\.mp4: Permission denied \(POSIX 13\)")

    def test_on_a_full_disk_the_movie_stays_as_it_was_recorded(self):
        folder = self.folder / "disk"
        folder.mkdir()
        error = rf"Could not write {re.escape(str(folder))}/\.movie-mixed-[^\n]+: No space left on device \(POSIX 28\)"
        with_disk = os.geteuid() == 0
        if with_disk:
            subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={9 << 20}", "tmpfs", str(folder)], check=True)
            self.addCleanup(subprocess.run, ["umount", "--lazy", str(folder)], check=True)
        with desktop.picture("motion", 0, 0, 1280, 720), \
                Recorder(folder / "movie.mp4", (0, 0, 1280, 720), **BOTH) as recorder:
            recorder.wait_until_started()
            # 4 MiB are room for the index, and stay that as long as another movie does not fit beside. What is left is
            # enough for the end of the recording.
            desktop.wait_until(lambda: recorder.output.stat().st_size > 6.8 * 2**20, 20, "most of the movie")
            if not with_disk:
                # Mounting takes root; a folder that takes no more files fails at the same step with another error.
                error = r"Could not create [^\n]+ \(POSIX 13\)"
                folder.chmod(0o555)
                self.addCleanup(folder.chmod, 0o755)
            recorder.stop()
            self.assert_not_mixed(recorder, error)

    def test_killed_while_it_mixes_it_leaves_a_whole_movie(self):
        with desktop.picture("counter", *REGION), \
                Recorder(self.folder / "movie.mp4", REGION, **BOTH) as recorder:
            recorder.wait_until_started()
            time.sleep(1)
            recorder.stop()
            recorder.wait_for("processing")
            with contextlib.suppress(ProcessLookupError):
                recorder.stop(signal.SIGKILL)
            recorder.wait()
        kinds = self.assert_finished(recorder.output).kinds()
        self.assertIn(kinds, (["video", "audio", "audio"], ["video", "audio"]))


class HealthLog(SystemTest):
    def test_a_log_that_cannot_be_written_does_not_disturb_the_recording(self):
        vanishing = self.folder / "vanishing"
        rows = [
            ("a folder", self.folder, True),
            ("below a file", self.folder / "file" / "log", True),
            ("a full disk", "/dev/full", False),
            ("a folder that vanishes", vanishing / "log", False),
            ("nowhere", "", False),
        ]
        (self.folder / "file").write_bytes(b"")
        with contextlib.ExitStack() as stack:
            recorders = [stack.enter_context(Recorder(self.folder / f"{name}.mp4", SMALL, microphone=True,
                                                      options=["--health-path", str(path)]))
                         for name, path, _ in rows]
            for recorder in recorders:
                recorder.wait_until_started()
            (vanishing / "log").unlink()
            vanishing.rmdir()
            time.sleep(0.3)
            for (name, path, warns), recorder in zip(rows, recorders):
                with self.subTest(name):
                    self.assertEqual(recorder.finish(), 0)
                    warning = rf"Warning: could not open recorder health file at {re.escape(str(path))}: [^\n]+\n"
                    self.assertRegex(recorder.errors, rf"\A{warning if warns else ''}\Z")
                    self.assertEqual(recorder.kinds(), SUCCESS)
                    self.assertEqual(self.assert_finished(recorder.output).kinds(), ["video", "audio"])
        self.assert_left_alone(self.folder, "file", *(f"{name}.mp4" for name, _, _ in rows))


if __name__ == "__main__":
    unittest.main()
