#!/usr/bin/python3
"""The metainfo has the addresses that the build was given, and no others; either way it is valid."""

import pathlib
import subprocess
import tempfile
import unittest
from xml.etree import ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
HOMEPAGE = "https://kel.example/?a=1&b=2"
SCREENSHOT = "https://kel.example/kel.png"


class Metainfo(unittest.TestCase):
    def made_with(self, homepage, screenshot):
        with tempfile.TemporaryDirectory(prefix="kel-metainfo-") as directory:
            made = pathlib.Path(directory) / "org.morvik.Kel.metainfo.xml"
            subprocess.run(["cmake", "-D", f"HOMEPAGE={homepage}", "-D", f"SCREENSHOT={screenshot}", "-D", f"OUTPUT={made}",
                            "-P", str(ROOT / "packaging" / "Metainfo.cmake")], check=True)
            judged = subprocess.run(["appstreamcli", "validate", "--no-net", str(made)], stdout=subprocess.PIPE, text=True,
                                    check=False)
            self.assertEqual(judged.returncode, 0, judged.stdout)
            return ElementTree.parse(made).getroot()

    def test_without_addresses_there_are_none(self):
        root = self.made_with("", "")
        self.assertEqual(root.findall("url") + root.findall("screenshots"), [])
        self.assertEqual(root.findtext("id"), "org.morvik.Kel")

    def test_each_address_is_there_when_it_is_given(self):
        for homepage in ("", HOMEPAGE):
            for screenshot in ("", SCREENSHOT):
                with self.subTest(homepage=homepage, screenshot=screenshot):
                    root = self.made_with(homepage, screenshot)
                    self.assertEqual([url.text for url in root.findall("url[@type='homepage']")], [homepage] if homepage else [])
                    self.assertEqual([image.text for image in root.findall("screenshots/screenshot/image")],
                                     [screenshot] if screenshot else [])


if __name__ == "__main__":
    unittest.main()
