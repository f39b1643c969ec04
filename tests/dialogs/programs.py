#!/usr/bin/python3
"""programs.py PROGRAM CLIENT
The message-box handler asking through a real dialog program, answered by mouse and keyboard.

Captions are the windows' titles. Texts are read as they are shown: those of zenity through the accessibility bus,
those of xmessage by selecting them with the mouse.
"""
import os
import re
import signal
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
import desktop
from desktop import click, close_window, eventually, output, press

SECOND_TEXT = "QZStdErrMode=QZ_ErrorModeLeaf\n  Terminate the application?"
CAPTION = "QZK Error: Bad argument"
REPORT = (-5, "f", "m", "s", 1)
TEXT = "in function\n[s:1]:f():\nm"


def processes_below(pid):
    """Command lines of the children's children by process; those that have ended have none."""
    def read(path):
        try:
            with open(path, encoding="utf-8") as file:
                return file.read()
        except (FileNotFoundError, ProcessLookupError):
            return ""

    def children(parent):
        return read(f"/proc/{parent}/task/{parent}/children").split()

    return {int(child): read(f"/proc/{child}/cmdline").split("\0")[:-1]
            for between in children(pid) for child in children(between)}


class Box:
    """A dialog that is shown."""

    def __init__(self, name, client, caption):
        def running():
            return [(pid, words) for pid, words in processes_below(client.pid).items()
                    if words[:1] == [name] and pid not in client.answered]

        self._client = client
        self.caption = caption
        found = eventually(running, lambda seen: seen or client.has_ended())
        assert found, f"no {name} was started"
        self.process, self.arguments = found[0]
        assert eventually(self.window), f"no window titled {caption}"

    def window(self):
        return next(iter(desktop.windows_titled(self.caption)), None)

    def is_open(self):
        return os.path.exists(f"/proc/{self.process}")

    def answer(self, act):
        """Repeats the act as long as the dialog is open: programs miss what comes before they are ready. Patient,
        since a repetition could reach the next dialog while this one is still closing."""
        for _ in range(6):
            window = self.window()
            if window is not None and self.is_open():  # or it is that of the next question
                act(window)
            if not eventually(self.is_open, lambda is_open: not is_open, patience=10):
                self._client.answered.add(self.process)
                return
        raise AssertionError("the dialog stays open")

    def close(self):
        self.answer(close_window)


