"""Draws screens as applications show them, with known text in known places, and judges what was read of them."""

import dataclasses
import itertools

import cairo
import numpy

THEMES = {
    # name: (window, side bar, text, dimmed text, button, button text, accent, accent text)
    "light": ("#ffffff", "#f0f0f2", "#1e1e1e", "#5a5a5a", "#e3e3e6", "#1e1e1e", "#2563c9", "#ffffff"),
    "dark": ("#1e1f22", "#2b2d30", "#dfe1e5", "#9da0a8", "#3c3f45", "#dfe1e5", "#2d6ad6", "#ffffff"),
}

SIDE = ["Overview", "Recent files", "Shared with me", "Downloads", "Screen recordings", "Archive (2019)", "Trash"]
PROSE = [
    "The recorder writes a movie that can be played from its first second on.",
    "When the battery is low, the brightness of the screen is reduced to 40%.",
    "Choose which microphone is used, and whether system audio is kept as well.",
    "Updates were last checked on 14 March 2026 at 09:35; none were found.",
    "Every file is encrypted before it leaves this computer, even thumbnails.",
]
LEFT = ["Network and Internet", "Wi-Fi: connected", "Signal strength: good", "Address 192.168.0.17", "Gateway 10.0.0.1",
        "Proxy: not configured"]
RIGHT = ["Display and sound", "Resolution 2560 x 1440", "Refresh rate 59.94 Hz", "Night light is off",
         "Output: Headphones", "Volume: 75 percent"]
BUTTONS = ["Cancel", "Save as...", "Record window", "Quit"]
TABLE = [("Quarterly report.pdf", "1.4 MB", "Yesterday"), ("Team photo.jpeg", "820 KB", "12 January"),
         ("Budget draft.xlsx", "64 KB", "3 weeks ago")]


@dataclasses.dataclass
class Line:
    """One piece of text on one row, and the pixels that its ink covers: left, top, right, bottom (the last two behind
    it)."""

    text: str
    box: tuple


def colour(name):
    return tuple(int(name[at:at + 2], 16) / 255 for at in (1, 3, 5))


class Screen:
    def __init__(self, width, height, background="#ffffff", *, font="DejaVu Sans", size=14,
                 antialias=cairo.Antialias.GRAY):
        self.width, self.height, self.font, self.size = width, height, font, size
        self.lines = []
        self.surface = cairo.ImageSurface(cairo.Format.RGB24, width, height)
        self.options = cairo.FontOptions()
        self.options.set_antialias(antialias)
        self.options.set_hint_style(cairo.HintStyle.SLIGHT)
        self.fill(0, 0, width, height, background)

    def fill(self, x, y, width, height, name, radius=0):
        context = cairo.Context(self.surface)
        context.set_source_rgb(*colour(name))
        if radius:
            context.arc(x + radius, y + radius, radius, 3.14159, 4.71239)
            context.arc(x + width - radius, y + radius, radius, 4.71239, 0)
            context.arc(x + width - radius, y + height - radius, radius, 0, 1.5708)
            context.arc(x + radius, y + height - radius, radius, 1.5708, 3.14159)
        else:
            context.rectangle(x, y, width, height)
        context.fill()

    def _prepare(self, surface, bold, size):
        context = cairo.Context(surface)
        context.set_font_options(self.options)
        context.select_font_face(self.font, cairo.FontSlant.NORMAL,
                                 cairo.FontWeight.BOLD if bold else cairo.FontWeight.NORMAL)
        context.set_font_size(size or self.size)
        return context

    def advance(self, text, bold=False, size=None):
        return self._prepare(self.surface, bold, size).text_extents(text).x_advance

    def text(self, x, baseline, text, ink, *, bold=False, size=None):
        """Draws the text and remembers where its ink lies."""
        context = self._prepare(self.surface, bold, size)
        context.set_source_rgb(*colour(ink))
        context.move_to(x, baseline)
        context.show_text(text)
        # The ink is measured on a mask with nothing else on it, moved by whole pixels.
        left, top = int(x) - self.size, int(baseline) - 2 * (size or self.size)
        mask = cairo.ImageSurface(cairo.Format.RGB24, round(self.advance(text, bold, size)) + 3 * self.size,
                                  3 * (size or self.size))
        context = self._prepare(mask, bold, size)
        context.set_source_rgb(1, 1, 1)
        context.move_to(x - left, baseline - top)
        context.show_text(text)
        mask.flush()
        inked = pixels(mask).max(axis=2) >= 64
        rows, columns = numpy.flatnonzero(inked.any(axis=1)), numpy.flatnonzero(inked.any(axis=0))
        self.lines.append(Line(text, (left + int(columns[0]), top + int(rows[0]),
                                      left + int(columns[-1]) + 1, top + int(rows[-1]) + 1)))

    def button(self, x, y, text, fill, ink):
        """A button around the text; gives the x behind it."""
        width, height = round(self.advance(text)) + 2 * self.size, round(self.size * 2.2)
        self.fill(x, y, width, height, fill, radius=4)
        self.text(x + self.size, y + round(self.size * 1.45), text, ink)
        return x + width

    def save(self, path):
        self.surface.write_to_png(str(path))

    def paste(self, other, x, y):
        """Puts another screen here, with its text."""
        context = cairo.Context(self.surface)
        context.set_source_surface(other.surface, x, y)
        context.paint()
        for line in other.lines:
            left, top, right, bottom = line.box
            self.lines.append(Line(line.text, (left + x, top + y, right + x, bottom + y)))

    def array(self):
        """Red, green, blue of every pixel."""
        return pixels(self.surface)[:, :, ::-1].copy()


