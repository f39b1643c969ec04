"""A screen of its own without a window manager, and hands and eyes on it."""
import ctypes
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

PATIENCE = 60  # seconds: nothing takes as long, even on a busy machine
SKIPPED = 77  # exit code that CTest takes for a skipped test


def need(*programs):
    """Skips the test where one of the programs is not installed."""
    for program in programs:
        if shutil.which(program) is None:
            skip(f"{program} is not installed")


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(SKIPPED)


def eventually(look, wanted=lambda seen: seen, patience=PATIENCE):
    """What `look` sees as soon as it is as wanted; what it saw last when that takes too long."""
    end = time.monotonic() + patience
    while True:
        seen = look()
        if wanted(seen) or time.monotonic() > end:
            return seen
        time.sleep(0.05)


def output(*command):
    """What a command prints; nothing where it fails, as it does on a window that has just gone."""
    try:
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=PATIENCE)
    except subprocess.TimeoutExpired:
        return ""
    return done.stdout.decode(errors="replace") if done.returncode == 0 else ""


class Desktop:
    """Xvfb with a home directory of its own. The environment of this process is changed to it."""

    def __init__(self):
        self._processes = []
        self._home = tempfile.mkdtemp(prefix="qzk-dialogs-")
        for name in ("DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY", "DBUS_SESSION_BUS_ADDRESS", "NO_AT_BRIDGE"):
            os.environ.pop(name, None)
        os.environ.update(HOME=self._home, XDG_RUNTIME_DIR=self._home, LC_ALL="C.UTF-8")
        # -r: a key whose release comes late on a busy machine would repeat, and answer the next dialog too.
        os.environ["DISPLAY"] = ":" + self._start("-displayfd", "Xvfb", "-r", "-screen", "0", "1024x768x24",
                                                  "-nolisten", "tcp")

    def start_session_bus(self):
        """Programs offer their texts to assistive technologies through it."""
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = self._start("--print-address", "dbus-daemon", "--session", "--nofork")

    def _start(self, option, *command):
        """Starts a server that writes one line to the descriptor after the option when it is ready."""
        reading, writing = os.pipe()
        option = [f"{option}={writing}"] if option.startswith("--") else [option, str(writing)]
        self._processes.append(subprocess.Popen([*command, *option], pass_fds=[writing], stdin=subprocess.DEVNULL,
                                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        os.close(writing)
        with os.fdopen(reading) as lines:
            return lines.readline().strip()

    def close(self):
        for process in reversed(self._processes):
            process.terminate()
            process.wait()
        shutil.rmtree(self._home, ignore_errors=True)


def windows_titled(title):
    return output("xdotool", "search", "--onlyvisible", "--name", "^" + re.escape(title) + "$").split()


def press(window, *keys):
    output("xdotool", "windowfocus", window)
    output("xdotool", "key", *keys)


def click(x, y, times=1):
    output("xdotool", "mousemove", str(x), str(y), "click", "--repeat", str(times), "--delay", "50", "1")


class _ClientMessage(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("window", ctypes.c_ulong), ("message_type", ctypes.c_ulong),
                ("format", ctypes.c_int), ("data", ctypes.c_long * 5), ("rest", ctypes.c_long * 12)]


def close_window(window):
    """Asks a window to close, as a window manager does when its close button is pressed."""
    x11 = ctypes.CDLL("libX11.so.6")
    x11.XOpenDisplay.restype = ctypes.c_void_p
    x11.XInternAtom.restype = ctypes.c_ulong
    display = ctypes.c_void_p(x11.XOpenDisplay(None))
    message = _ClientMessage(type=33, window=int(window), format=32)
    message.message_type = x11.XInternAtom(display, b"WM_PROTOCOLS", 0)
    message.data[0] = x11.XInternAtom(display, b"WM_DELETE_WINDOW", 0)
    x11.XSendEvent(display, ctypes.c_ulong(int(window)), 0, ctypes.c_long(0), ctypes.byref(message))
    x11.XCloseDisplay(display)


class Client:
    """The program that reports, without a terminal."""

    FAREWELL = "QZK:\nterminating the application\n"

    def __init__(self, command, mode, *reports, **environment):
        words = [str(word) for report in reports for word in report]
        self._process = subprocess.Popen([*command, str(mode), *words], stdin=subprocess.DEVNULL,
                                         stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True,
                                         env={**os.environ, **environment})
        self.pid = self._process.pid
        self.answered = set()  # processes of its dialogs so far

    def has_ended(self):
        return self._process.poll() is not None

    def end(self):
        """Exit code (negative: signal), standard output and standard error, when the client has ended."""
        out, error = self._process.communicate(timeout=PATIENCE)
        return self._process.returncode, *(text.decode().replace("\r\n", "\n") for text in (out, error))

    def kill(self):
        if self._process.poll() is None:
            os.killpg(self.pid, signal.SIGKILL)
        self._process.communicate()
