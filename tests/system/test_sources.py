"""What the recorder says of windows, displays, microphones and permissions, against what others say of them."""

import contextlib
import json
import os
import re
import signal
import subprocess
import sys
import unittest
from pathlib import Path

import desktop
from case import SystemTest, attempted, unless_disturbed
from recorder import PROGRAM


def run(*arguments, seconds=20, **environment):
    """One run of a one-shot command: (status, standard output, standard error)."""
    values = {**os.environ, **environment}
    result = subprocess.run([PROGRAM, *arguments], capture_output=True, timeout=seconds,
                            env={name: value for name, value in values.items() if value is not None})
    return result.returncode, result.stdout, result.stderr.decode()


def answer(*arguments, **environment):
    """The document that the command prints, as one line."""
    status, output, errors = run(*arguments, **environment)
    if (status, errors, output.count(b"\n")) != (0, "", 1):
        raise AssertionError((status, output, errors))
    return json.loads(output.decode())


def awaited(is_expected, *arguments, **environment):
    """The same, once it is as expected: services that are busy are not waited for by the command itself."""
    documents = []

    def is_there():
        documents.append(answer(*arguments, **environment))
        return is_expected(documents[-1])

    try:
        desktop.wait_until(is_there, 10, "the expected answer")
    except AssertionError as error:
        raise AssertionError(f"{error}; the last: {documents[-1]}") from None
    return documents[-1]


class Windows:
    """A window_source with windows in one process; more are opened and changed by commands."""

    def __init__(self, process, count):
        self.process = process
        self.ids = [int(desktop.read_line(process)) for _ in range(count)]

    def command(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()
        replies = []
        while (reply := desktop.read_line(self.process)) != "done":
            replies.append(reply)
        return replies

    def open(self, options):
        self.ids += map(int, self.command(f"open {options}"))
        return self.ids[-1]


@contextlib.contextmanager
def windows(*options, display=None, count=1):
    """Windows of the tool's, once the window manager has them too."""
    environment = {**os.environ, **({"DISPLAY": display} if display else {})}
    process = subprocess.Popen([str(desktop.TOOLS / "window_source"), *map(str, options)], stdin=subprocess.PIPE,
                               stdout=subprocess.PIPE, env=environment, bufsize=0)
    try:
        line = desktop.read_line(process, 60)
        if line != "ready":
            raise AssertionError(f"window_source did not start: {line!r}")
        yield Windows(process, count)
    finally:
        desktop.end(process)
        process.stdin.close()
        process.stdout.close()


def listed(identifier, display=None, seconds=10, expected=lambda window: True):
    """The window as the recorder lists it, once it is as expected."""
    found = []

    def there():
        sources = answer("list-sources", **({"DISPLAY": display} if display else {}))
        found[:] = [window for window in sources["windows"] if window["id"] == identifier]
        return found and expected(found[0])
    try:
        desktop.wait_until(there, seconds, "the window")
    except AssertionError:
        raise AssertionError(f"window {identifier} is listed as {found}") from None
    return found[0]


def wait_until_unlisted(identifier):
    desktop.wait_until(lambda: identifier not in [window["id"] for window in answer("list-sources")["windows"]], 10,
                       "the list without the window")


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=10).stdout


