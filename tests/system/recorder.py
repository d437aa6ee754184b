"""Drives one run of the recorder as its parent would, and keeps everything that it says and when.

Times are host times in seconds (CLOCK_MONOTONIC) unless a name says otherwise. Every wait is bounded.
"""

import contextlib
import json
import os
import signal
import subprocess
import threading
import time
from pathlib import Path

PROGRAM = os.environ.get(
    "QUORVANE_RECORDER", str(Path(__file__).resolve().parents[2] / "build/release/quorvane-recorder"))


def heed_interrupts():
    """For the child: a test run in the background has been told to ignore interrupts, and would pass that on."""
    signal.signal(signal.SIGINT, signal.SIG_DFL)


def wall_clock_offset():
    """Seconds by which the wall clock is ahead of the host clock: of several looks at both the one that was
    interrupted least."""
    looks = []
    for _ in range(20):
        before, wall, after = time.monotonic(), time.time(), time.monotonic()
        looks.append((after - before, wall - (before + after) / 2))
    return min(looks)[1]


class Event:
    """One line of standard output."""

    def __init__(self, line, arrival):
        self.line = line
        self.arrival = arrival
        self.members = json.loads(line)
        self.kind = self.members["kind"]

    def __repr__(self):
        return self.line


class Recorder:
    """A recorder process. Use it in a with statement: it is gone afterwards, whatever happened."""

    def __init__(self, output, region=(0, 0, 640, 480), *, system=False, microphone=False, quality="highest",
                 raw=None, options=(), environment=None, display=None, stdin=subprocess.PIPE, prepare=None,
                 launcher=()):
        x, y, width, height = region
        # The launcher's words come first; it ends in the recorder by exec, so the process is the same.
        self.arguments = [*launcher, PROGRAM, "record", "--output", str(output), "--x", str(x), "--y", str(y),
                          "--width", str(width), "--height", str(height),
                          "--system-audio", str(system).lower(), "--microphone", str(microphone).lower(),
                          "--video-quality", quality, *options]
        self.output = Path(output)
        # The copy from before the mix-down: there system audio and microphone are still tracks of their own.
        self.raw = raw
        if raw is not None:
            self.arguments += ["--raw-output", str(raw)]
        self.environment = dict(os.environ if environment is None else environment)
        if display is not None:
            self.environment["DISPLAY"] = display
        self.events = []
        self.errors = ""
        self.spawned = time.monotonic()
        self.ended = None  # when the process was seen to have ended
        self.signalled = None  # when stop() sent its signal
        self._changed = threading.Condition()
        self._commands = 0
        self.process = subprocess.Popen(
            self.arguments, stdin=stdin, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            env=self.environment, preexec_fn=prepare or heed_interrupts)
        self._threads = [threading.Thread(target=work, daemon=True)
                         for work in (self._read_events, self._read_errors, self._await_end)]
        for thread in self._threads:
            thread.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        for thread in self._threads:
            thread.join(10)
        if any(thread.is_alive() for thread in self._threads):
            return  # something else holds a pipe open; closing it here would wait for that
        for pipe in (self.process.stdin, self.process.stdout, self.process.stderr):
            if pipe is not None:
                with contextlib.suppress(BrokenPipeError):
                    pipe.close()

    def _read_events(self):
        for line in self.process.stdout:
            arrival = time.monotonic()
            with self._changed:
                self.events.append(Event(line.decode(), arrival))
                self._changed.notify_all()

    def _read_errors(self):
        self.errors = self.process.stderr.read().decode()

    def _await_end(self):
        self.process.wait()
        with self._changed:
            self.ended = time.monotonic()
            self._changed.notify_all()

    def kinds(self):
        """The kinds of the lines so far, levels left out."""
        return [event.kind for event in self.events if event.kind != "levels"]

    def wait_for(self, matches, seconds=10):
        """The first event that matches (a kind, or a function of an event)."""
        if isinstance(matches, str):
            kind = matches
            matches = lambda event: event.kind == kind  # noqa: E731
        deadline = time.monotonic() + seconds
        with self._changed:
            while True:
                for event in self.events:
                    if matches(event):
                        return event
                left = deadline - time.monotonic()
                if left <= 0 or (self.ended is not None and not self._threads[0].is_alive()):
                    raise AssertionError(f"no such event came; events: {self.events[-5:]}, "
                                         f"status: {self.process.returncode}, errors: {self.errors!r}")
                self._changed.wait(min(left, 0.1))

    def wait_until_started(self):
        """The host time of the movie's time 0, by the program's own account."""
        wall_clock = self.wait_for("started").members["wallClock"]
        return wall_clock - wall_clock_offset()

    def write(self, data):
        self.process.stdin.write(data)
        self.process.stdin.flush()

    def command(self, source, enabled):
        """Sends a command; gives when it was sent and the answering event."""
        self._commands += 1
        name = f"c-{self._commands}"
        sent = time.monotonic()
        self.write(json.dumps({"id": name, "source": source, "enabled": enabled}).encode() + b"\n")
        return sent, self.wait_for(lambda event: event.members.get("commandID") == name, 5)

    def stop(self, number=signal.SIGINT):
        self.signalled = time.monotonic()
        self.process.send_signal(number)

    def wait(self, seconds=20):
        """The exit status, once all output has been read."""
        self.process.wait(seconds)
        for thread in self._threads:
            thread.join(seconds)
        return self.process.returncode

    def finish(self, number=signal.SIGINT):
        """Stops the recording and gives the exit status."""
        self.stop(number)
        return self.wait()
