"""What the system tests share: a folder for the movies, and the judgements that every recording must stand."""

import contextlib
import functools
import shutil
import tempfile
import unittest
from pathlib import Path

from movie import Movie

SUCCESS = ["started", "finishing", "processing"]


class Disturbed(AssertionError):
    """A measurement is not as it should be; other programs may be to blame, which had no processor in time."""


@contextlib.contextmanager
def unless_disturbed():
    """Around assertions on what depends on the punctuality of other programs: the source of a picture, the sound
    server, this test itself."""
    try:
        yield
    except AssertionError as error:
        raise Disturbed(str(error)) from error


def attempted(test):
    """For tests with such assertions: a fault of the recorder shows three times, a busy machine hardly. All other
    assertions must hold each time. They must not stand in subtests, which keep their failures to themselves."""
    @functools.wraps(test)
    def attempts(self):
        for _ in range(2):
            try:
                return test(self)
            except Disturbed as disturbance:
                print(f"disturbed, once more: {disturbance}", flush=True)
                shutil.rmtree(self.folder)
                self.folder.mkdir()
        return test(self)
    return attempts


class SystemTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(prefix="quorvane-test-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    def assert_succeeded(self, recorder):
        """Status 0, the lines of a good run and no others, nothing on standard error."""
        self.assertEqual((recorder.process.returncode, recorder.errors), (0, ""))
        self.assertEqual([kind for kind in recorder.kinds() if kind not in ("audioState", "heartbeat")], SUCCESS)

    def assert_finished(self, path):
        """A finished movie: index in front, nothing fragmented, decodes without complaint."""
        movie = Movie(path)
        boxes = movie.boxes()
        self.assertIn("moov", boxes)
        self.assertNotIn("moof", boxes)
        self.assertLess(boxes.index("moov"), boxes.index("mdat"), boxes)
        movie.check_playable()
        return movie

    def assert_left_alone(self, folder, *names):
        """Nothing but these files lies in the folder: no scratch files stay behind."""
        self.assertEqual(sorted(path.name for path in Path(folder).iterdir()), sorted(names))
