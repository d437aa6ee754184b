"""Pictures, sound, pointers and X servers for the tests; all of it ends with its with statement."""

import contextlib
import math
import os
import select
import signal
import struct
import subprocess
import tempfile
import time
import wave
from pathlib import Path

import numpy

ROOT = Path(__file__).resolve().parents[2]
TOOLS = Path(os.environ.get("QUORVANE_TOOLS", ROOT / "build/release"))
SESSION_SCRIPT = ROOT / "scripts/desktop-session"


def end(process):
    if process.poll() is None:
        process.terminate()
        try:
            process.wait(5)
        except subprocess.TimeoutExpired:
            process.kill()
    process.wait()


def read_line(process, seconds=10):
    """One line of the process's standard output, within that time."""
    if not select.select([process.stdout], [], [], seconds)[0]:
        raise AssertionError(f"{process.args[0]} said nothing within {seconds} s")
    return process.stdout.readline().decode().strip()


@contextlib.contextmanager
def tool(name, *arguments, display=None):
    """One of the tools of tests/system/tools, once it says that it is ready."""
    environment = dict(os.environ)
    if display is not None:
        environment["DISPLAY"] = display
    process = subprocess.Popen([str(TOOLS / name), *map(str, arguments)], stdout=subprocess.PIPE, env=environment)
    try:
        line = read_line(process)
        if line != "ready":
            raise AssertionError(f"{name} did not start: {line!r}")
        yield process
    finally:
        end(process)
        process.stdout.close()


def picture(kind, x=0, y=0, width=640, height=480, *options, display=None):
    """A test picture on the screen (see picture_source)."""
    return tool("picture_source", kind, "--x", x, "--y", y, "--width", width, "--height", height, *options,
                display=display)


def read_draw_log(path):
    """Number -> (host time before, host time after) of its drawing, in seconds."""
    drawings = {}
    for line in Path(path).read_text(encoding="ascii").splitlines():
        number, before, after = map(int, line.split())
        drawings[number] = (before / 1e9, after / 1e9)
    return drawings


@contextlib.contextmanager
def tone(target, frequency, amplitude, seconds=60):
    """A sine on both channels of a sink, heard from when this returns until the with statement ends."""
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / "tone.wav"
        period = 48000  # whole periods fit in a second for whole frequencies
        one_second = b"".join(
            struct.pack("<hh", *[round(amplitude * 32767 * math.sin(2 * math.pi * frequency * n / period))] * 2)
            for n in range(period))
        with wave.open(str(path), "wb") as file:
            file.setnchannels(2)
            file.setsampwidth(2)
            file.setframerate(48000)
            file.writeframes(one_second * seconds)
        player = subprocess.Popen(["pw-play", f"--target={target}", "--volume=1.0", str(path)])
        try:
            wait_until(lambda: is_playing(path), 10, "the tone")
            yield player
        finally:
            end(player)


def is_playing(path):
    """Whether some player's stream of that file is going out."""
    try:
        inputs = subprocess.run(["pactl", "list", "sink-inputs"], capture_output=True, text=True, timeout=5,
                                env={**os.environ, "LC_ALL": "C"})
    except subprocess.TimeoutExpired:
        return False
    return any(f'media.filename = "{path}"' in block and "Corked: no" in block
               for block in inputs.stdout.split("Sink Input #"))


def wait_until(condition, seconds, what):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(f"{what} was not there within {seconds} s")
        time.sleep(0.02)


def move_pointer(x, y, display=None):
    environment = dict(os.environ)
    if display is not None:
        environment["DISPLAY"] = display
    subprocess.run(["xdotool", "mousemove", str(x), str(y)], check=True, timeout=10, env=environment)


def screenshot(display=None):
    """The screen as rows of pixels of three bytes: red, green, blue."""
    environment = {**os.environ, **({"DISPLAY": display} if display else {})}
    output = subprocess.run([str(TOOLS / "screenshot")], check=True, capture_output=True, timeout=20,
                            env=environment).stdout
    size, pixels = output.split(b"\n", 1)
    width, height = map(int, size.split())
    return numpy.frombuffer(pixels, numpy.uint8).reshape(height, width, 4)[:, :, 2::-1].astype(int)


@contextlib.contextmanager
def x_server(size="1920x1080x24", *, without=()):
    """An X server of the test's own, without these extensions; gives (process, display)."""
    extensions = [word for name in ("COMPOSITE", "DAMAGE", "RANDR", "MIT-SHM")
                  for word in ("-extension" if name in without else "+extension", name)]
    read_end, write_end = os.pipe()
    server = subprocess.Popen(
        ["Xvfb", "-displayfd", str(write_end), "-screen", "0", size, *extensions,
         "-nolisten", "tcp", "-noreset", "-s", "0"],
        pass_fds=[write_end], stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    os.close(write_end)
    try:
        if not select.select([read_end], [], [], 10)[0]:
            raise AssertionError("the X server did not start within 10 s")
        yield server, f":{os.read(read_end, 16).decode().strip()}"
    finally:
        os.close(read_end)
        end(server)


def xrandr(*arguments, display):
    subprocess.run(["xrandr", *arguments], check=True, timeout=10, env={**os.environ, "DISPLAY": display},
                   stdout=subprocess.DEVNULL)


@contextlib.contextmanager
def frozen_service(name):
    """Stops a service of the private desktop in its tracks; gives a function that lets it go on, as the end does."""
    services = Path(os.environ["QUORVANE_DESKTOP_SESSION"], "services").read_text(encoding="ascii").splitlines()
    process = int(next(line.split()[0] for line in services if line.split()[1] == name))
    os.kill(process, signal.SIGSTOP)
    try:
        yield lambda: os.kill(process, signal.SIGCONT)
    finally:
        os.kill(process, signal.SIGCONT)


def stop_sound_services():
    subprocess.run([str(SESSION_SCRIPT), "--sound", "stop"], check=True, timeout=20)


def start_sound_services():
    subprocess.run([str(SESSION_SCRIPT), "--sound", "start"], check=True, timeout=40)