class Zenity(Box):
    def __init__(self, client, caption=CAPTION):
        super().__init__("zenity", client, caption)

    def _widgets(self, role):
        """Widgets of this role with their names."""
        def below(widget):
            yield widget
            for index in range(widget.get_child_count()):
                child = widget.get_child_at_index(index)
                if child is not None:
                    yield from below(child)

        from gi.repository import Atspi, GLib
        try:
            return [(widget.get_name(), widget) for program in below_root(Atspi)
                    if program.get_process_id() == self.process
                    for widget in below(program) if widget.get_role_name() == role]
        except GLib.Error:
            return []

    def text(self, wanted):
        labels = eventually(lambda: self._widgets("label"), lambda seen: [name for name, _ in seen] == [wanted], 15)
        return "\n".join(name for name, _ in labels)

    def labels(self):
        return {name for name, _ in self._widgets("push button")}

    def _click(self, label):
        from gi.repository import Atspi

        def act(_):
            for name, button in self._widgets("push button"):
                if name == label:
                    area = button.get_extents(Atspi.CoordType.SCREEN)
                    click(area.x + area.width // 2, area.y + area.height // 2)
        self.answer(act)

    def agree(self):
        self._click("Yes" if "Yes" in self.labels() else "OK")

    def refuse(self):
        self._click("No" if "No" in self.labels() else "Cancel")

    def agree_by_key(self):
        self.answer(lambda window: press(window, "Return"))

    def refuse_by_key(self):
        self.answer(lambda window: press(window, "Escape"))


def below_root(atspi):
    root = atspi.get_desktop(0)
    programs = [root.get_child_at_index(index) for index in range(root.get_child_count())]
    return [program for program in programs if program is not None]


class Xmessage(Box):
    def __init__(self, client, caption=CAPTION):
        super().__init__("xmessage", client, caption)

    def _areas(self, window):
        """Text and buttons from left to right: left, top, width, height on the screen."""
        areas = [tuple(int(number) for number in match) for match in
                 re.findall(r"^ {8}0x.*?(\d+)x(\d+)\+\S+ +\+(\d+)\+(\d+)$", output("xwininfo", "-tree", "-id", window), re.M)]
        areas = [(x, y, width, height) for width, height, x, y in areas]
        text = min(areas, key=lambda area: area[1], default=None)
        return text, sorted(area for area in areas if area != text)

    def text(self, wanted):
        def select():
            text, _ = self._areas(self.window())
            if text is not None:
                click(text[0] + 60, text[1] + 6, times=5)
            return eventually(lambda: output("xsel", "--output", "--primary"), lambda seen: seen == wanted, patience=2)
        return eventually(select, lambda seen: seen == wanted, patience=15)

    def labels(self):
        return {part.split(":")[0] for part in self.arguments[self.arguments.index("-buttons") + 1].split(",")}

    def _click(self, index):
        def act(window):
            _, buttons = self._areas(window)
            if len(buttons) == 2:
                x, y, width, height = buttons[index]
                click(x + width // 2, y + height // 2)
        self.answer(act)

    def agree(self):
        self._click(0)

    def refuse(self):
        self._click(1)

    agree_by_key, refuse_by_key = agree, refuse  # it has no keys


class Dialogs(unittest.TestCase):
    box = None  # class of the program's dialogs
    command = None

    def report(self, mode, *reports):
        client = desktop.Client(self.command, mode, *reports)
        self.addCleanup(client.kill)
        return client

    def check(self, box, text, labels):
        self.assertEqual(text, box.text(text))
        self.assertEqual(set(labels), box.labels())

    def check_goes_on(self, client, out="result -5 status -5\n"):
        code, seen, error = client.end()
        self.assertEqual((7, out + "exit handler\n"), (code, seen), error)
        self.assertNotIn("terminating", error)

    def check_ends(self, client, out=""):
        code, seen, error = client.end()
        self.assertEqual((-signal.SIGABRT, out), (code, seen), error)
        self.assertTrue(error.endswith(client.FAREWELL), error)

    def test_ok_goes_on(self):
        for mode in (1, 3):
            client = self.report(mode, REPORT)
            box = self.box(client)
            self.check(box, TEXT, ("OK", "Cancel"))
            box.agree()
            self.check_goes_on(client)

    def test_cancel_ends(self):
        client = self.report(1, REPORT)
        self.box(client).refuse()
        self.check_ends(client)

    def test_keys(self):
        client = self.report(1, REPORT, REPORT)
        self.box(client).agree_by_key()
        self.box(client).refuse_by_key()
        self.check_ends(client, "result -5 status -5\n")

    def test_closing_cancels(self):
        client = self.report(1, REPORT)
        self.box(client).close()
        self.check_ends(client)

    def test_leaf_mode_cancel(self):
        client = self.report(0, REPORT)
        self.box(client).refuse()
        self.check_ends(client)

    def second_box(self):
        client = self.report(0, REPORT)
        box = self.box(client)
        self.check(box, TEXT, ("OK", "Cancel"))
        box.agree()
        box = self.box(client)
        self.check(box, SECOND_TEXT, ("Yes", "No"))
        return client, box

    def test_leaf_mode_yes(self):
        client, box = self.second_box()
        box.agree()
        self.check_ends(client)

    def test_leaf_mode_no(self):
        client, box = self.second_box()
        box.refuse()
        self.check_goes_on(client)

    def test_closing_the_second_box_is_no(self):
        client, box = self.second_box()
        box.close()
        self.check_goes_on(client)

    def test_silent_mode_shows_nothing(self):
        self.check_goes_on(self.report(2, REPORT))

    def test_trace_records_bear_the_caption_of_the_error(self):
        client = self.report(1, (-4, "QZbAlloc2", "The pointers vector can not be allocated", "..\\LIBSRC\\QZ_ALLOC", 96),
                             (-1, "QZbCopyImage", "", "..\\LIBSRC\\QZ_IMAGE", 20), (-8, "f", '1, "%d"', "-", -1))
        caption = "QZK Error: Out of memory"
        for text in ("in function\n[..\\LIBSRC\\QZ_ALLOC:96]:QZbAlloc2():\nThe pointers vector can not be allocated",
                     "called from\n[..\\LIBSRC\\QZ_IMAGE:20]:QZbCopyImage():\n", 'called from\n[:0]:f(1, "%d")'):
            box = self.box(client, caption)
            self.assertEqual(text, box.text(text))
            box.agree()
        self.check_goes_on(client, "result -4 status -4\nresult -1 status -4\nresult -8 status -4\n")

    def test_texts_are_shown_as_they_are(self):
        message = "--x \"q\" 'q' $(id) `id` %s %n <b>bold</b> &amp; a\\nb\\\\c\\101 _d\n--next\n-"
        client = self.report(1, (-5, "-f", message, "-s", 1))
        text = "in function\n[-s:1]:-f():\n" + message
        box = self.box(client)
        self.assertEqual(text, box.text(text))
        box.agree()
        self.check_goes_on(client)

    def test_long_texts_are_cut(self):
        client = self.report(1, (-5, "f", "abc " * 1000, "s", 1))
        text = ("in function\n[s:1]:f():\n" + "abc " * 1000)[:999]
        box = self.box(client)
        self.assertEqual(text, box.text(text))
        box.agree()
        self.check_goes_on(client)


def main():
    name, client = sys.argv[1:]
    classes = {"zenity": Zenity, "xmessage": Xmessage}
    needs = {"zenity": ["dbus-daemon"], "xmessage": ["xwininfo", "xsel"]}
    desktop.need(name, "Xvfb", "xdotool", *needs[name])
    if name == "zenity":
        try:
            import gi
            gi.require_version("Atspi", "2.0")
        except (ImportError, ValueError):
            desktop.skip("gir1.2-atspi-2.0 or python3-gi is not installed")

    screen = desktop.Desktop()
    with tempfile.TemporaryDirectory(prefix="qzk-dialogs-") as path:
        try:
            if name == "zenity":
                screen.start_session_bus()
            os.symlink(desktop.shutil.which(name), os.path.join(path, name))
            Dialogs.box = classes[name]
            Dialogs.command = ["/usr/bin/env", "PATH=" + path, client]
            result = unittest.main(argv=[sys.argv[0]], exit=False, verbosity=2).result
        finally:
            screen.close()
    sys.exit(0 if result.wasSuccessful() else 1)


main()