def pixels(surface):
    surface.flush()
    rows = numpy.frombuffer(surface.get_data(), numpy.uint8).reshape(surface.get_height(), surface.get_stride())
    return rows[:, :surface.get_width() * 4].reshape(surface.get_height(), surface.get_width(), 4)[:, :, :3]


def application(font, size, theme, antialias=cairo.Antialias.GRAY):
    """A window with a side bar, prose, two columns, a table and buttons."""
    window, side, ink, dimmed, button, button_ink, accent, accent_ink = THEMES[theme]
    pitch = round(size * 1.7)
    width, height = size * 62, pitch * 24
    screen = Screen(width, height, window, font=font, size=size, antialias=antialias)
    left = size * 13
    screen.fill(0, 0, left, height, side)
    for row, text in enumerate(SIDE):
        baseline = pitch * (row + 2)
        if row == 3:  # the chosen one
            screen.fill(4, baseline - round(size * 1.15), left - 8, pitch, accent, radius=4)
        screen.text(size, baseline, text, accent_ink if row == 3 else ink)
    x, baseline = left + size * 2, pitch * 2
    screen.text(x, baseline, "Settings of this computer", ink, bold=True, size=round(size * 1.4))
    for row, text in enumerate(PROSE):
        screen.text(x, baseline + pitch * (row + 2), text, ink)
    baseline += pitch * (len(PROSE) + 3)
    for row, (first, second) in enumerate(zip(LEFT, RIGHT)):
        screen.text(x, baseline + pitch * row, first, ink, bold=row == 0)
        screen.text(x + size * 21, baseline + pitch * row, second, ink, bold=row == 0)
    baseline += pitch * (len(LEFT) + 1)
    for row, cells in enumerate(TABLE):
        screen.fill(x, baseline + pitch * row + round(size * 0.45), width - x - size, 1, side)
        for column, text in zip((0, 20, 32), cells):
            screen.text(x + size * column, baseline + pitch * row, text, dimmed if column else ink)
    y = baseline + pitch * (len(TABLE) + 1) - size
    for number, text in enumerate(BUTTONS):
        chosen = number == 2
        x = screen.button(x, y, text, accent if chosen else button, accent_ink if chosen else button_ink) + size
    return screen


def full_4k():
    """3840x2160 pixels full of such windows."""
    screen = Screen(3840, 2160)
    parts = [application(font, 14, theme) for font, theme in
             (("DejaVu Sans", "light"), ("Liberation Sans", "dark"), ("Liberation Serif", "light"))]
    places = itertools.product(range(0, screen.height - parts[0].height, parts[0].height),
                               range(0, screen.width - parts[0].width, parts[0].width))
    for part, (y, x) in zip(itertools.cycle(parts), places):
        screen.paste(part, x, y)
    return screen


def edits(first, second):
    """The least number of characters to insert, delete or replace."""
    row = list(range(len(second) + 1))
    for at, character in enumerate(first, 1):
        diagonal, row[0] = row[0], at
        for to, other in enumerate(second, 1):
            diagonal, row[to] = row[to], min(row[to] + 1, row[to - 1] + 1, diagonal + (character != other))
    return row[-1]


@dataclasses.dataclass
class Reading:
    """What was read of a screen, beside what was drawn."""

    characters: int = 0  # drawn
    wrong: int = 0  # edits that make what was read what was drawn; text where none was drawn counts whole
    worst: list = dataclasses.field(default_factory=list)  # (drawn, read), where they differ
    # (of the worst of its edges in pixels, text, box read, box drawn) of each line that was read as one piece
    deviations: list = dataclasses.field(default_factory=list)

    @property
    def error_rate(self):
        return self.wrong / self.characters


def judge(screen, observations):
    """Each observation belongs to the drawn line that it covers most of."""
    pieces = {at: [] for at in range(len(screen.lines))}
    reading = Reading()
    for observation in observations:
        box = observation["boundingBox"]
        left, right = box["x"] * screen.width, (box["x"] + box["width"]) * screen.width
        top, bottom = (1 - box["y"] - box["height"]) * screen.height, (1 - box["y"]) * screen.height

        def shared(line):
            return (max(0, min(right, line.box[2]) - max(left, line.box[0]))
                    * max(0, min(bottom, line.box[3]) - max(top, line.box[1])))

        at = max(pieces, key=lambda number: shared(screen.lines[number]))
        if shared(screen.lines[at]) == 0:
            reading.wrong += len(observation["text"])
            reading.worst.append(("", observation["text"]))
        else:
            pieces[at].append(((left, top, right, bottom), observation["text"]))
    for at, line in enumerate(screen.lines):
        text = " ".join(text for _, text in sorted(pieces[at]))
        reading.characters += len(line.text)
        reading.wrong += edits(line.text, text)
        if text != line.text:
            reading.worst.append((line.text, text))
        if len(pieces[at]) == 1:
            box = pieces[at][0][0]
            reading.deviations.append((max(abs(a - b) for a, b in zip(box, line.box)), line.text, box, line.box))
    return reading
