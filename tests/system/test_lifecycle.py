"""From the first argument to the exit status: refusals, signals, dying parents, full disks, every line of output."""

import contextlib
import ctypes
import fcntl
import json
import os
import resource
import signal
import subprocess
import time
import unittest

import numpy

import desktop
from case import SystemTest, attempted, unless_disturbed
from movie import Movie, rms
from recorder import PROGRAM, Recorder

REGION = (0, 0, 544, 64)
PR_SET_CHILD_SUBREAPER = 36


def run_program(*arguments):
    done = subprocess.run([PROGRAM, *arguments], stdin=subprocess.DEVNULL, capture_output=True, timeout=20)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


class Refusals(SystemTest):
    def test_bad_arguments_end_with_one_line_and_status_1(self):
        rows = [
            ("no command", [], "Invalid command. (main.RecorderError 1)\n"),
            ("an unknown command", ["Record"], "Invalid command. (main.RecorderError 1)\n"),
            ("a command in the wrong case", ["--List-Devices"], "Invalid command. (main.RecorderError 1)\n"),
            ("no output", ["record", "--width", "100", "--height", "100"],
             "Missing --output. (main.RecorderError 0)\n"),
            ("an option without its value", ["record", "--output"], "Missing --output. (main.RecorderError 0)\n"),
            ("no region", ["record", "--output", "x"], "Invalid region. (main.RecorderError 1)\n"),
            ("a number that is none", ["record", "--output", "x", "--width", "ten"],
             "Invalid --width. (main.RecorderError 1)\n"),
            ("a region on no display", ["record", "--output", str(self.folder / "x.mp4"), "--x", "9000",
                                        "--width", "100", "--height", "100"],
             "The selected region is not on a recordable display. (main.RecorderError 4)\n"),
        ]
        for name, arguments, message in rows:
            with self.subTest(name):
                self.assertEqual(run_program(*arguments), (1, "", message))
        self.assert_left_alone(self.folder)

    def test_the_capabilities_are_one_line(self):
        self.assertEqual(run_program("--capabilities"),
                         (0, '{"supportsMicrophoneSelection":true,"supportsScreenCaptureKitRecorder":true,'
                             '"supportsSystemAudio":true}\n', ""))

    def test_the_self_test_passes(self):
        self.assertEqual(run_program("--self-test"), (0, "Quorvane recorder self-test passed\n", ""))

    def test_an_existing_file_is_refused_and_left_as_it_was(self):
        path = self.folder / "precious.mp4"
        path.write_bytes(b"somebody's only copy")
        before = path.stat()
        with Recorder(path, REGION) as recorder:
            self.assertEqual(recorder.wait(), 1)
            self.assertRegex(recorder.errors, r"\A[^\n]*precious\.mp4[^\n]* \(POSIX 17\)\n\Z")
            self.assertEqual(recorder.events, [])
        self.assertEqual(path.read_bytes(), b"somebody's only copy")
        self.assertEqual((path.stat().st_mtime_ns, path.stat().st_ino), (before.st_mtime_ns, before.st_ino))
        self.assert_left_alone(self.folder, "precious.mp4")

    def test_a_stop_before_the_beginning_leaves_an_existing_file_alone_too(self):
        path = self.folder / "precious.mp4"
        subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i", "color=s=64x64", "-f", "lavfi", "-i",
                        "sine", "-map", "0", "-map", "1", "-map", "1", "-t", "1", str(path)], check=True, timeout=20)
        before = path.read_bytes()

        def stopped_already():
            signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGTERM])
            os.kill(os.getpid(), signal.SIGTERM)

        with Recorder(path, REGION, raw=self.folder / "raw.mp4", prepare=stopped_already) as recorder:
            self.assertEqual(recorder.wait(), 1)
            self.assertRegex(recorder.errors, r"\A[^\n]*precious\.mp4[^\n]* \(POSIX 17\)\n\Z")
        self.assertEqual(path.read_bytes(), before)
        self.assert_left_alone(self.folder, "precious.mp4")

    def test_a_folder_that_does_not_exist_is_an_error(self):
        with Recorder(self.folder / "nowhere" / "x.mp4", REGION) as recorder:
            self.assertEqual(recorder.wait(), 1)
            self.assertRegex(recorder.errors, r"\A[^\n]+ \(POSIX 2\)\n\Z")

    def test_a_read_only_disk_is_an_error(self):
        # Mounted where the recorder alone sees it, so that nothing is left to unmount. Who is not root becomes it.
        mount = 'mount -t tmpfs -o ro tmpfs "$0" && exec "$@"'
        root = [] if os.geteuid() == 0 else ["--map-root-user"]
        folder = self.folder / "disk"
        folder.mkdir()
        with Recorder(folder / "x.mp4", REGION,
                      launcher=["unshare", "--mount", *root, "sh", "-c", mount, str(folder)]) as recorder:
            self.assertEqual(recorder.wait(), 1)
            self.assertRegex(recorder.errors, r"\A[^\n]*x\.mp4[^\n]* \(POSIX 30\)\n\Z")
            self.assertEqual(recorder.events, [])
        self.assert_left_alone(folder)

    def test_without_a_display_server_recording_is_refused(self):
        for display in ("", ":4711"):
            with self.subTest(display=display), \
                    Recorder(self.folder / "x.mp4", REGION, display=display) as recorder:
                self.assertEqual(recorder.wait(), 1)
                self.assertRegex(recorder.errors, r"\A[^\n]+ \(X11 -?\d+\)\n\Z")
                self.assertEqual(recorder.events, [])
        self.assert_left_alone(self.folder)