def frame_by_xwininfo(identifier):
    """Of the window manager's frame around the window."""
    frame = re.search(r"Parent window id: (\S+)", output("xwininfo", "-children", "-id", str(identifier)))[1]
    text = output("xwininfo", "-id", frame)
    numbers = {key: float(re.search(rf"{key}:\s+(-?\d+)", text)[1])
               for key in ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height")}
    return dict(zip(("x", "y", "width", "height"), numbers.values()))


class Listing(SystemTest):
    def test_a_window_is_what_others_say_of_it(self):
        with windows("--title", "One", "--class", "Klass", "--instance", "inst", "--x", 120, "--y", 90) as shown:
            window = listed(shown.ids[0], expected=lambda each: each["active"])
            self.assertIn(f"0x{shown.ids[0]:08x}", output("wmctrl", "-l"))
            self.assertEqual(window["frame"], frame_by_xwininfo(shown.ids[0]))
            displays = answer("list-sources")["displays"]
            self.assertEqual(window, {
                "id": shown.ids[0], "title": "One", "layer": 0, "onScreen": True, "active": True,
                "frame": window["frame"], "displayId": displays[0]["id"], "appName": "Klass", "bundleIdentifier": "",
                "processId": shown.process.pid})

    def test_titles_arrive_whole_whatever_they_hold(self):
        long = "0123456789" * 1024
        rows = [
            (["--title", 'say "hi" \\ a/b\t\u001b'], 'say "hi" \\ a/b\t\u001b'),
            (["--title", "\u65e5\u672c \U0001f600 e\u0301"], "\u65e5\u672c \U0001f600 e\u0301"),
            (["--title-hex", "61ff62c3"], "a\ufffdb\ufffd"),
            (["--title", long], long),
            (["--title", "", "--name", "other"], ""),
            (["--title", "new", "--name", "old"], "new"),
            (["--name-hex", "636166e9"], "caf\u00e9"),
            (["--name", "\u00e9", "--name-type", "UTF8_STRING"], "\u00e9"),
            (["--name-hex", "1b242842467c4b5c1b284221", "--name-type", "COMPOUND_TEXT"], "\u65e5\u672c!"),
            ([], ""),
        ]
        for options, title in rows:
            with self.subTest(title=title[:30]), windows(*options) as shown:
                self.assertEqual(listed(shown.ids[0])["title"], title)

    def test_only_windows_that_people_work_in_are_listed(self):
        with windows("--title", "normal") as shown:
            kept = [shown.ids[0], shown.open("--type DIALOG"), shown.open("--type UTILITY"),
                    shown.open("--type SPLASH"), shown.open("--undecorated --width 8 --height 8")]
            others = [shown.open("--type DOCK"), shown.open("--type DESKTOP"), shown.open("--type NOTIFICATION"),
                      shown.open("--override"), shown.open("--override --type POPUP_MENU"),
                      shown.open("--override --type TOOLTIP"), shown.open("--undecorated --width 7 --height 90")]
            for identifier in kept:
                listed(identifier)
            sources = answer("list-sources")
            self.assertEqual({window["id"] for window in sources["windows"]} & set(others), set())
            self.assertEqual([application["windowCount"] for application in sources["applications"]], [len(kept)])

    def test_what_is_not_seen_is_not_listed(self):
        with windows("--title", "below", "--class", "A") as below, windows("--title", "above") as above:
            listed(above.ids[0], expected=lambda window: window["active"])
            below.command("iconify")
            wait_until_unlisted(below.ids[0])
            below.command("map")
            below.command("activate")
            listed(below.ids[0], expected=lambda window: window["active"])
            for command in (("-b", "add,shaded"), ("-t", "1")):
                with self.subTest(command=command):
                    output("wmctrl", "-i", "-r", str(above.ids[0]), *command)
                    wait_until_unlisted(above.ids[0])
                    self.assertEqual([each["id"] for each in answer("list-sources")["windows"]], below.ids)
                    output("wmctrl", "-i", "-r", str(above.ids[0]), "-b", "remove,shaded")
                    if command[0] == "-b":
                        listed(above.ids[0])
            below.command("close")
            wait_until_unlisted(below.ids[0])

    def test_equals_come_topmost_first(self):
        def order():
            return [window["id"] for window in answer("list-sources")["windows"]]

        with windows("--count", 3, "--title", "same", count=3) as shown:
            first, second, third = shown.ids
            for identifier in shown.ids:
                shown.command("title same")
                output("wmctrl", "-i", "-r", str(identifier), "-T", "same")
            desktop.wait_until(lambda: order() == [third, second, first], 10, "the order of opening")
            output("wmctrl", "-i", "-a", str(first))
            desktop.wait_until(lambda: order() == [first, third, second], 10, "the order after a raise")

    def test_shadows_are_no_part_of_a_frame(self):
        with windows("--undecorated", "--shadow", 25, "--x", 200, "--y", 150, "--width", 300, "--height", 200) as shown:
            self.assertEqual(listed(shown.ids[0])["frame"], {"x": 225, "y": 175, "width": 250, "height": 150})

    def test_the_owner_is_the_process_behind_the_window(self):
        # What it says of itself does not count.
        with windows("--pid", 1, "--class", "Same") as one, windows("--class", "Same", "--title", "x") as two:
            two.open("--class Other --title y --x 400")
            listed(two.ids[1])
            sources = answer("list-sources")
            self.assertEqual({each["id"]: each["processId"] for each in sources["windows"]},
                             {one.ids[0]: one.process.pid, two.ids[0]: two.process.pid, two.ids[1]: two.process.pid})
            self.assertEqual(sorted((each["processId"], each["windowCount"]) for each in sources["applications"]),
                             sorted([(one.process.pid, 1), (two.process.pid, 2)]))

    def test_names_are_the_desktops(self):
        folder = self.folder / "applications"
        folder.mkdir()
        (folder / "org.example.Painter.desktop").write_text(
            "[Desktop Entry]\nType=Application\nName=Painter\nName[de]=Maler\nStartupWMClass=pntr\n")
        with windows("--class", "Pntr") as shown:
            listed(shown.ids[0])
            for locale, name in (("C", "Painter"), ("de_AT.UTF-8", "Maler")):
                sources = answer("list-sources", XDG_DATA_HOME=str(self.folder), LC_ALL=locale)
                self.assertEqual([(each["appName"], each["bundleIdentifier"]) for each in sources["applications"]],
                                 [(name, "org.example.Painter")])

    def test_a_program_of_the_systems(self):
        terminal = subprocess.Popen(["xterm", "-geometry", "40x10+300+200", "-T", "a terminal"],
                                    stderr=subprocess.DEVNULL)
        try:
            desktop.wait_until(lambda: answer("list-sources")["windows"], 20, "the terminal")
            [window] = answer("list-sources")["windows"]
            self.assertEqual((window["title"], window["appName"], window["bundleIdentifier"], window["processId"]),
                             ("a terminal", "XTerm", "debian-xterm", terminal.pid))
            self.assertIn(f"0x{window['id']:08x}", output("wmctrl", "-l"))
            self.assertEqual(window["frame"], frame_by_xwininfo(window["id"]))
        finally:
            desktop.end(terminal)

    def test_two_hundred_windows_are_all_listed(self):
        with windows("--count", 200, count=200) as shown:
            desktop.wait_until(lambda: len(answer("list-sources")["windows"]) == 200, 20, "all windows")
            sources = answer("list-sources")
            self.assertEqual({window["id"] for window in sources["windows"]}, set(shown.ids))
            self.assertEqual([each["windowCount"] for each in sources["applications"]], [200])

    def test_two_displays_keep_their_identifiers(self):
        with desktop.x_server() as (_, display):
            desktop.xrandr("--setmonitor", "left", "1000/200x1080/200+0+0", "screen", display=display)
            desktop.xrandr("--setmonitor", "right", "920/200x600/200+1000+40", "none", display=display)
            displays = answer("list-sources", DISPLAY=display)["displays"]
            self.assertEqual(sorted((each["width"], each["height"], each["frame"]["x"], each["frame"]["y"])
                                    for each in displays), [(920, 600, 1000, 40), (1000, 1080, 0, 0)])
            self.assertEqual([each["id"] for each in displays], sorted(each["id"] for each in displays))
            self.assertEqual(answer("list-sources", DISPLAY=display)["displays"], displays)
            ids = {each["frame"]["x"]: each["id"] for each in displays}
            for x, display_id in ((10, ids[0]), (995, ids[1000]), (1200, ids[1000])):
                with self.subTest(x=x), windows("--x", x, "--y", 100, display=display) as shown:
                    self.assertEqual(listed(shown.ids[0], display)["displayId"], display_id)
            with windows("--x", 5000, display=display) as shown:
                self.assertNotIn("displayId", listed(shown.ids[0], display))

    def test_without_a_window_manager(self):
        with desktop.x_server() as (_, display), \
                windows("--title", "low", "--x", 30, "--y", 40, "--border", 2, display=display) as shown:
            shown.open("--title high --x 60 --y 40")
            shown.open("--override --title menu")
            sources = answer("list-sources", DISPLAY=display)
            self.assertEqual([(each["title"], each["id"], each["onScreen"], each["active"])
                              for each in sources["windows"]],
                             [("high", shown.ids[1], True, False), ("low", shown.ids[0], True, False)])
            self.assertEqual(sources["windows"][1]["frame"], {"x": 30, "y": 40, "width": 324, "height": 244})
            shown.command("close")
            self.assertEqual(len(answer("list-sources", DISPLAY=display)["windows"]), 2)

    def test_without_a_server_there_is_one_line_and_no_document(self):
        self.assertEqual(run("list-sources", DISPLAY=":64000"),
                         (1, b"", "Could not connect to the X server :64000. (X11 1)\n"))
        self.assertEqual(run("list-sources", DISPLAY=None),
                         (1, b"", "There is no X server: DISPLAY is not set. (X11 5)\n"))


class Devices(SystemTest):
    def test_microphones_are_listed_and_speakers_are_not(self):
        microphone = subprocess.Popen(
            ["pw-loopback", "-m", "[FL FR]", "--capture-props=media.class=Audio/Sink node.name=second-feed",
             '--playback-props=media.class=Audio/Source node.name=second node.description="The \\"second\\" / one"'])
        try:
            first, second = awaited(lambda devices: len(devices) == 2, "--list-devices")
            self.assertEqual((first["id"], first["isDefault"]), ("labmic", True))
            self.assertEqual(second, {"id": "second", "name": 'The "second" / one', "isDefault": False})
            output("pactl", "set-default-source", "second")
            awaited(lambda devices: [each["isDefault"] for each in devices] == [False, True], "--list-devices")
        finally:
            output("pactl", "set-default-source", "labmic")
            desktop.end(microphone)

    def test_without_a_sound_server_the_list_is_empty(self):
        self.assertEqual(run("--list-devices", PIPEWIRE_REMOTE="none"), (0, b"[]\n", ""))


@contextlib.contextmanager
def portal(stored, said):
    """The fake portal; gives the lines that it has printed so far."""
    process = subprocess.Popen([sys.executable, "-B", "fake_portal.py", "snap.recorder", stored, said],
                               stdout=subprocess.PIPE)
    lines = []
    try:
        line = desktop.read_line(process)
        if line != "ready":
            raise AssertionError(f"the portal did not start: {line!r}")
        yield lines
    finally:
        desktop.end(process)
        lines += process.stdout.read().decode().split()
        process.stdout.close()


SNAP = {"SNAP": "/snap/recorder/1", "SNAP_INSTANCE_NAME": "recorder"}


class Permissions(SystemTest):
    """Services that do not answer soon are not waited for: then the answer is "unknown"."""

    @attempted
    def test_a_desktop_of_ones_own_permits_everything(self):
        for command in (["--permission-status"], ["--request-permissions"],
                        ["--request-permissions", "--microphone", "true"]):
            with unless_disturbed():
                self.assertEqual(run(*command), (0, b'{"microphone":"granted","screen":"granted"}\n', ""))

    def test_the_screen_is_denied_where_it_cannot_be_read(self):
        self.assertEqual(answer("--permission-status", DISPLAY=":64000")["screen"], "denied")
        self.assertEqual(answer("--request-permissions", DISPLAY=None)["screen"], "denied")

    def test_without_a_sound_server_the_microphone_is_restricted(self):
        self.assertEqual(answer("--permission-status", PIPEWIRE_REMOTE="none")["microphone"], "restricted")

    def test_a_sound_server_that_is_silent_leaves_it_unknown(self):
        services = Path(os.environ["QUORVANE_DESKTOP_SESSION"], "services").read_text().splitlines()
        [server] = [int(line.split()[0]) for line in services if line.endswith(" pipewire")]
        os.kill(server, signal.SIGSTOP)
        try:
            self.assertEqual(answer("--permission-status")["microphone"], "unknown")
        finally:
            os.kill(server, signal.SIGCONT)

    def test_a_sound_server_that_rejects_us_denies_it(self):
        configuration = Path("/usr/share/pipewire/pipewire.conf").read_text()
        rejecting = re.sub(r"#access\.rejected = .*", f"access.rejected = [ {PROGRAM} ]", configuration)
        self.assertNotEqual(rejecting, configuration)
        (self.folder / "pipewire").mkdir()
        (self.folder / "pipewire/pipewire.conf").write_text(rejecting)
        (self.folder / "run").mkdir(mode=0o700)
        environment = {"XDG_CONFIG_HOME": str(self.folder), "XDG_RUNTIME_DIR": str(self.folder / "run")}
        server = subprocess.Popen(["pipewire"], env={**os.environ, **environment}, stderr=subprocess.DEVNULL)
        try:
            desktop.wait_until((self.folder / "run/pipewire-0").exists, 10, "the sound server")
            awaited(lambda status: status["microphone"] == "denied", "--permission-status", **environment)
            self.assertEqual(answer("--list-devices", **environment), [])
        finally:
            desktop.end(server)

    @attempted
    def test_a_sandbox_has_what_its_store_says(self):
        rows = [("yes", "granted"), ("no", "denied"), ("ask", "not-determined"), ("none", "not-determined"),
                ("empty", "not-determined"), ("maybe", "unknown"), ("yes,no", "unknown")]
        for stored, status in rows:
            with portal(stored, "yes") as calls, unless_disturbed():
                self.assertEqual(answer("--permission-status", **SNAP)["microphone"], status, stored)
            self.assertEqual(calls, ["lookup"])

    def test_a_sandbox_without_a_store_does_not_know(self):
        self.assertEqual(answer("--permission-status", **SNAP)["microphone"], "unknown")
        self.assertEqual(answer("--permission-status", **SNAP, XDG_RUNTIME_DIR=str(self.folder),
                                DBUS_SESSION_BUS_ADDRESS=f"unix:path={self.folder}/none")["microphone"], "unknown")

    @attempted
    def test_the_user_is_asked_once_and_only_while_nothing_is_decided(self):
        rows = [
            ("none", "yes", "granted", 1),
            ("empty", "no", "denied", 1),
            ("ask", "early", "granted", 1),
            ("ask", "dismiss", "not-determined", 1),
            ("ask", "refuse", "not-determined", 1),
            ("yes", "no", "granted", 0),
            ("no", "yes", "denied", 0),
        ]
        for stored, said, status, questions in rows:
            with portal(stored, said) as calls, unless_disturbed():
                asked = answer("--request-permissions", "--microphone", "yes", **SNAP)
                self.assertEqual(asked, {"screen": "granted", "microphone": status}, (stored, said))
            self.assertEqual(calls.count("ask"), questions, (stored, said))
        with portal("ask", "yes") as calls, unless_disturbed():
            self.assertEqual(answer("--request-permissions", **SNAP)["microphone"], "not-determined")
        self.assertEqual(calls, ["lookup"])

    def test_a_portal_that_goes_away_is_not_waited_for(self):
        with portal("ask", "leave"):
            self.assertEqual(answer("--request-permissions", "--microphone", "yes", **SNAP)["microphone"], "unknown")


if __name__ == "__main__":
    unittest.main()
