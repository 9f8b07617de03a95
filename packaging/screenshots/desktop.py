"""A desktop of our own to take pictures of: a screen without a monitor, a bus, a window manager and a tray, and the
hands of somebody who uses them. Nothing of it can be seen, heard or changed by the desktop of the user."""

import collections.abc
import contextlib
import os
import pathlib
import re
import shutil
import signal
import subprocess
import time
import typing

PATIENCE = 20
# Longer than what is typed takes to have its effect, shorter than the blinking of a text cursor.
STILL = 0.25

# Windows without frames: those of each desktop are others, and only a line tells a dialog from what is behind it.
WINDOW_MANAGER = """<?xml version="1.0"?>
<openbox_config xmlns="http://openbox.org/3.4/rc">
  <theme><name>Clearlooks</name><keepBorder>yes</keepBorder></theme>
  <focus><focusNew>yes</focusNew></focus>
  <applications><application class="*"><decor>no</decor></application></applications>
</openbox_config>
"""

# What desktops answer who asks for the user's wish.
SCHEMES = {"dark": 1, "light": 2}


class Area(typing.NamedTuple):
    left: int
    top: int
    right: int
    bottom: int

    def joined(self, other: "Area") -> "Area":
        return Area(*map(min, self[:2], other[:2]), *map(max, self[2:], other[2:]))

    def crop(self) -> str:
        return f"{self.right - self.left}x{self.bottom - self.top}+{self.left}+{self.top}"


class Missing(Exception):
    """What was waited for in vain."""


def wait_until(what: str, condition: collections.abc.Callable, seconds: float = PATIENCE):
    """What `condition` returns as soon as that is true; looks often, for what is waited for takes milliseconds."""
    deadline = time.monotonic() + seconds
    while True:
        found = condition()
        if found:
            return found
        if time.monotonic() > deadline:
            raise Missing(f"{what}: not within {seconds} seconds")
        time.sleep(0.05)


