"""Drives the webcam bubble as its parent would, and looks at the screen as a user does."""

import contextlib
import os
import re
import subprocess
import time

import numpy

from desktop import end, screenshot, tool, wait_until
from recorder import PROGRAM, heed_interrupts

BACKGROUND = (0x40, 0x60, 0xA0)
QUADRANTS = [(0xE0, 0x20, 0x20), (0x20, 0xC0, 0x20), (0x20, 0x40, 0xE0), (0xE0, 0xD0, 0x20)]


def camera(name, *options):
    """A camera of that name; by default its picture is QUADRANTS (see camera_source)."""
    return tool("camera_source", name, *options)


def fill_background(display=None):
    environment = {**os.environ, **({"DISPLAY": display} if display else {})}
    subprocess.run(["xsetroot", "-solid", "#%02x%02x%02x" % BACKGROUND], check=True, timeout=10, env=environment)


def is_near(pixel, color, tolerance=8):
    return all(abs(int(a) - b) <= tolerance for a, b in zip(pixel, color))


def outline(width, height, radius):
    """For each pixel of a rounded rectangle how far inside its middle lies, in pixels."""
    x = numpy.abs(numpy.arange(width) + 0.5 - width / 2) - (width / 2 - radius)
    y = numpy.abs(numpy.arange(height) + 0.5 - height / 2) - (height / 2 - radius)
    x, y = numpy.meshgrid(x, y)
    outside = numpy.hypot(numpy.maximum(x, 0), numpy.maximum(y, 0)) + numpy.minimum(numpy.maximum(x, y), 0)
    return radius - outside


class Bubble:
    """A bubble's process. Use it in a with statement: it is gone afterwards, whatever happened."""

    def __init__(self, rect, *options, display=None, environment=None):
        self.display = display
        self.environment = dict(os.environ if environment is None else environment)
        if display is not None:
            self.environment["DISPLAY"] = display
        words = [PROGRAM, "webcam-preview", *(["--rect", rect] if rect is not None else []), *options]
        self.process = subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        env=self.environment, preexec_fn=heed_interrupts)
        self.output = self.errors = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        end(self.process)
        for pipe in (self.process.stdin, self.process.stdout, self.process.stderr):
            with contextlib.suppress(BrokenPipeError):
                pipe.close()

    def command(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def wait(self, seconds=10):
        """The exit status; output and errors, which are short, are then known. Its input stays open."""
        self.process.wait(seconds)
        self.output, self.errors = (pipe.read().decode() for pipe in (self.process.stdout, self.process.stderr))
        return self.process.returncode

    def window(self):
        """The number of its window, as a number."""
        tree = subprocess.run(["xwininfo", "-root", "-children"], check=True, capture_output=True, text=True,
                              timeout=10, env=self.environment).stdout
        found = re.search(r'(0x[0-9a-f]+) "Quorvane Webcam"', tree)
        return int(found[1], 16) if found else None

    def properties(self, *names):
        return subprocess.run(["xprop", "-id", str(self.window()), *names], check=True, capture_output=True,
                              text=True, timeout=10, env=self.environment).stdout

    def shows(self, x, y, width, height, colors=QUADRANTS):
        """Whether these colors fill the quarters of the rectangle (from the upper left) on the screen."""
        screen = screenshot(self.environment["DISPLAY"])
        points = [(x + width * (1 + 2 * (index % 2)) // 4, y + height * (1 + 2 * (index // 2)) // 4)
                  for index in range(4)]
        return all(0 <= top < screen.shape[0] and 0 <= left < screen.shape[1] and is_near(screen[top, left], color)
                   for (left, top), color in zip(points, colors))

    def wait_until_shows(self, x, y, width, height, colors=QUADRANTS, seconds=15):
        """Pixels from the upper left of the root window."""
        if not isinstance(colors, list):
            colors = [colors] * 4
        try:
            wait_until(lambda: self.shows(x, y, width, height, colors), seconds, f"{colors} at {x},{y}")
        except AssertionError as error:
            raise AssertionError(f"{error}; status {self.process.poll()}") from None


def stays(condition, seconds):
    """Whether the condition holds again and again for that long."""
    deadline = time.monotonic() + seconds
    while True:
        holds = condition()
        # A look that ended too late tells nothing.
        if time.monotonic() >= deadline:
            return True
        if not holds:
            return False
        time.sleep(0.05)
