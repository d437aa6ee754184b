"""Text recognition, on screens drawn with known text."""

import itertools
import json
import os
import random
import subprocess
import unittest

import cairo
from PIL import Image

import desktop
import screens
from case import SystemTest
from recorder import PROGRAM

NOT_LOADED = "Could not load the image for text recognition. (main.RecorderError 2)\n"


def run(path, *options, environment=None, seconds=60):
    return subprocess.run([PROGRAM, "recognize-text", "--input", str(path), *options], stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, timeout=seconds,
                          env={**os.environ, **(environment or {})})


class RecognizeText(SystemTest):
    def recognize(self, path, locale="en-US"):
        """The document that a good run prints, and nothing else."""
        result = run(path, "--locale", locale)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(result.stdout.count("\n"), 1)
        return json.loads(result.stdout)

    def read(self, screen, locale="en-US"):
        path = self.folder / "screen.png"
        screen.save(path)
        return screens.judge(screen, self.recognize(path, locale)["observations"])

    def assert_read(self, reading, error_rate):
        self.assertLessEqual(reading.error_rate, error_rate, reading.worst)
        # Boxes are those of the ink, wherever a line was read as one piece; nearly all are.
        self.assertGreater(len(reading.deviations), 20)
        worst = max(reading.deviations)
        self.assertLessEqual(worst[0], 2.0 + 1e-6, worst)

    def small(self, text="Plain words in a row", *, alpha=False, ink="#000000"):
        """A little picture with text, on white or on nothing."""
        screen = screens.Screen(240, 60, "#ffffff", font="DejaVu Sans", size=16)
        screen.text(20, 35, text, ink)
        image = Image.fromarray(screen.array())
        if alpha:
            opacity = image.convert("L").point(lambda value: 255 - value)
            image = Image.new("RGBA", image.size, (0, 0, 0, 0))
            image.putalpha(opacity)
        return image

    def test_small_interface_text_is_read(self):
        limits = {10: 0.08, 11: 0.08, 12: 0.03, 14: 0.03}
        rates = {}
        proportional = ("DejaVu Sans", "Liberation Sans", "Liberation Serif")
        cases = [*itertools.product((11, 14), proportional, ("light", "dark")),
                 (11, "DejaVu Sans Mono", "dark"), (14, "DejaVu Sans Mono", "light"),
                 (10, "DejaVu Sans", "light"), (10, "Liberation Sans", "dark"), (12, "DejaVu Sans", "dark")]
        for number, (size, font, theme) in enumerate(cases):
            antialias = (cairo.Antialias.GRAY, cairo.Antialias.SUBPIXEL)[number % 2]
            with self.subTest(size=size, font=font, theme=theme):
                reading = self.read(screens.application(font, size, theme, antialias))
                rates[f"{font} {size} {theme}"] = f"{100 * reading.error_rate:.2f} %"
                self.assert_read(reading, limits[size])
        print(rates)

    def test_columns_buttons_and_rows_are_lines_of_their_own_in_reading_order(self):
        screen = screens.Screen(800, 200, font="Liberation Sans", size=14)
        screen.text(20, 40, "Left one", "#000000")
        screen.text(420, 40, "Right one", "#000000")
        screen.text(20, 80, "Left two", "#000000")
        screen.text(420, 80, "Right two", "#000000")
        x = screen.button(20, 120, "First button", "#2563c9", "#ffffff") + 10
        screen.button(x, 120, "Second button", "#3c3f45", "#dfe1e5")
        path = self.folder / "screen.png"
        screen.save(path)
        document = self.recognize(path, "de-DE")
        self.assertEqual(document["text"],
                         "Left one\nRight one\nLeft two\nRight two\nFirst button\nSecond button")
        self.assertEqual((document["engine"], document["locale"]), ("apple-vision", "de-DE"))
        self.assertEqual(sorted(document), ["engine", "locale", "observations", "text"])
        for observation in document["observations"]:
            self.assertEqual(sorted(observation), ["boundingBox", "confidence", "text"])
            self.assertGreater(observation["confidence"], 0.6)
            self.assertLessEqual(observation["confidence"], 1)

    def test_selected_underlined_and_faint_text_is_read(self):
        for size in (11, 14):
            with self.subTest(size=size):
                screen = screens.Screen(500, 200, font="DejaVu Sans", size=size)
                pitch = round(size * 1.2)
                screen.text(20, 30, "The first line of the text is not selected", "#000000")
                selected = "The second line is selected by the user"
                top, height = 30 + pitch - round(size * 0.93), round(size * 1.17)
                screen.fill(20, top, screen.advance(selected), height, "#3584e4")
                screen.text(20, 30 + pitch, selected, "#ffffff")
                screen.text(20, 30 + 2 * pitch, "and the third line follows closely", "#000000")
                link = "Underlined link to the manual page"
                screen.text(20, 110, link, "#0000ee")
                screen.fill(20, 112, screen.advance(link), 1, "#0000ee")
                screen.text(20, 150, "Placeholder text, faint", "#aaaaaa")
                screen.text(260, 150, "Disabled entry", "#c4c4c4")
                reading = self.read(screen)
                self.assertLessEqual(reading.error_rate, 0.02, reading.worst)

    def test_headlines_are_read(self):
        screen = screens.Screen(900, 520, "#fafafa", font="DejaVu Sans")
        baseline = 0
        for size in (18, 24, 32, 40, 56, 72):
            baseline += round(size * 1.5)
            screen.text(30, baseline, f"Title {size}", "#202020", size=size)
            screen.text(500, baseline, f"Bold {size}", "#c01c28", size=size, bold=True)
        reading = self.read(screen)
        self.assertLessEqual(reading.error_rate, 0.03, reading.worst)

    def test_a_4k_screen_takes_little_memory(self):
        screen = screens.full_4k()
        path = self.folder / "screen.png"
        screen.save(path)
        with open(self.folder / "out", "wb") as output:
            process = subprocess.Popen([PROGRAM, "recognize-text", "--input", str(path), "--locale", "en-US"],
                                       stdin=subprocess.DEVNULL, stdout=output)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = status
        self.assertEqual(status, 0)
        self.assertLess(usage.ru_maxrss, 600 * 1024)
        document = json.loads((self.folder / "out").read_text())
        self.assert_read(screens.judge(screen, document["observations"]), 0.03)

    def test_other_languages_are_read_with_their_own_letters(self):
        screen = screens.Screen(600, 120, font="DejaVu Sans", size=14)
        screen.text(20, 40, "Übersicht über die Größe der Straßenkarte", "#000000")
        screen.text(20, 80, "Öffnen, schließen und später ändern", "#000000")
        for locale in ("de-DE", "de_AT.UTF-8"):
            self.assertEqual(self.read(screen, locale).wrong, 0)
        path = self.folder / "screen.png"
        result = run(path, environment={"LC_ALL": "de_DE.UTF-8"})
        document = json.loads(result.stdout)
        self.assertEqual(document["locale"], "de_DE")
        self.assertIn("Größe", document["text"])

    def test_languages_that_are_missing_are_left_out_and_without_any_it_fails(self):
        path = self.folder / "small.png"
        self.small().save(path)
        for locale in ("", "tlh", "zz-ZZ", "../../etc"):
            with self.subTest(locale=locale):
                document = self.recognize(path, locale)
                self.assertEqual((document["locale"], document["text"]), (locale, "Plain words in a row"))
        result = run(path, environment={"TESSDATA_PREFIX": str(self.folder)})
        self.assertEqual((result.returncode, result.stdout, result.stderr),
                         (1, "", "None of the languages is installed for text recognition. (Tesseract 1)\n"))

    def test_every_format_is_read_at_its_first_image(self):
        plain, second = self.small(), self.small("Something else on it")
        clear = self.small(alpha=True)
        palette = clear.convert("RGBA").quantize(4)
        saves = {
            "plain.png": lambda path: plain.save(path),
            "grey16.png": lambda path: Image.fromarray(
                (screens.numpy.asarray(plain.convert("L")).astype("uint16") * 257)).save(path),
            "bits.png": lambda path: plain.convert("1").save(path),
            "clear.png": lambda path: clear.save(path),
            "palette.png": lambda path: palette.save(path),
            "photo.jpg": lambda path: plain.save(path, quality=90),
            "grey.jpg": lambda path: plain.convert("L").save(path, progressive=True),
            "pages.tiff": lambda path: plain.save(path, save_all=True, append_images=[second]),
            "packed.tiff": lambda path: plain.save(path, compression="tiff_lzw"),
            "clear.tiff": lambda path: clear.save(path),
            "lossless.webp": lambda path: clear.save(path, lossless=True),
            "lossy.webp": lambda path: plain.save(path, quality=90),
            "film.gif": lambda path: plain.convert("P").save(path, save_all=True, append_images=[second.convert("P")]),
            "film.webp": lambda path: plain.save(path, save_all=True, append_images=[second], lossless=True),
            "clear-film.webp": lambda path: clear.save(path, save_all=True, append_images=[second.convert("RGBA")]),
            "plain.bmp": lambda path: plain.save(path),
            "no-suffix": lambda path: plain.save(path, format="PNG"),
        }
        for name, save in saves.items():
            with self.subTest(name=name):
                path = self.folder / name
                save(path)
                self.assertEqual(self.recognize(path)["text"], "Plain words in a row")

    def test_an_image_without_text_is_an_empty_result(self):
        path = self.folder / "blank.png"
        Image.new("RGB", (640, 480), "#336699").save(path)
        self.assertEqual(run(path, "--locale", "").stdout,
                         '{"engine":"apple-vision","locale":"","observations":[],"text":""}\n')

    def test_what_is_no_image_is_refused(self):
        (self.folder / "empty.png").touch()
        (self.folder / "text.png").write_text("This is a text and no picture.\n" * 10)
        good = self.folder / "good.png"
        self.small().save(good)
        huge = bytearray(good.read_bytes())
        huge[16:24] = b"\x00\x01\x00\x00\x00\x01\x00\x00"  # 65536 by 65536
        (self.folder / "huge.png").write_bytes(huge)
        for name in ("empty.png", "text.png", "huge.png", "missing.png", "."):
            with self.subTest(name=name):
                result = run(self.folder / name)
                self.assertEqual((result.returncode, result.stdout, result.stderr), (1, "", NOT_LOADED))
        result = subprocess.run([PROGRAM, "recognize-text"], capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stdout, result.stderr),
                         (1, "", "Missing --input. (main.RecorderError 0)\n"))

    def test_damaged_files_end_with_one_document_or_one_line(self):
        chance = random.Random(4711)
        image = self.small()
        for name, options in {"a.png": {}, "b.jpg": {"progressive": True}, "c.jpg": {}, "d.tiff": {},
                              "e.tiff": {"compression": "tiff_lzw"}, "f.webp": {"lossless": True}, "g.webp": {},
                              "h.gif": {}, "i.bmp": {}}.items():
            path = self.folder / name
            image.save(path, **options)
            good = path.read_bytes()
            damaged = [good[:len(good) * share // 8] for share in (1, 4, 7)]
            for first, last in ((0, 64), (0, len(good)), (0, len(good))):
                flipped = bytearray(good)
                for _ in range(8):
                    flipped[chance.randrange(first, min(last, len(good)))] = chance.randrange(256)
                damaged.append(bytes(flipped))
            for number, data in enumerate(damaged):
                with self.subTest(name=name, number=number):
                    path.write_bytes(data)
                    self.assert_ends(path)

    def test_files_of_the_fuzzer_end_with_one_document_or_one_line(self):
        files = sorted((desktop.ROOT / "tests/fuzz/corpus/image").iterdir())
        self.assertGreater(len(files), 20)
        for file in files:
            with self.subTest(file=file.name):
                self.assert_ends(file)

    def assert_ends(self, path):
        result = run(path, "--locale", "en-US", seconds=60)
        if result.returncode == 0:
            self.assertEqual(result.stderr, "")
            json.loads(result.stdout)
        else:
            self.assertEqual((result.returncode, result.stdout, result.stderr), (1, "", NOT_LOADED))


if __name__ == "__main__":
    unittest.main()
