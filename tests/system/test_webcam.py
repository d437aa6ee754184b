"""The webcam bubble: what a user sees of it, and what its parent can do with it."""

import contextlib
import json
import os
import signal
import subprocess
import time
import unittest

import numpy

import desktop
import windows
from bubble import BACKGROUND, QUADRANTS, Bubble, camera, fill_background, is_near, outline, stays
from case import SystemTest
from desktop import screenshot
from recorder import PROGRAM, Recorder

BLACK = (0, 0, 0)
MAGENTA = (0xC0, 0x20, 0xC0)
SCREEN_HEIGHT = 1080  # the private desktop's


def border_over(color):
    return tuple(255 * 0.85 + part * 0.15 for part in color)


class Webcam(SystemTest):
    def setUp(self):
        super().setUp()
        fill_background()

    def assert_outline(self, x, y, width, height, radius, display=None):
        """A rounded rectangle of QUADRANTS with a border of two pixels, nothing around it, or soon so."""
        with contextlib.suppress(AssertionError):
            desktop.wait_until(lambda: not self.outline_faults(x, y, width, height, radius, display), 10, "the outline")
        self.assertEqual(self.outline_faults(x, y, width, height, radius, display), [])

    def outline_faults(self, x, y, width, height, radius, display):
        screen = screenshot(display)[y - 4:y + height + 4, x - 4:x + width + 4]
        depth = numpy.pad(outline(width, height, radius), 4, constant_values=-9)
        rows, columns = numpy.mgrid[-4:height + 4, -4:width + 4]
        quarter = (rows >= height / 2) * 2 + (columns >= width / 2)
        colors = numpy.array(QUADRANTS)[quarter]
        border = numpy.array([border_over(color) for color in QUADRANTS])[quarter]
        # Colors of a camera's picture run into each other along its own edges.
        clear = (abs(rows - height / 2) > 5) & (abs(columns - width / 2) > 5)
        faults = []
        for name, where, expected in (("the picture", depth > 3, colors),
                                      ("the border", (depth > 0.75) & (depth < 1.25), border),
                                      ("the background", depth < -1, numpy.array(BACKGROUND))):
            where = where & clear
            wrong = where & (abs(screen - expected).max(axis=2) > 12)
            if wrong.any():
                faults.append(f"{name}: {wrong.sum()} of {where.sum()} pixels, the first at "
                              f"{numpy.argwhere(wrong)[:1] - 4}")
        return faults

    def test_refuses_what_is_no_rectangle(self):
        nowhere = {**os.environ, "DISPLAY": ":9999", "XDG_RUNTIME_DIR": str(self.folder)}
        for rect in (None, "", "1,2,3", "1,2,3,4,5", "1,2,wide,4"):
            with self.subTest(rect=rect), Bubble(rect, environment=nowhere) as bubble:
                self.assertEqual(bubble.wait(), 2)
                self.assertEqual((bubble.output, bubble.errors), ("", "webcam-preview: missing or malformed --rect\n"))

    def test_without_an_x_server_it_says_so(self):
        with Bubble("0,0,100,100", display=":9999") as bubble:
            self.assertEqual(bubble.wait(), 1)
            self.assertEqual(bubble.output, "")
            self.assertRegex(bubble.errors, r"\ACould not connect to the X server :9999\. \(X11 \d+\)\n\Z")

    def test_shapes(self):
        with camera("one"), Bubble("100, 200 ,240,240") as bubble:
            bubble.wait_until_shows(100, SCREEN_HEIGHT - 440, 240, 240)
            self.assert_outline(100, SCREEN_HEIGHT - 440, 240, 240, 120)
            bubble.command("shape rounded-portrait-3x4")
            for width, height, radius in ((240, 320, 32), (90, 120, 18), (180, 240, 25.2)):
                with self.subTest(width=width):
                    bubble.command(f"reposition 300,100,{width},{height}")
                    top = SCREEN_HEIGHT - 100 - height
                    bubble.wait_until_shows(300, top, width, height)
                    self.assert_outline(300, top, width, height, radius)
            bubble.command("shape circle")
            bubble.command("reposition 300,100,200,200")
            bubble.wait_until_shows(300, SCREEN_HEIGHT - 300, 200, 200)
            self.assert_outline(300, SCREEN_HEIGHT - 300, 200, 200, 100)

    def test_with_a_compositing_manager_edges_are_smooth_and_there_is_a_shadow(self):
        top = SCREEN_HEIGHT - 440
        with camera("one"), Bubble("100,200,240,240") as bubble:
            bubble.wait_until_shows(100, top, 240, 240)
            before = screenshot()
            number = bubble.window()
            with windows.picom():
                def has_shadow():
                    screen = screenshot()
                    return screen[top + 246, 220].sum() < screen[top + 306, 220].sum() - 20

                # Just inside the outline, pixels between border and background.
                edge = numpy.abs(outline(240, 240, 120)) < 0.4

                def shades(screen):
                    return len({tuple(pixel) for pixel in screen[top:top + 240, 100:340][edge]})

                desktop.wait_until(has_shadow, 15, "the shadow")
                bubble.wait_until_shows(100, top, 240, 240)
                desktop.wait_until(lambda: shades(screenshot()) > shades(before) + 10, 15, "the smooth edge")
                self.assertEqual(bubble.window(), number)
                self.assertIn("_GTK_FRAME_EXTENTS(CARDINAL) = 32, 32, 32, 32", bubble.properties())
            fill_background()
            desktop.wait_until(lambda: is_near(screenshot()[top + 245, 220], BACKGROUND), 15, "the bare background")
            bubble.wait_until_shows(100, top, 240, 240)
            self.assert_outline(100, top, 240, 240, 120)

    def test_on_servers_that_lack_something(self):
        # Without the first there is no visual with alpha, without the second every picture is sent.
        for missing in ("COMPOSITE", "MIT-SHM"):
            with self.subTest(missing=missing), camera("one"), \
                    desktop.x_server("800x600x24", without=[missing]) as (_, display):
                fill_background(display)
                with Bubble("100,100,240,240", display=display) as bubble:
                    bubble.wait_until_shows(100, 260, 240, 240)
                    self.assert_outline(100, 260, 240, 240, 120, display)
                    bubble.command("reposition 200,50,400,400")
                    bubble.wait_until_shows(200, 150, 400, 400)
                    self.assert_outline(200, 150, 400, 400, 200, display)

    def test_positions_count_from_the_lower_left_of_the_main_screen(self):
        with desktop.x_server("1600x700x24") as (_, display), camera("one"):
            fill_background(display)
            with Bubble("20,30,200,200", display=display) as bubble:
                bubble.wait_until_shows(20, 470, 200, 200)
                # The main screen is now the right one of two, and less high.
                desktop.xrandr("--setmonitor", "left", "800/200x700/200+0+0", "screen", display=display)
                desktop.xrandr("--setmonitor", "*right", "800/200x500/200+800+50", "none", display=display)
                bubble.wait_until_shows(820, 320, 200, 200)
                bubble.command("reposition 20,30,180,200")
                bubble.wait_until_shows(820, 320, 180, 200)
            with Bubble("-100,0,90,90", display=display) as bubble:
                bubble.wait_until_shows(700, 460, 90, 90)

    def test_moves_while_pictures_flow(self):
        with camera("one"), Bubble("0,0,150,150") as bubble:
            bubble.wait_until_shows(0, SCREEN_HEIGHT - 150, 150, 150)
            for step in range(1, 101):
                bubble.command(f"reposition {5 * step},{4 * step},{150 + step},{150 + step}")
            bubble.wait_until_shows(500, SCREEN_HEIGHT - 650, 250, 250)
            self.assert_outline(500, SCREEN_HEIGHT - 650, 250, 250, 125)
            self.assertTrue(is_near(screenshot()[SCREEN_HEIGHT - 75, 75], BACKGROUND))
            for line in ("reposition 1,2,3", "reposition 0,0,0,0x", "reposition", "Quit", "nonsense", ""):
                bubble.command(line)
            bubble.command("reposition 0,0,0,0")  # nothing to see
            desktop.wait_until(lambda: is_near(screenshot()[SCREEN_HEIGHT - 525, 600], BACKGROUND), 10, "nothing")
            bubble.command("reposition 0,0,1e7,1e7")
            bubble.command("reposition 500,400,250,250")
            bubble.wait_until_shows(500, SCREEN_HEIGHT - 650, 250, 250)

    def test_switches_cameras(self):
        place = (0, SCREEN_HEIGHT - 200, 200, 200)
        with camera("one", "--priority", "2000"), \
                camera("two", "--picture", "c020c0", "--description", "Camera Two", "--priority", "1",
                       "--property", "device.vendor.id=0x1234", "--property", "device.product.id=0x00ab"), \
                Bubble("0,0,200,200", "--device", "two") as bubble:
            bubble.wait_until_shows(*place, MAGENTA)
            bubble.command("device one")
            bubble.wait_until_shows(*place)
            bubble.command("device Camera Two")
            bubble.wait_until_shows(*place, MAGENTA)
            bubble.command("device nobody")
            bubble.wait_until_shows(*place)
            bubble.command("device 1234:00ab")
            bubble.wait_until_shows(*place, MAGENTA)
            bubble.command("device")
            bubble.wait_until_shows(*place)

    def test_draws_every_format(self):
        place = (0, SCREEN_HEIGHT - 200, 200, 200)
        with camera("idle", "--picture", "c020c0"), Bubble("0,0,200,200", "--device", "idle") as bubble:
            for name in ("YUY2", "UYVY", "NV12", "I420", "BGRx", "RGBx", "BGR", "RGB"):
                bubble.wait_until_shows(*place, MAGENTA)
                with self.subTest(name=name), camera(name, "--format", name):
                    bubble.command(f"device {name}")
                    bubble.wait_until_shows(*place)
                    bubble.command("device idle")
            bubble.wait_until_shows(*place, MAGENTA)
            path = self.folder / "picture.jpg"
            boxes = ",".join(f"drawbox=x={320 * (index % 2)}:y={240 * (index // 2)}:w=320:h=240:"
                             f"color=0x{red:02x}{green:02x}{blue:02x}:t=fill"
                             for index, (red, green, blue) in enumerate(QUADRANTS))
            subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"color=s=640x480,format=rgb24,{boxes}",
                            "-frames:v", "1", "-q:v", "2", "-pix_fmt", "yuvj422p", str(path)], check=True, timeout=20)
            with camera("jpeg", "--format", "MJPG", "--jpeg", path):
                bubble.command("device jpeg")
                bubble.wait_until_shows(*place)

    def test_the_last_picture_stays_for_two_seconds(self):
        place = (0, SCREEN_HEIGHT - 200, 200, 200)
        with Bubble("0,0,200,200") as bubble:
            bubble.wait_until_shows(*place, BLACK)  # no camera yet
            with camera("one"):
                bubble.command("device one")
                bubble.wait_until_shows(*place)
            self.assertTrue(stays(lambda: bubble.shows(*place), 1))
            bubble.wait_until_shows(*place, BLACK)
            with camera("one"):
                bubble.wait_until_shows(*place)

    def test_outlives_the_camera_service(self):
        place = (0, SCREEN_HEIGHT - 200, 200, 200)
        with contextlib.ExitStack() as stack:
            with camera("one"):
                bubble = stack.enter_context(Bubble("0,0,200,200"))
                bubble.wait_until_shows(*place)
                desktop.stop_sound_services()
            try:
                bubble.wait_until_shows(*place, BLACK)
                with Bubble("300,0,200,200") as other:
                    other.wait_until_shows(300, *place[1:], BLACK)
            finally:
                desktop.start_sound_services()
            with camera("one"):
                bubble.wait_until_shows(*place, seconds=30)

    def test_waits_for_a_camera_service_that_is_slow(self):
        place = (0, SCREEN_HEIGHT - 200, 200, 200)
        with camera("one"), desktop.frozen_service("pipewire") as thaw:
            with Bubble("0,0,200,200") as bubble:
                desktop.wait_until(bubble.window, 10, "the bubble")
                bubble.command("quit")
                self.assertEqual(bubble.wait(4), 0)
            with Bubble("0,0,200,200") as bubble:
                bubble.wait_until_shows(*place, BLACK)
                time.sleep(1)
                thaw()
                bubble.wait_until_shows(*place)

    def test_stays_in_front_and_lets_the_mouse_through(self):
        place = (200, SCREEN_HEIGHT - 500, 300, 300)
        with camera("one"), Bubble("200,200,300,300") as bubble:
            bubble.wait_until_shows(*place)
            log = self.folder / "xev"
            with log.open("wb") as file:
                xev = subprocess.Popen(["stdbuf", "-oL", "xev", "-geometry", "600x600+100+450", "-event", "button"],
                                       stdout=file)
            try:
                desktop.wait_until(lambda: self.find_window("Event Tester"), 10, "the window below")
                bubble.wait_until_shows(*place)
                window = self.find_window("Event Tester")
                for command in ("windowraise", "windowfocus"):
                    subprocess.run(["xdotool", command, window], check=True, timeout=10)
                bubble.wait_until_shows(*place)
                desktop.move_pointer(350, SCREEN_HEIGHT - 350)
                subprocess.run(["xdotool", "click", "1"], check=True, timeout=10)
                desktop.wait_until(lambda: "ButtonPress" in log.read_text(encoding="utf-8"), 10, "the click below")
            finally:
                desktop.end(xev)
            # Above other unmanaged windows that come later, and above one that the manager lets fill the screen.
            with desktop.picture("pattern", 0, 0, 1920, SCREEN_HEIGHT):
                bubble.wait_until_shows(*place)
            with windows.window(300, 300, 200, 200, "--color", "c020c0") as other:
                other.command("fullscreen")
                desktop.wait_until(lambda: is_near(screenshot()[4, 4], MAGENTA), 10, "the full screen")
                # The manager may raise it some time after it has grown.
                desktop.wait_until(lambda: stays(lambda: bubble.shows(*place), 0.5), 10, "the bubble in front")
            subprocess.run(["xdotool", "set_desktop", "1"], check=True, timeout=10)
            self.addCleanup(subprocess.run, ["xdotool", "set_desktop", "0"], timeout=10)
            self.assertTrue(stays(lambda: bubble.shows(*place), 0.5))

    def find_window(self, name):
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", name], capture_output=True, text=True,
                               timeout=10)
        return found.stdout.split()[0] if found.stdout.split() else None

    def test_two_bubbles_do_not_fight(self):
        with camera("one"), Bubble("0,0,200,200") as first:
            first.wait_until_shows(0, SCREEN_HEIGHT - 200, 200, 200)
            with Bubble("100,0,200,200") as second:
                second.wait_until_shows(200, SCREEN_HEIGHT - 200, 100, 200, [(0x20, 0xC0, 0x20)] * 2
                                        + [(0xE0, 0xD0, 0x20)] * 2)
                before = [self.cpu_ticks(bubble) for bubble in (first, second)]
                time.sleep(3)
                for bubble, ticks in zip((first, second), before):
                    self.assertLess(self.cpu_ticks(bubble) - ticks, 150, "half a core for three seconds")

    def cpu_ticks(self, bubble):
        with open(f"/proc/{bubble.process.pid}/stat", encoding="ascii") as file:
            fields = file.read().rsplit(")", 1)[1].split()
        return int(fields[11]) + int(fields[12])

    def test_says_what_it_is_to_others(self):
        with Bubble("0,0,200,200") as bubble:
            bubble.wait_until_shows(0, SCREEN_HEIGHT - 200, 200, 200, BLACK)
            properties = bubble.properties()
            for line in ('WM_CLASS(STRING) = "quorvane-recorder", "Quorvane-recorder"',
                         f"_NET_WM_PID(CARDINAL) = {bubble.process.pid}",
                         "_NET_WM_STATE(ATOM) = _NET_WM_STATE_SKIP_TASKBAR, _NET_WM_STATE_SKIP_PAGER, "
                         "_NET_WM_STATE_ABOVE, _NET_WM_STATE_STICKY",
                         "Client accepts input or input focus: False"):
                self.assertIn(line, properties)
            clients = subprocess.run(["xprop", "-root", "_NET_CLIENT_LIST"], check=True, capture_output=True, text=True,
                                     timeout=10).stdout
            self.assertNotIn(hex(bubble.window()), clients)

    def test_a_recording_leaves_it_out(self):
        x, y, size = 300, SCREEN_HEIGHT - 500, 200
        with camera("one"), Bubble(f"{x},{SCREEN_HEIGHT - y - size},{size},{size}") as bubble:
            bubble.wait_until_shows(x, y, size, size)
            listing = json.loads(subprocess.run([PROGRAM, "list-sources"], check=True, capture_output=True,
                                                timeout=10).stdout)
            self.assertNotIn(bubble.window(), [each["id"] for each in listing["windows"] if each["layer"] == 0])
            shown = []
            for options in ((), ("--exclude-window-ids", str(bubble.window()))):
                with Recorder(self.folder / f"{len(options)}.mp4", (x - 50, y - 50, size + 100, size + 100),
                              options=options) as recorder:
                    recorder.wait_until_started()
                    time.sleep(0.5)
                    bubble.wait_until_shows(x, y, size, size)
                    recorder.finish()
                    self.assert_succeeded(recorder)
                shown.append(self.assert_finished(recorder.output).pictures()[-1])
            for index, (row, column) in enumerate(((100, 100), (100, 200), (200, 100), (200, 200))):
                self.assertTrue(is_near(shown[0][row, column], QUADRANTS[index]), shown[0][row, column])
                self.assertTrue(is_near(shown[1][row, column], BACKGROUND), shown[1][row, column])

    def test_ends(self):
        def quit_command(bubble):
            bubble.command("quit")

        def end_of_input(bubble):
            bubble.process.stdin.close()

        def last_line(bubble):
            bubble.process.stdin.write(b"quit")
            bubble.process.stdin.close()

        def terminated(bubble):
            bubble.process.send_signal(signal.SIGTERM)

        def interrupted(bubble):
            bubble.process.send_signal(signal.SIGINT)

        with camera("one"):
            for way in (quit_command, end_of_input, last_line, terminated, interrupted):
                with self.subTest(way=way.__name__), Bubble("0,0,200,200") as bubble:
                    bubble.wait_until_shows(0, SCREEN_HEIGHT - 200, 200, 200)
                    way(bubble)
                    self.assertEqual(bubble.wait(), 0)
                    self.assertEqual((bubble.output, bubble.errors), ("", ""))
                    self.assertIsNone(bubble.window())

    def test_ends_although_the_x_server_does_not_answer(self):
        with camera("one"), desktop.x_server("800x600x24") as (server, display):
            with Bubble("0,0,200,200", display=display) as bubble:
                bubble.wait_until_shows(0, 400, 200, 200)
                server.send_signal(signal.SIGSTOP)
                try:
                    for step in range(300):
                        bubble.command(f"reposition {step},0,{200 + step},200")
                    bubble.command("quit")
                    self.assertEqual(bubble.wait(), 0)
                finally:
                    server.send_signal(signal.SIGCONT)

    def test_ends_with_the_x_server(self):
        with camera("one"), desktop.x_server("800x600x24") as (server, display):
            fill_background(display)
            with Bubble("0,0,200,200", display=display) as bubble:
                bubble.wait_until_shows(0, 400, 200, 200)
                server.kill()
                self.assertEqual(bubble.wait(), 1)
                self.assertEqual(bubble.errors, "The connection to the X server was lost. (X11 1009)\n")
                self.assertEqual(bubble.output, "")


if __name__ == "__main__":
    unittest.main()
