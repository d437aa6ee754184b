"""Recording windows, applications, and the screen without some windows: what the movie shows of real windows."""

import contextlib
import time
import unittest

import desktop
from case import SystemTest
from recorder import Recorder
from windows import (BLACK, BLUE, GREEN, GREY, RED, WHITE, compositing_manager, managed_window, screen_colour, window,
                     window_manager)

SIZE = (800, 600)
RIGHT = 400  # where the right one of the two displays begins


class WindowsTest(SystemTest):
    """Each test has a screen of its own with two displays, each half of it."""

    def setUp(self):
        super().setUp()
        stack = contextlib.ExitStack()
        self.addCleanup(stack.close)
        _, self.display = stack.enter_context(desktop.x_server(f"{SIZE[0]}x{SIZE[1]}x24"))
        desktop.xrandr("--setmonitor", "left", "400/100x600/100+0+0", "screen", display=self.display)
        desktop.xrandr("--setmonitor", "right", "400/100x600/100+400+0", "none", display=self.display)
        desktop.move_pointer(1, 598, display=self.display)

    def recorder(self, *options, region=(0, 0, 400, 600)):
        return Recorder(self.folder / "movie.mp4", region, options=[str(option) for option in options],
                        display=self.display)

    def window_recorder(self, identifier):
        return self.recorder("--source-kind", "window", "--window-id", identifier)

    def application_recorder(self, process, region=(0, 0, 400, 600)):
        return self.recorder("--source-kind", "app", "--app-pid", process, region=region)

    def excluding_recorder(self, *identifiers, region=(0, 0, 400, 600)):
        return self.recorder("--exclude-window-ids", ",".join(map(str, identifiers)), region=region)

    def window(self, *arguments):
        return window(*arguments, display=self.display)

    def managed_window(self, *arguments):
        return managed_window(*arguments, display=self.display)

    def shown(self, recorder, steps):
        """Runs the steps (functions) while the recorder records. Gives the movie and, for each step and the time
        before the first, the movie's last picture of that time."""
        start = recorder.wait_until_started()
        moments = []
        for step in [*steps, None]:
            time.sleep(0.7)  # what a step changes takes its time, as do animations of window managers
            moments.append(time.monotonic() - start)
            if step is not None:
                step()
        recorder.finish()
        self.assert_succeeded(recorder)
        movie = self.assert_finished(recorder.output)
        pictures, times = movie.pictures(), movie.times()
        return movie, [pictures[int((times <= moment).sum()) - 1] for moment in moments]

    def assert_colours(self, picture, expected):
        """(x, y) -> colour, not nearer than 8 pixels to any edge."""
        for (x, y), colour in expected.items():
            block = picture[max(y - 2, 0):y + 3, max(x - 2, 0):x + 3].reshape(-1, 3).astype(int)
            with self.subTest(x=x, y=y):
                self.assertLessEqual(int(abs(block - colour).max()), 8, block.mean(axis=0))


