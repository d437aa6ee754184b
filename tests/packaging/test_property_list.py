"""The application's property list, as a system reads it that asks the user for permissions."""

import plistlib
import re
import unittest
from pathlib import Path

FILE = Path(__file__).resolve().parents[2] / "packaging/Info.plist"


class PropertyList(unittest.TestCase):
    def setUp(self):
        with FILE.open("rb") as file:
            self.list = plistlib.load(file)

    def test_names_the_application(self):
        self.assertEqual(self.list["CFBundleName"], "Quorvane Recorder")
        self.assertRegex(self.list["CFBundleIdentifier"], re.compile(r"\A[a-z]+(\.[a-z]+)+\Z"))

    def test_tells_why_each_permission_is_needed(self):
        usage = {key: text for key, text in self.list.items() if key.endswith("UsageDescription")}
        self.assertEqual(usage, {
            "NSAudioCaptureUsageDescription":
                "Quorvane needs system audio access when you enable system audio for recordings.",
            "NSCameraUsageDescription":
                "Quorvane needs camera access when you enable the webcam bubble for recordings.",
            "NSMicrophoneUsageDescription":
                "Quorvane needs microphone access when you enable microphone audio for recordings.",
            "NSSpeechRecognitionUsageDescription":
                "Quorvane uses on-device speech recognition to create searchable transcripts before recordings are "
                "uploaded.",
        })


if __name__ == "__main__":
    unittest.main()