class Endings(SystemTest):
    def test_signals_end_the_recording_well(self):
        rows = [("interrupt", [signal.SIGINT], None),
                ("termination", [signal.SIGTERM], None),
                ("both, again and again", [signal.SIGINT, signal.SIGTERM, signal.SIGINT, signal.SIGTERM], None),
                ("a signal that the parent had ignored", [signal.SIGINT],
                 lambda: signal.signal(signal.SIGINT, signal.SIG_IGN)),
                ("a signal that the parent had blocked", [signal.SIGTERM],
                 lambda: signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGTERM]))]
        with desktop.picture("counter", *REGION):
            for name, signals, prepare in rows:
                with self.subTest(name), \
                        Recorder(self.folder / f"{name}.mp4", REGION, prepare=prepare) as recorder:
                    recorder.wait_until_started()
                    time.sleep(0.4)
                    recorder.stop(signals[0])
                    with contextlib.suppress(ProcessLookupError):
                        for number in signals[1:]:
                            os.kill(recorder.process.pid, number)
                    recorder.wait()
                    self.assert_succeeded(recorder)
                    self.assertEqual([event.line for event in recorder.events[1:]],
                                     ['{"kind":"finishing"}\n', '{"kind":"processing"}\n'])
                    self.assertRegex(recorder.events[0].line, r'\A\{"kind":"started","wallClock":\d+\.\d+\}\n\Z')
                    self.assert_finished(recorder.output)

    def test_signals_while_the_sounds_are_mixed_change_nothing(self):
        with desktop.picture("counter", *REGION), desktop.tone("speakers", 440, 0.2):
            # The mixing takes a twentieth of a second, which this process may sleep through on a busy machine.
            sent = 0
            for attempt in range(5):
                name = f"mixed {attempt}.mp4"
                sent += self.record_with_signals_while_mixing(self.folder / name)
                (self.folder / name).unlink()
                if sent:
                    break
        self.assertGreater(sent, 0, "the mixing was always over before the signals came")
        self.assert_left_alone(self.folder)

    def record_with_signals_while_mixing(self, path):
        """How many signals came while the sounds were mixed; the recording is as good as any."""
        with Recorder(path, REGION, system=True, microphone=True) as recorder:
            zero = recorder.wait_until_started()
            time.sleep(3)
            recorder.stop()
            recorder.wait_for("processing")
            sent = 0
            while recorder.process.poll() is None:
                with contextlib.suppress(ProcessLookupError):
                    for number in (signal.SIGTERM, signal.SIGINT):
                        os.kill(recorder.process.pid, number)
                        sent += 1
                time.sleep(0.002)
            recorder.wait()
        self.assert_succeeded(recorder)
        movie = self.assert_finished(path)
        self.assertEqual(movie.kinds(), ["video", "audio"])
        for stream in movie.streams:
            self.assertAlmostEqual(float(stream["duration"]), recorder.signalled - zero, delta=0.1)
        self.assertGreater(rms(movie.sound(0)[24000:120000]), 0.05)
        return sent

    def test_the_parents_death_ends_the_recording_well(self):
        # The recorder becomes ours when its own parent dies, so that its exit status can be seen.
        ctypes.CDLL(None, use_errno=True).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
        self.addCleanup(ctypes.CDLL(None).prctl, PR_SET_CHILD_SUBREAPER, 0, 0, 0, 0)
        output = self.folder / "orphan.mp4"
        arguments = [PROGRAM, "record", "--output", str(output), "--width", "544", "--height", "64"]
        with desktop.picture("counter", *REGION):
            # The recorder's number comes first; unbuffered, because read_line() waits at the pipe.
            parent = subprocess.Popen(["sh", "-c", """sh -c 'echo $$; exec "$@"' sh "$@" & wait""", "sh", *arguments],
                                      stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, bufsize=0)
            with parent:
                child = int(desktop.read_line(parent))
                self.assertIn('"started"', desktop.read_line(parent))
                time.sleep(1)
                parent.kill()
                lines = parent.stdout.read().decode()
                errors = parent.stderr.read().decode()
                _, status = os.waitpid(child, 0)
        self.assertEqual((os.waitstatus_to_exitcode(status), errors), (0, ""))
        self.assertEqual(lines, '{"kind":"finishing"}\n{"kind":"processing"}\n')
        self.assertGreater(self.assert_finished(output).duration, 0.8)
        self.assert_left_alone(self.folder, "orphan.mp4")

    @attempted
    def test_a_killed_recorder_leaves_a_movie_up_to_its_last_two_seconds(self):
        with desktop.picture("counter", *REGION), desktop.picture("pattern", 0, 100), \
                Recorder(self.folder / "moving.mp4", REGION, system=True, microphone=True) as moving, \
                Recorder(self.folder / "still.mp4", (0, 100, 640, 480), system=True) as still:
            zeros = {recorder: recorder.wait_until_started() for recorder in (moving, still)}
            time.sleep(4.5)
            for recorder in (moving, still):
                recorder.stop(signal.SIGKILL)
            for recorder, zero in zeros.items():
                self.assertEqual(recorder.wait(), -signal.SIGKILL)
                movie = Movie(recorder.output)
                movie.check_playable()
                length = recorder.signalled - zero
                self.assertLess(movie.duration, length + 0.1)
                # A disk may take its time.
                with unless_disturbed():
                    self.assertGreater(movie.duration, length - 2)
                    if recorder is moving:
                        self.assertGreater(movie.times()[-1], length - 2)

    def test_a_full_disk_ends_the_recording_and_keeps_what_there_is(self):
        with desktop.picture("motion", 0, 0, 1280, 720), self.small_disk() as (folder, code, prepare), \
                Recorder(folder / "full.mp4", (0, 0, 1280, 720), microphone=True, prepare=prepare) as recorder:
            recorder.wait_until_started()
            self.assertEqual(recorder.wait(30), 1)
            self.assertRegex(recorder.errors, rf"\A[^\n]+ \(POSIX {code}\)\n\Z")
            self.assertEqual(recorder.kinds(), ["started", "finishing"])
            length = recorder.ended - recorder.spawned
            movie = Movie(recorder.output)
            movie.check_playable()
            self.assertGreater(movie.duration, max(1.0, length - 4))
            self.assert_left_alone(folder, "full.mp4")

    @contextlib.contextmanager
    def small_disk(self):
        """A folder with room for some seconds; the error when it is full; what to do before the program runs."""
        size = 11 << 20
        folder = self.folder / "disk"
        folder.mkdir()
        if os.geteuid() == 0:
            subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}", "tmpfs", str(folder)], check=True)
            try:
                yield folder, 28, None
            finally:
                subprocess.run(["umount", "--lazy", str(folder)], check=True)
        else:
            # Mounting takes root; a limit on the size of files fails in the same calls with another code.
            def limit():
                signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
                resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
            yield folder, 27, limit


