#!/usr/bin/python3
"""windows.py CLIENT WINDOW_TEXT LIBRARY PREFIX
The message-box handler's boxes under Wine, answered by the keyboard and by closing them.

Captions are the windows' titles; WINDOW_TEXT, started beside the client, reads the texts from the box. PREFIX is the
directory that Wine keeps its files in.
"""
import os
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
import desktop
from desktop import close_window, eventually, output, press

CAPTION = "QZK Error: Bad argument"
REPORT = (-5, "f", "m", "s", 1)
TEXT = "in function\n[s:1]:f():\nm"
SECOND_TEXT = "QZStdErrMode=QZ_ErrorModeLeaf\n  Terminate the application?"
FAREWELL = "QZK:\nterminating the application"


def colour_name(red, green, blue):
    if red < max(green, blue) + 20:
        return "none"
    return "yellow" if green > blue + 20 else "red"


class Box:
    """A box that is shown."""

    def __init__(self, client, caption=CAPTION):
        self.caption = caption
        found = eventually(lambda: [window for window in desktop.windows_titled(caption)
                                    if window not in client.answered], lambda seen: seen or client.has_ended())
        assert found, f"no window titled {caption}"
        self.window = found[0]
        self._client = client

    def is_open(self):
        return self.window in desktop.windows_titled(self.caption)

    def shown(self, wanted):
        """Whether the box lies above other windows, the colour of its icon, its texts."""
        def read():
            parts = output("wine", Boxes.window_text, self.caption).split("\0")
            if len(parts) < 3:
                return None
            return parts[0], colour_name(*(int(part) for part in parts[1].split())), set(parts[2:-1])
        return eventually(read, lambda seen: seen == wanted, patience=20)

    def answer(self, act):
        """Repeats the act as long as the box is open."""
        for _ in range(6):
            if self.is_open():
                act(self.window)
            if not eventually(self.is_open, lambda is_open: not is_open, patience=10):
                self._client.answered.add(self.window)
                return
        raise AssertionError("the box stays open")

    def press(self, *keys):
        self.answer(lambda window: press(window, *keys))

    def close(self):
        self.answer(close_window)


class Boxes(unittest.TestCase):
    client = window_text = None

    def report(self, mode, *reports):
        client = desktop.Client(["wine", self.client], mode, *reports)
        self.addCleanup(client.kill)
        return client

    def check_first(self, box, text=TEXT):
        wanted = ("topmost", "yellow", {text, "OK", "Cancel"})
        self.assertEqual(wanted, box.shown(wanted))

    def check_goes_on(self, client, out="result -5 status -5\n"):
        self.assertEqual((7, out + "exit handler\n"), client.end()[:2])

    def check_ends(self, client, out=""):
        Box(client, "Error").press("Return")
        self.assertEqual((1, out), client.end()[:2])

    def test_ok_goes_on(self):
        client = self.report(3, REPORT, REPORT)
        box = Box(client)
        self.check_first(box)
        box.press("Return")
        Box(client).press("Tab", "Tab", "Return")
        self.check_goes_on(client, 2 * "result -5 status -5\n")

    def test_a_failure_of_the_library(self):
        client = self.report(1)
        box = Box(client)
        self.check_first(box, "in function\n[..\\LIBSRC\\QZ_CNVRT:1612]:QZ_siConvert():\nUnknown value   9 for doScale")
        box.press("Escape")
        farewell = Box(client, "Error")
        wanted = ("topmost", "none", {FAREWELL, "OK"})  # as Wine shows what ends a process
        self.assertEqual(wanted, farewell.shown(wanted))
        self.assertFalse(client.has_ended())
        self.check_ends(client)

    def test_cancel_ends(self):
        client = self.report(1, REPORT)
        Box(client).press("Tab", "Return")
        self.check_ends(client)

    def test_closing_cancels(self):
        client = self.report(1, REPORT, REPORT)
        Box(client).press("Return")
        Box(client).close()
        self.check_ends(client, "result -5 status -5\n")

    def test_leaf_mode_cancel(self):
        client = self.report(0, REPORT)
        Box(client).press("Escape")
        self.check_ends(client)

    def test_leaf_mode_yes_and_no(self):
        client = self.report(0, REPORT, REPORT)
        Box(client).press("Return")
        box = Box(client)
        wanted = ("normal", "red", {SECOND_TEXT, "&Yes", "&No"})
        self.assertEqual(wanted, box.shown(wanted))
        box.press("alt+n")
        Box(client).press("Return")
        Box(client).press("alt+y")
        self.check_ends(client, "result -5 status -5\n")

    def test_leaf_mode_closed(self):
        client = self.report(0, REPORT)
        Box(client).press("Return")
        Box(client).press("Escape")  # which Wine, unlike Windows, takes for an answer: not Yes
        self.check_goes_on(client)

    def test_silent_mode_shows_nothing(self):
        self.check_goes_on(self.report(2, REPORT))

    def test_trace_records_bear_the_caption_of_the_error(self):
        client = self.report(1, (-4, "QZbAlloc2", "m", "..\\LIBSRC\\QZ_ALLOC", 96),
                             (-1, "QZbCopyImage", "", "..\\LIBSRC\\QZ_IMAGE", 20), (-8, "f", '1, "%d"', "-", -1))
        for text in ("in function\n[..\\LIBSRC\\QZ_ALLOC:96]:QZbAlloc2():\nm",
                     "called from\n[..\\LIBSRC\\QZ_IMAGE:20]:QZbCopyImage():\n", 'called from\n[:0]:f(1, "%d")'):
            box = Box(client, "QZK Error: Out of memory")
            self.check_first(box, text)
            box.press("Return")
        self.check_goes_on(client, "result -4 status -4\nresult -1 status -4\nresult -8 status -4\n")

    def test_texts_are_shown_as_they_are_and_cut(self):
        odd = "\"q\" 'q' %s %n <b>bold</b> &amp; a\\nb\\\\c _d\n--next\n-"
        long = "abc " * 1000
        client = self.report(1, (-5, "-f", odd, "-s", 1), (-5, "f", long, "s", 1))
        for text in ("in function\n[-s:1]:-f():\n" + odd, ("in function\n[s:1]:f():\n" + long)[:999]):
            box = Box(client)
            self.check_first(box, text)
            box.press("Return")
        self.check_goes_on(client, 2 * "result -5 status -5\n")


def main():
    Boxes.client, Boxes.window_text, library, prefix = sys.argv[1:]
    desktop.need("wine", "wineboot", "wineserver", "Xvfb", "xdotool")
    screen = desktop.Desktop()
    directory = "Z:" + os.path.dirname(library).replace("/", "\\")
    os.environ.update(WINEPREFIX=prefix, WINEDEBUG="-all", WINEDLLOVERRIDES="mscoree,mshtml=", WINEPATH=directory)
    try:
        # Started once for all clients: it also fills the directory.
        subprocess.run(["wineboot", "--init"], timeout=300, check=True, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)
        result = unittest.main(argv=[sys.argv[0]], exit=False, verbosity=2).result
    finally:
        subprocess.run(["wineserver", "--kill"], check=False)
        screen.close()
    sys.exit(0 if result.wasSuccessful() else 1)


main()