class Desktop:
    """Until `stop`. All of it lives below `home`."""

    def __init__(self, home: pathlib.Path, scheme: str, scale: int, size: tuple[int, int]):
        self.home = home
        self.scale = scale
        self._size = [side * scale for side in size]
        self._started = []
        folders = {name: home / name.lower() for name in ("DATA", "CONFIG", "CACHE", "STATE", "RUNTIME")}
        for folder in folders.values():
            folder.mkdir(parents=True, mode=0o700)
        self.data = folders["DATA"]
        self.config = folders["CONFIG"]
        self._scheme = scheme
        self.environment = {
            "PATH": os.environ["PATH"],
            "LANG": "C.UTF-8",
            "HOME": str(home),
            **{f"XDG_{name}_{'DIR' if name == 'RUNTIME' else 'HOME'}": str(at) for name, at in folders.items()},
            "XDG_SESSION_TYPE": "x11",
            "QT_SCALE_FACTOR": str(scale),
            "DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={home}/none",
        }

    def start(self) -> None:
        reading, writing = os.pipe()
        size = "{}x{}x24".format(*self._size)
        self.run(
            "Xvfb", "-displayfd", writing, "-screen", "0", size, "-nolisten", "tcp", "-noreset", "-wr",
            pass_fds=[writing],
        )
        os.close(writing)
        with os.fdopen(reading) as number:
            self.environment["DISPLAY"] = ":" + number.readline().strip()
        bus = self.run(
            "dbus-daemon", "--session", "--nofork", "--print-address", "--nopidfile",
            f"--address=unix:path={self.home}/bus", stdout=subprocess.PIPE, text=True,
        )
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().strip()
        self._serve_scheme()
        rules = self.config / "openbox.xml"
        rules.write_text(WINDOW_MANAGER)
        self.run("openbox", "--sm-disable", "--config-file", rules)
        wait_until("the window manager", lambda: "window id" in self._root_property("_NET_SUPPORTING_WM_CHECK"))
        self._start_tray()

    def stop(self) -> None:
        for process in reversed(self._started):
            end(process)

    def run(self, *command, **options) -> subprocess.Popen:
        """Starts something that ends with the desktop at the latest."""
        with open(self.home / "log", "ab") as log:
            process = subprocess.Popen(
                [str(word) for word in command], env=self.environment, cwd=self.home,
                **{"stdin": subprocess.DEVNULL, "stdout": log, "stderr": log, **options},
            )
        self._started.append(process)
        return process

    # Hands

    def press(self, *keys: str) -> None:
        self._tool("key", "--clearmodifiers", *keys)

    def type(self, text: str) -> None:
        self._tool("type", "--delay", "1", text)

    def click(self, x: int, y: int) -> None:
        self._tool("mousemove", x, y, "click", 1)

    def turn_wheel(self, x: int, y: int, direction: str) -> None:
        """As far as it goes."""
        button = {"up": 4, "down": 5}[direction]
        self._tool("mousemove", x, y, "click", "--repeat", 50, "--delay", 5, button)

    def put_mouse_away(self) -> None:
        self._tool("mousemove", self._size[0] - 1, self._size[1] - 1)

    def copy(self, text: str) -> None:
        """As another program does."""
        owner = self.run("xclip", "-quiet", "-selection", "clipboard", stdin=subprocess.PIPE)
        owner.stdin.write(text.encode())
        owner.stdin.close()
        wait_until("the clipboard", lambda: self.clipboard() == text)

    def clipboard(self) -> str:
        return self._output("xclip", "-o", "-selection", "clipboard")

    # Eyes

    def windows(self, *criteria: str) -> list[str]:
        return self._output("xdotool", "search", "--onlyvisible", *criteria).split()

    def window(self, title: str) -> str:
        """The one with exactly this title, once it is there."""
        return wait_until(f"the window '{title}'", lambda: self.windows("--name", f"^{re.escape(title)}$"))[-1]

    def title(self, window: str) -> str:
        return self._output("xdotool", "getwindowname", window).strip()

    def wait_until_gone(self, window: str) -> None:
        wait_until("the end of a window", lambda: "IsViewable" not in self._output("xwininfo", "-id", window))

    def move(self, window: str, x: int, y: int) -> None:
        self._tool("windowmove", window, x, y)
        wait_until("the window in its place", lambda: abs(self.area(window).left - x) < 5)

    def resize(self, window: str, width: int, height: int) -> None:
        self._tool("windowsize", window, width, height)
        left, top = self.area(window)[:2]
        wanted = Area(left, top, left + width, top + height)
        wait_until("the window in its size", lambda: self.area(window) == wanted)

    def least_size(self, window: str) -> tuple[int, int]:
        hints = self._output("xprop", "-id", window, "WM_NORMAL_HINTS")
        width, height = re.search(r"minimum size: (\d+) by (\d+)", hints).groups()
        return int(width), int(height)

    def area(self, window: str) -> Area:
        facts = self._output("xwininfo", "-id", window)
        sides = ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height")
        left, top, width, height = (int(re.search(rf"{side}: +(-?\d+)", facts)[1]) for side in sides)
        return Area(left, top, left + width, top + height)

    def look(self, area: Area) -> bytes:
        """What is to be seen there now."""
        command = ["import", "-silent", "-window", "root", "-crop", area.crop(), "+repage", "-depth", "8", "ppm:-"]
        return subprocess.run(command, env=self.environment, capture_output=True, check=True).stdout

    def look_when_still(self, area: Area) -> bytes:
        """Once two looks are the same, or what moves there has moved for so long that it never rests."""
        before = self.look(area)
        for _ in range(4):
            time.sleep(STILL)
            now = self.look(area)
            if now == before:
                break
            before = now
        return before

    def save(self, path: pathlib.Path, area: Area) -> None:
        subprocess.run(["convert", "ppm:-", "-strip", f"png:{path}"], input=self.look_when_still(area), check=True)

    def _serve_scheme(self) -> None:
        place = ("org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop")
        settings = "org.freedesktop.portal.Settings"
        self.run("/usr/bin/python3", "-m", "dbusmock", "--session", *place, settings)
        # The value is wrapped twice, as the real ones do.
        answer = f"ret = dbus.UInt32({SCHEMES[self._scheme]}, variant_level=2)"
        add = ["gdbus", "call", "--session", "--dest", place[0], "--object-path", place[1]]
        add += ["--method", "org.freedesktop.DBus.Mock.AddMethod", settings, "Read", "ss", "v", answer]
        wait_until("the settings of the desktop", lambda: self._output(*add))

    def _start_tray(self, attempts: int = 3) -> None:
        """Now and then one of a busy computer never shows itself."""
        tray = self.run(
            "trayer", "--edge", "top", "--align", "right", "--widthtype", "request", "--height", 24 * self.scale,
            "--SetPartialStrut", "false",
        )
        try:
            wait_until("the tray", lambda: self.windows("--class", "trayer"), PATIENCE / 2)
        except Missing:
            if attempts == 1:
                raise
            end(tray)
            self._start_tray(attempts - 1)

    def _tool(self, *arguments) -> None:
        subprocess.run(["xdotool", *map(str, arguments)], env=self.environment, check=True, timeout=PATIENCE)

    def _output(self, *command: str) -> str:
        done = subprocess.run(
            command, env=self.environment, capture_output=True, text=True, check=False, timeout=PATIENCE
        )
        return done.stdout

    def _root_property(self, name: str) -> str:
        return self._output("xprop", "-root", name)


def end(process: subprocess.Popen, seconds: float = 10) -> None:
    with contextlib.suppress(ProcessLookupError):
        process.send_signal(signal.SIGTERM)
    try:
        process.wait(seconds)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


def require(*programs: str) -> None:
    missing = [name for name in programs if shutil.which(name) is None]
    if missing:
        raise SystemExit(f"{', '.join(missing)} missing; scripts/setup screenshots installs what is needed.")