class Window(WindowsTest):
    def test_its_own_picture_covered_moved_half_off_the_screen_raised_and_lowered(self):
        with self.window(50, 40, 200, 120, "--quarters") as target, \
                self.window(0, 0, 400, 600, "--color", "808080"):
            with self.window_recorder(target.identifier) as recorder:
                movie, pictures = self.shown(recorder, [
                    lambda: target.command("move", 300, 500), lambda: target.command("move", 700, 550),
                    lambda: target.command("raise"), lambda: target.command("lower")])
        self.assertEqual((movie.width, movie.height), (200, 120))
        for picture in pictures:
            self.assert_colours(picture, {(20, 20): RED, (180, 20): GREEN, (20, 100): BLUE, (180, 100): WHITE})

    def test_a_new_size_is_fitted(self):
        with self.window(50, 40, 200, 120, "--color", "ff0000") as target:
            with self.window_recorder(target.identifier) as recorder:
                movie, pictures = self.shown(recorder, [
                    lambda: target.command("resize", 100, 120), lambda: target.command("resize", 400, 120),
                    lambda: target.command("resize", 400, 240)])
        self.assertEqual((movie.width, movie.height), (200, 120))
        self.assert_colours(pictures[0], {(10, 10): RED, (190, 110): RED})
        self.assert_colours(pictures[1], {(20, 60): BLACK, (100, 60): RED, (180, 60): BLACK})
        self.assert_colours(pictures[2], {(100, 12): BLACK, (20, 60): RED, (100, 108): BLACK})
        self.assert_colours(pictures[3], {(10, 10): RED, (190, 110): RED})

    def test_minimised_and_restored_with_a_window_manager(self):
        with window_manager(self.display), self.managed_window(50, 60, 200, 120, "--color", "ff0000") as target:
            with self.window_recorder(target.identifier) as recorder:
                movie, pictures = self.shown(recorder, [
                    lambda: target.command("iconify"), lambda: target.command("color", "0000ff"),
                    lambda: target.command("activate")])
        # The decorations are in.
        self.assertGreater(movie.width * movie.height, 200 * 120)
        middle = (movie.width // 2, movie.height // 2)
        for picture, colour in zip(pictures, (RED, RED, RED, BLUE)):
            self.assert_colours(picture, {middle: colour})

    def test_a_closed_window_ends_the_recording_and_keeps_the_movie(self):
        with self.window(50, 40, 200, 120, "--color", "ff0000") as target:
            with self.window_recorder(target.identifier) as recorder:
                recorder.wait_until_started()
                time.sleep(0.5)
                target.command("close")
                self.assertEqual(recorder.wait(), 1)
        self.assertEqual(recorder.kinds(), ["started", "warning", "finishing"])
        text = "The window that is being recorded was closed."
        self.assertEqual(recorder.events[1].members["error"], text)
        self.assertEqual(recorder.errors, f"{text} (X11 1010)\n")
        self.assert_colours(self.assert_finished(recorder.output).pictures()[-1], {(100, 60): RED})

    def test_shapes_and_translucency(self):
        with self.window(0, 0, 400, 600, "--color", "ffffff"), \
                self.window(50, 40, 200, 120, "--color", "ff0000", "--shape", "0,0,100,120") as shaped, \
                self.window(50, 300, 200, 120, "--color", "0000ff", "--alpha", 128) as translucent:
            with self.window_recorder(shaped.identifier) as recorder:
                self.assert_colours(self.shown(recorder, [])[1][0], {(50, 60): RED, (150, 60): BLACK})
            recorder.output.unlink()
            with self.window_recorder(translucent.identifier) as recorder:
                self.assert_colours(self.shown(recorder, [])[1][0], {(100, 60): (0, 0, 128)})

    def test_shadows_are_left_out(self):
        with self.window(50, 40, 240, 160, "--color", "ff0000", "--shadow", 20) as target:
            with self.window_recorder(target.identifier) as recorder:
                movie, pictures = self.shown(recorder, [])
        self.assertEqual((movie.width, movie.height), (200, 120))
        self.assert_colours(pictures[0], {(10, 10): RED, (190, 110): RED})

    def test_with_a_compositing_manager(self):
        with compositing_manager(self.display), \
                self.window(50, 40, 200, 120, "--color", "ff0000", "--opacity", 0.5) as target, \
                self.window(0, 0, 400, 600, "--color", "00ff00"):
            with self.window_recorder(target.identifier) as recorder:
                _, pictures = self.shown(recorder, [
                    lambda: target.command("color", "0000ff"), lambda: target.command("resize", 100, 120)])
        self.assert_colours(pictures[0], {(100, 60): RED})
        self.assert_colours(pictures[1], {(100, 60): BLUE})
        self.assert_colours(pictures[2], {(20, 60): BLACK, (100, 60): BLUE, (180, 60): BLACK})


class Application(WindowsTest):
    def test_its_windows_alone_with_menus_and_what_comes_and_goes(self):
        with self.window(20, 20, 360, 200, "--color", "00ff00"), \
                self.window(50, 40, 200, 120, "--color", "ff0000") as target, \
                self.window(100, 0, 40, 600, "--color", "00ff00"):
            with self.application_recorder(target.process.pid) as recorder:
                _, pictures = self.shown(recorder, [
                    lambda: target.open("--x", 80, "--y", 60, "--width", 80, "--height", 60, "--color", "0000ff",
                                        "--override"),
                    lambda: target.command("move", 300, 400), lambda: target.command("close")])
        self.assert_colours(pictures[0], {(30, 30): BLACK, (60, 60): RED, (120, 100): RED, (300, 430): BLACK})
        self.assert_colours(pictures[1], {(60, 60): RED, (120, 80): BLUE})
        self.assert_colours(pictures[2], {(120, 80): RED, (340, 430): BLUE})
        self.assert_colours(pictures[3], {(120, 80): RED, (340, 430): BLACK})

    def test_the_display_with_most_of_it_fitted_into_the_region(self):
        with window_manager(self.display), \
                self.managed_window(RIGHT + 100, 150, 200, 300, "--color", "ff0000", "--undecorated") as target, \
                compositing_manager(self.display):
            with self.application_recorder(target.process.pid, region=(0, 0, 600, 300)) as recorder:
                movie, pictures = self.shown(recorder, [])
        # 400x600 into 600x300: 200x300 in the middle.
        self.assertEqual((movie.width, movie.height), (600, 300))
        self.assert_colours(pictures[0], {(100, 150): BLACK, (220, 150): BLACK, (300, 150): RED, (300, 30): BLACK})

    def test_texts_for_what_cannot_be_recorded(self):
        with self.window(50, 40, 4, 200) as narrow, \
                self.window(900, 700, 100, 100) as outside:
            cases = [
                (["--source-kind", "window", "--window-id", 4294967295],
                 "The selected window is no longer available."),
                (["--source-kind", "window", "--window-id", outside.identifier],
                 "The selected window is not on a recordable display."),
                (["--source-kind", "app", "--app-pid", 1], "The selected app is no longer available."),
                (["--source-kind", "app", "--app-pid", narrow.process.pid],
                 "The selected app has no recordable windows."),
            ]
            for options, text in cases:
                with self.subTest(text=text), self.recorder(*options) as recorder:
                    self.assertEqual((recorder.wait(), recorder.errors.split(" (main")[0].strip()), (1, text))
            with self.subTest("region"), self.recorder(region=(5000, 0, 100, 100)) as recorder:
                self.assertEqual((recorder.wait(), recorder.errors.split(" (main")[0].strip()),
                                 (1, "The selected region is not on a recordable display."))
        self.assert_left_alone(self.folder)


class Excluding(WindowsTest):
    def check(self, expected_background):
        with self.window(0, 0, 300, 600, "--color", "0000ff") as beneath, \
                self.window(100, 100, 280, 200, "--color", "ff0000") as left:
            with self.excluding_recorder(left.identifier, 99) as recorder:
                _, pictures = self.shown(recorder, [
                    lambda: beneath.command("color", "00ff00"), lambda: left.command("move", 50, 300),
                    lambda: left.command("unmap"), lambda: left.command("map"),
                    lambda: beneath.command("lower")])
        for index, picture in enumerate(pictures):
            self.assert_colours(picture, {
                (50, 50): GREEN if index else BLUE, (200, 200): GREEN if index else BLUE,
                (150, 400): GREEN if index else BLUE, (340, 200): expected_background,
                (340, 400): expected_background})
        for picture in self.last_movie.pictures():
            for x, y in ((200, 200), (150, 400), (340, 200), (320, 400)):
                self.assertLess(int(picture[y, x, 0]), max(expected_background[0], 0) + 60, (x, y))

    def shown(self, recorder, steps):
        self.last_movie, pictures = super().shown(recorder, steps)
        return self.last_movie, pictures

    def test_without_any_manager(self):
        self.check(screen_colour(340, 500, self.display))

    def test_with_a_compositing_manager(self):
        with compositing_manager(self.display):
            self.check(GREY)

    def test_with_a_window_manager_over_moving_content(self):
        with window_manager(self.display), \
                desktop.picture("counter", 0, 0, 400, 600, display=self.display), \
                self.managed_window(40, 40, 300, 200, "--color", "ff0000") as left:
            left.command("raise")
            with self.excluding_recorder(left.identifier) as recorder:
                movie, _ = self.shown(recorder, [lambda: left.command("iconify"), lambda: left.command("activate")])
        for picture in movie.pictures():
            self.assertLess(int(picture[100:180, 100:200, 0].max()) - int(picture[100:180, 100:200, 1].max()), 60)

    def test_a_window_that_appears_later_and_translucent_ones(self):
        with compositing_manager(self.display), \
                self.window(0, 0, 400, 600, "--color", "0000ff"), \
                self.window(50, 350, 200, 120, "--color", "ffffff", "--opacity", 0.5), \
                self.window(50, 40, 200, 120, "--color", "ff0000") as left:
            left.command("unmap")
            # Until it is gone from the screen, there is nothing of it to leave out.
            for y, red in ((100, 0), (400, 128)):
                desktop.wait_until(lambda: abs(screen_colour(150, y, self.display)[0] - red) < 8, 10,
                                   "the screen without it")
            with self.excluding_recorder(left.identifier) as recorder:
                movie, pictures = self.shown(recorder, [lambda: left.command("map"), lambda: left.command("unmap")])
        for picture in pictures:
            self.assert_colours(picture, {(150, 100): BLUE, (150, 400): (128, 128, 255)})
        self.assertLess(int(movie.pictures()[:, 100, 150, 0].max()), 60)


if __name__ == "__main__":
    unittest.main()
