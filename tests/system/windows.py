"""Windows of known colours, window managers and compositing managers for the tests of window recording."""

import contextlib
import os
import re
import select
import subprocess

import desktop

RED, GREEN, BLUE, WHITE, GREY = (255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 255), (128, 128, 128)
BLACK = (0, 0, 0)


class Windows:
    """A window_source: a program with windows of its own; commands go to its newest one."""

    def __init__(self, process, identifiers):
        self.process = process
        self.identifiers = identifiers

    @property
    def identifier(self):
        return self.identifiers[-1]

    def command(self, *words):
        """Returns when the X server has done it; gives what was answered before "done"."""
        self.process.stdin.write((" ".join(map(str, words)) + "\n").encode())
        self.process.stdin.flush()
        answers = []
        while (line := desktop.read_line(self.process)) != "done":
            answers.append(line)
        return answers

    def open(self, *options):
        self.identifiers.append(int(self.command("open", *options)[0]))
        return self.identifier


@contextlib.contextmanager
def window(x, y, width, height, *options, display=None):
    """A program that shows a window; its client area lies there."""
    arguments = ["--x", x, "--y", y, "--width", width, "--height", height, *options]
    process = subprocess.Popen([str(desktop.TOOLS / "window_source"), *map(str, arguments)], stdin=subprocess.PIPE,
                               stdout=subprocess.PIPE, bufsize=0, env=environment(display))
    try:
        line = desktop.read_line(process)
        if line != "ready":
            raise AssertionError(f"window_source did not start: {line!r}")
        yield Windows(process, [int(desktop.read_line(process))])
    finally:
        desktop.end(process)
        process.stdin.close()
        process.stdout.close()


@contextlib.contextmanager
def managed_window(*arguments, display):
    """The same, once the window manager lists it, which is the last that it does with a new window."""
    with window(*arguments, display=display) as shown:
        def is_listed():
            clients = subprocess.run(["xprop", "-root", "_NET_CLIENT_LIST"], env=environment(display), check=True,
                                     capture_output=True, text=True, timeout=10).stdout
            return shown.identifier in [int(word, 16) for word in re.findall("0x[0-9a-f]+", clients)]
        desktop.wait_until(is_listed, 10, "the managed window")
        yield shown


def environment(display):
    return dict(os.environ) if display is None else {**os.environ, "DISPLAY": display}


@contextlib.contextmanager
def window_manager(display):
    """openbox on that display."""
    # What it is to run at its start tells that it heeds new windows, which its properties do not.
    heard, said = os.pipe()
    process = subprocess.Popen(["openbox", "--sm-disable", "--startup", f"sh -c 'echo >/proc/{os.getpid()}/fd/{said}'"],
                               env=environment(display), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    try:
        if not select.select([heard], [], [], 30)[0]:
            raise AssertionError("openbox was not there within 30 s")
        yield
    finally:
        desktop.end(process)
        os.close(heard)
        os.close(said)


@contextlib.contextmanager
def picom(display=None):
    """It on that display (None: this one), without shadows and fading; gives its process."""
    process = subprocess.Popen(["picom", "--config", "/dev/null", "--backend", "xrender"], env=environment(display),
                               stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        yield process
    finally:
        desktop.end(process)


@contextlib.contextmanager
def compositing_manager(display):
    """picom on that display, which has no background, once it has taken over."""
    with picom(display):
        # Then it paints a background of its own.
        desktop.wait_until(lambda: screen_colour(4, 4, display) == GREY, 30, "picom")
        yield


def screen_colour(x, y, display):
    """What the screen itself shows there."""
    return tuple(desktop.screenshot(display)[y, x])
