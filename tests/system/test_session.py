"""The private desktop itself: what runs inside, and that nothing of it is left."""

import contextlib
import os
import signal
import subprocess
import unittest
from pathlib import Path

import desktop
from case import SystemTest

SCRIPT = str(desktop.SESSION_SCRIPT)


def processes_of(folder):
    """Processes with that session in their environment."""
    wanted = f"QUORVANE_DESKTOP_SESSION={folder}".encode()
    found = []
    for path in Path("/proc").glob("[0-9]*/environ"):
        try:
            if wanted in path.read_bytes().split(b"\0"):
                found.append(path.parent.name)
        except OSError:
            pass  # ended meanwhile
    return found


@contextlib.contextmanager
def session(command, *options):
    """A session that runs the command: (process, folder); the folder is the first line that it prints."""
    # A test run in the background or by nohup has been told to ignore some of them, and a shell keeps to that.
    def heed_signals():
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, signal.SIG_DFL)

    process = subprocess.Popen([SCRIPT, *options, "--", "bash", "-c", f'echo "$QUORVANE_DESKTOP_SESSION"; {command}'],
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                               preexec_fn=heed_signals)
    try:
        folder = desktop.read_line(process, 30)
        if not folder:
            raise AssertionError(f"no session: {process.stderr.read().decode()}")
        yield process, folder
    finally:
        desktop.end(process)
        process.stdout.close()
        process.stderr.close()


class Session(SystemTest):
    def assert_nothing_left(self, folder):
        self.assertTrue(folder.startswith("/tmp/"), folder)
        self.assertFalse(os.path.exists(folder))
        self.assertEqual(processes_of(folder), [])

    def test_the_commands_status_and_output_pass_through_and_nothing_is_left(self):
        # One process leaves its parent and its process group; it is ended all the same.
        with session("(setsid sleep 1000 &); cat; exit 7") as (process, folder):
            self.assertEqual(process.wait(30), 7)
            self.assert_nothing_left(folder)

    def test_an_interrupted_session_leaves_nothing(self):
        for number, status in ((signal.SIGINT, 130), (signal.SIGTERM, 143), (signal.SIGHUP, 129)):
            with self.subTest(signal=number.name), session("sleep 1000 & sleep 1001") as (process, folder):
                self.assertGreaterEqual(len(processes_of(folder)), 8)
                process.send_signal(number)
                self.assertEqual(process.wait(30), status)
                self.assert_nothing_left(folder)

    def test_sessions_side_by_side_have_displays_and_sound_of_their_own(self):
        report = ('echo "$DISPLAY"; pactl get-default-sink; pactl get-default-source; xdpyinfo | grep dimensions; '
                  "sleep 5")
        with session(report) as first, session(report, "--size", "800x600x24") as second:
            displays = []
            for (process, folder), size in ((first, "1920x1080"), (second, "800x600")):
                display, sink, source, dimensions = process.stdout.read().decode().splitlines()
                self.assertEqual((sink, source, dimensions.split()[1]), ("speakers", "labmic", size))
                displays.append(display)
                self.assertEqual(process.wait(30), 0)
                self.assert_nothing_left(folder)
        self.assertNotEqual(first[1], second[1])
        self.assertNotEqual(*displays)


if __name__ == "__main__":
    unittest.main()