class Parents(SystemTest):
    """Parents that do not behave."""

    def test_a_parent_that_never_reads_does_not_stall_the_recording(self):
        read_end, write_end = os.pipe()
        self.addCleanup(os.close, read_end)
        fcntl.fcntl(write_end, fcntl.F_SETFL, os.O_NONBLOCK)
        with contextlib.suppress(BlockingIOError):
            while True:
                os.write(write_end, b"x" * 4096)
        with contextlib.suppress(BlockingIOError):
            while True:
                os.write(write_end, b"x")
        fcntl.fcntl(write_end, fcntl.F_SETFL, 0)
        output = self.folder / "unread.mp4"
        with desktop.picture("counter", *REGION):
            process = subprocess.Popen(
                [PROGRAM, "record", "--output", str(output), "--width", "544", "--height", "64",
                 "--system-audio", "true"], stdin=subprocess.PIPE, stdout=write_end, stderr=subprocess.PIPE)
            os.close(write_end)
            with process:
                desktop.wait_until(output.exists, 10, "the movie")
                time.sleep(4)
                process.send_signal(signal.SIGINT)
                # Two lines of up to a second's patience each, and the finish itself.
                process.wait(8)
                errors = process.stderr.read()
        self.assertEqual((process.returncode, errors), (0, b""))
        movie = self.assert_finished(output)
        self.assertGreater(movie.duration, 3.5)
        # Only the first line may hold pictures up, for a second at most.
        times = movie.times()
        self.assertLess(float(numpy.diff(times[times > 1.3]).max()), 0.9)

    def test_closed_standard_streams_do_not_stop_the_recording(self):
        for name, stdin in (("closed input", subprocess.PIPE), ("no input", subprocess.DEVNULL)):
            with self.subTest(name), Recorder(self.folder / f"{name}.mp4", REGION, stdin=stdin) as recorder:
                recorder.wait_until_started()
                if stdin == subprocess.PIPE:
                    recorder.write(b'{"id":"cut off","source":"sys')
                    recorder.process.stdin.close()
                time.sleep(0.6)
                self.assertIsNone(recorder.process.poll())
                recorder.finish()
                self.assert_succeeded(recorder)
                self.assertGreater(self.assert_finished(recorder.output).duration, 0.5)

    def test_commands_that_nobody_hears_answered_do_not_stall_the_recording(self):
        read_end, write_end = os.pipe()
        self.addCleanup(os.close, read_end)
        fcntl.fcntl(write_end, fcntl.F_SETPIPE_SZ, 4096)
        output = self.folder / "unanswered.mp4"
        command = b'{"id":"%d","source":"microphone","enabled":false}\n'
        with desktop.picture("counter", *REGION), subprocess.Popen(
                [PROGRAM, "record", "--output", str(output), "--width", "544", "--height", "64",
                 "--system-audio", "true"], stdin=subprocess.PIPE, stdout=write_end, stderr=subprocess.PIPE) as process:
            os.close(write_end)
            desktop.wait_until(output.exists, 10, "the movie")
            time.sleep(1)
            process.stdin.write(b"".join(command % number for number in range(200)))
            process.stdin.flush()
            time.sleep(2)
            process.send_signal(signal.SIGINT)
            process.wait(20)
            self.assertEqual((process.returncode, process.stderr.read()), (0, b""))
        self.assertGreater(self.assert_finished(output).duration, 2.5)

    def test_streams_that_were_closed_before_the_start_are_nobodys(self):
        for name, closed in (("input and output", (0, 1)), ("all", (0, 1, 2))):
            with self.subTest(name):
                output = self.folder / f"without {name}.mp4"
                log = self.folder / f"without {name}.jsonl"

                def close_streams(numbers=closed):
                    for number in numbers:
                        os.close(number)

                with desktop.picture("counter", *REGION), subprocess.Popen(
                        [PROGRAM, "record", "--output", str(output), "--width", "544", "--height", "64",
                         "--system-audio", "true", "--health-path", str(log)],
                        stderr=subprocess.DEVNULL, preexec_fn=close_streams) as process:
                    desktop.wait_until(output.exists, 10, "the movie")
                    time.sleep(1.5)
                    process.send_signal(signal.SIGINT)
                    self.assertEqual(process.wait(10), 0)
                self.assertGreater(self.assert_finished(output).duration, 1)
                lines = log.read_text(encoding="utf-8").splitlines()
                self.assertTrue(lines)
                for line in lines:
                    self.assertEqual(json.loads(line)["type"], "recorder-health")

    def test_a_parent_that_closes_its_end_of_the_output_does_not_stop_the_recording(self):
        output = self.folder / "closed.mp4"
        process = subprocess.Popen(
            [PROGRAM, "record", "--output", str(output), "--width", "544", "--height", "64", "--microphone", "yes"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        with process:
            self.assertIn('"started"', desktop.read_line(process))
            process.stdout.close()
            time.sleep(1)
            self.assertIsNone(process.poll())
            process.send_signal(signal.SIGINT)
            self.assertEqual((process.wait(10), process.stderr.read()), (0, b""))
        self.assertGreater(self.assert_finished(output).duration, 0.8)

    def test_garbage_among_the_commands_is_passed_over(self):
        command = b'{"id":"%s","source":"microphone","enabled":false}'
        longest = command % b"longest"
        too_long = command % b"too long"
        lines = [
            b"", b"garbage", b"\xff\xfe\x00", b"[]", b"{}", b'{"id":"no source","enabled":true}',
            b'{"id":"a camera","source":"camera","enabled":true}',
            b'{"id":"a number","source":"microphone","enabled":1}',
            longest + b" " * (16384 - len(longest)),
            too_long + b" " * (16385 - len(too_long)),
            command % b"carriage return" + b"\r",
            b'{"extra":{"a":[1,2]},"enabled":true,"source":"microphone","id":""}',
            command % b"a/b",
        ]
        with Recorder(self.folder / "garbage.mp4", REGION, microphone=True) as recorder:
            recorder.wait_until_started()
            recorder.write(b"\n".join(lines) + b"\n")
            recorder.wait_for(lambda event: event.members.get("commandID") == "a/b")
            recorder.finish()
        self.assert_succeeded(recorder)
        answers = [event for event in recorder.events if event.kind == "audioState"]
        self.assertEqual([event.members["commandID"] for event in answers],
                         ["longest", "carriage return", "", "a/b"])
        self.assertEqual(answers[-1].line, '{"kind":"audioState","microphoneEnabled":false,"systemEnabled":false,'
                                           '"commandID":"a\\/b"}\n')


class Displays(SystemTest):
    """Displays that go away while they are recorded."""

    def check_ended_by_itself(self, recorder, zero, cause, message):
        """The movie lasts from `zero` until some time between `cause` and the warning."""
        self.assertEqual(recorder.wait(), 1)
        self.assertEqual(recorder.kinds(), ["started", "warning", "finishing"])
        warning = next(event for event in recorder.events if event.kind == "warning")
        self.assertEqual(list(warning.members), ["kind", "error"])
        self.assertRegex(warning.members["error"], message)
        self.assertRegex(recorder.errors, r"\A" + message + r" \(X11 -?\d+\)\n\Z")
        movie = self.assert_finished(recorder.output)
        self.assertGreater(movie.duration, cause - zero - 0.3)
        self.assertLess(movie.duration, warning.arrival - zero + 0.1)

    def test_a_display_that_is_removed_ends_the_recording_with_a_warning(self):
        with desktop.x_server("1280x480x24") as (_, display):
            desktop.xrandr("--setmonitor", "left", "640/169x480/127+0+0", "screen", display=display)
            desktop.xrandr("--setmonitor", "right", "640/169x480/127+640+0", "none", display=display)
            with Recorder(self.folder / "removed.mp4", (700, 100, 320, 240), system=True,
                          display=display) as recorder:
                zero = recorder.wait_until_started()
                time.sleep(1.2)
                removed = time.monotonic()
                desktop.xrandr("--delmonitor", "right", display=display)
                self.check_ended_by_itself(recorder, zero, removed,
                                           r"The display that is being recorded was disconnected\.")

    def test_an_x_server_that_dies_ends_the_recording_with_a_warning(self):
        with desktop.x_server("640x480x24") as (server, display), \
                Recorder(self.folder / "dead.mp4", (0, 0, 320, 240), system=True, display=display) as recorder:
            zero = recorder.wait_until_started()
            time.sleep(1.2)
            killed = time.monotonic()
            server.kill()
            self.check_ended_by_itself(recorder, zero, killed, r"The connection to the X server was lost\.")


if __name__ == "__main__":
    unittest.main()
