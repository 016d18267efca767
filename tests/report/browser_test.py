"""The report of a run as a browser shows it.

usage: browser_test.py --driver CHROMEDRIVER --run FOLDER --pictures FOLDER
FOLDER has of one run page.html and lines.jsonl. Leaves report-light.png, report-dark.png and report-narrow.png
to be looked at.
"""

import argparse
import json
import sys
import unittest
from pathlib import Path

from webdriver import Browser

HOSTILE = "<script>document.title='owned'</script>\"><img src=x onerror=alert(1)>"
arguments = None


def lines(event, **members):
    """The run's own lines of a kind."""
    told = [json.loads(line) for line in (arguments.run / "lines.jsonl").read_text().splitlines()]
    return [line for line in told if line["event"] == event and all(line.get(k) == v for k, v in members.items())]


class TheReport(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = cls.enterClassContext(Browser(arguments.driver))
        cls.browser.show(1280, "light")
        cls.browser.open((arguments.run / "page.html").as_uri())

    def text(self, selector):
        return self.browser.run(f"return document.querySelector({json.dumps(selector)}).textContent")

    def numbers(self, phone, what):
        """By its name or number, each duration of a phone's table in microseconds."""
        return self.browser.run(
            f"return Object.fromEntries([...document.querySelectorAll('#phone-{phone} td[data-{what}]')]"
            f".map(cell => [cell.dataset.{what}, Number(cell.dataset.us)]))")

    def test_is_read_without_a_complaint(self):
        self.assertEqual(self.browser.complaints(), [])

    def test_has_a_part_for_each_phone(self):
        self.assertEqual(self.browser.run("return document.querySelectorAll('article').length"), 2)
        self.assertIn("1-1", self.text("#phone-1 h2"))

    def test_shows_the_stages_of_the_run(self):
        plug = lines("device", action="add", port="1-1")[0]["time_us"]
        left = lines("device", action="remove", port="1-1")[0]["time_us"]
        back = lines("device", action="add", port="1-1")[1]["time_us"]
        published = lines("entity", action="published", port="1-1")[0]["time_us"]
        command = lines("value", key="zebcmd")[0]["time_us"]
        stages = self.numbers(1, "stage")

        self.assertEqual(stages["offer"], lines("offer", port="1-1")[0]["time_us"] - plug)
        self.assertEqual(stages["back"], back - left)
        self.assertEqual(stages["published"], published - back)
        self.assertEqual(stages["command"], command - published)
        self.assertAlmostEqual(sum(stages.values()), command - plug, delta=len(stages))
        self.assertAlmostEqual(stages["switch"], 1_000_000, delta=500_000)

    def test_shows_the_total_that_the_host_tells(self):
        told = lines("story", port="1-1")[0]["stages_us"]["command"]
        total = self.browser.run("return Number(document.querySelector('#phone-1 .big').dataset.totalUs)")

        self.assertEqual(total, told)
        self.assertEqual(self.text("#phone-1 .big"), f"{told / 1e6:.3f} s")

    def test_shows_eight_transfers(self):
        transfers = self.numbers(1, "transfer")

        self.assertEqual(list(transfers), [str(number) for number in range(1, 9)])
        self.assertTrue(all(us > 0 for us in transfers.values()))

    def test_has_every_line_of_a_phone_in_its_log(self):
        shown = self.browser.run("return document.querySelectorAll('#phone-1 .log li').length")

        self.assertGreater(shown, len(lines("device", port="1-1")) + len(lines("entity", port="1-1")))

    def test_takes_a_devices_markup_for_text(self):
        self.assertIn(HOSTILE, self.text("#phone-2 h2"))
        self.assertEqual(self.browser.run("return document.querySelectorAll('script, img').length"), 0)
        self.assertNotEqual(self.browser.run("return document.title"), "owned")

    def test_names_what_a_reader_can_not_see(self):
        unnamed = self.browser.run(
            "return [...document.querySelectorAll('svg:not([aria-hidden]), section, article, nav')]"
            ".filter(e => !e.getAttribute('aria-label') && !e.getAttribute('aria-labelledby')).length")
        self.assertEqual(unnamed, 0)

    def test_fits_every_width_in_light_and_in_dark(self):
        grounds = set()
        for name, width, scheme in (("light", 1280, "light"), ("dark", 1280, "dark"), ("narrow", 390, "light")):
            self.browser.show(width, scheme)
            self.browser.picture(arguments.pictures / f"report-{name}.png")
            wide = self.browser.run("return document.documentElement.scrollWidth")
            self.assertLessEqual(wide, width, name)
            grounds.add(self.browser.run("return getComputedStyle(document.body).backgroundColor"))
        self.browser.show(1280, "light")

        self.assertEqual(len(grounds), 2)
        self.assertEqual(self.browser.complaints(), [])


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--driver", required=True)
    parser.add_argument("--run", type=Path, required=True)
    parser.add_argument("--pictures", type=Path, required=True)
    arguments, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest], verbosity=2)
