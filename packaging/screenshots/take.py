"""Takes pictures of the application at work, in light and dark and at two scales.

Arguments: the folder of the build and the folder for the pictures. The application is the real one, its downloads are
real ones, and it is used through mouse, keyboard, clipboard and links; what is waited for is seen in its windows, in
`fetra list` and in its folder of downloads.
"""

import contextlib
import functools
import json
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from desktop import Area, Desktop, Missing, end, require, wait_until
from downloads import MIB, Sites, Swarm

VARIANTS = ["light-100", "dark-100", "light-200", "dark-200"]
ICONS = pathlib.Path(__file__).resolve().parents[1] / "icons"

# Lengths are device-independent pixels; parts are parts of the main window.
SCREEN = (1360, 860)
AT = (40, 60)
HEADING = Area(200, 56, 420, 84)
INSPECTOR = Area(964, 60, 1270, 720)
INSPECTOR_IF_NARROW = Area(700, 60, 920, 440)
# Left, first, last and distance.
SIDEBAR_ROWS = (60, 100, 400, 15)
MAIN_TITLE = "Fetra – All"
# In the list, the newest first.
DISK_ROW = 1
TORRENT_ROW = 3
# Seconds of transfer in the chart.
HISTORY = 40

BAD_CHECKSUM = "1d0c7a-not-a-checksum"
TABS_TO_CHECKSUM = 6

FINISHED = [
    ("http://files.example.org/quick/harbour-at-dawn.jpg", 6 * MIB + 200_000),
    ("http://files.example.org/quick/string-quartet-no-3.flac", 38 * MIB + 4_711),
    ("http://archive.example.net/quick/annual-report-2025.pdf", 3 * MIB + 417_000),
]
FORBIDDEN = "http://members.example.com/members/city-maps.zip"
PAUSED = ("http://packages.example.org/pool/studio-editor_3.2.1_amd64.deb", 94 * MIB)
DISK = ("http://mirror.example.org/images/aurora-24.1-desktop-amd64.iso", 658 * MIB)
FILM = ("http://video.example.edu/lectures/signal-processing-07-the-fourier-transform-and-its-friends.mp4", 413 * MIB)
WAITING = ("http://archive.example.net/field-recordings-2025.tar.zst", 1190 * MIB)
TORRENT = ("open-film-collection-1080p", 1400 * MIB)
LINKS = [
    "http://mirror.example.org/images/aurora-24.1-server-arm64.iso",
    "http://mirror.example.org/images/aurora-24.1-netinst-amd64.iso",
    "https://photos.example.net/albums/summer/IMG_2041.jpeg",
    "https://docs.example.com/manuals/field-guide-second-edition.pdf?lang=en",
    "magnet:?xt=urn:btih:5b0f3c9a1de2476b8890aa12cd34ef5678901234&dn=trio.flac",
]


class Session:
    """One application on one desktop."""

    def __init__(self, build: pathlib.Path, desktop: Desktop, magnet: str, proxy: str, out: pathlib.Path, variant: str):
        self._programs = build / "bin"
        self._desktop = desktop
        self._magnet = magnet
        self._out = out
        self._variant = variant
        self._folder = desktop.home / "Downloads"
        self._main = ""
        desktop.environment.update({"FETRA_TORRENT_LOCAL": "1", "http_proxy": proxy})

    def take_all(self) -> None:
        app = self._start()
        self._save("empty")
        self._take_grabber()
        self._download()
        self._take_list()
        self._take_inspector()
        self._take_settings()
        self._take_tray()
        self._take_filters()
        self._take_quit()
        wait_until("the end of the application", lambda: app.poll() is not None)

    # Scenes

    def _take_grabber(self) -> None:
        desktop = self._desktop
        sheet = self._opened_by("ctrl+n")
        desktop.type(LINKS[0])
        for link in LINKS[1:]:
            desktop.press("Return")
            desktop.type(link)
        self._save("grabber")
        desktop.press("ctrl+a", "BackSpace")
        desktop.type(LINKS[0])
        desktop.look_when_still(desktop.area(sheet))
        desktop.press(*["Tab"] * TABS_TO_CHECKSUM)
        desktop.type(BAD_CHECKSUM)
        desktop.press("ctrl+a", "ctrl+c")
        wait_until("the field for the checksum", lambda: desktop.clipboard() == BAD_CHECKSUM)
        desktop.press("End")
        self._save("grabber-checksum")
        self._close(sheet)

    def _take_list(self) -> None:
        self._save("list")
        self._select(DISK_ROW)
        menu = self._opened_by("Menu")
        self._save("context-menu")
        self._close(menu)
        question = self._opened_by("Delete")
        self._save("removal")
        self._close(question)

    def _take_inspector(self) -> None:
        desktop = self._desktop
        with self._changes(INSPECTOR):
            desktop.press("ctrl+i")
        self._save("inspector")
        self._scroll_inspector("down")
        self._save("inspector-segments")
        self._scroll_inspector("up")
        with self._changes(INSPECTOR):
            self._select(TORRENT_ROW)
        self._save("inspector-torrent")
        self._scroll_inspector("down")
        self._save("inspector-swarm")
        self._scroll_inspector("up")
        usual = desktop.area(self._main)
        desktop.resize(self._main, *desktop.least_size(self._main))
        self._save("narrow-inspector")
        with self._changes(INSPECTOR_IF_NARROW):
            desktop.press("ctrl+i")
        self._save("narrow")
        desktop.resize(self._main, usual.right - usual.left, usual.bottom - usual.top)

    def _take_settings(self) -> None:
        window = self._opened_by("ctrl+comma")
        self._save("settings", window)
        before = self._desktop.look(self._desktop.area(window))
        self._desktop.press("ctrl+Tab")
        wait_until("the other tab", lambda: self._desktop.look(self._desktop.area(window)) != before)
        self._save("settings-about", window)
        self._desktop.press("ctrl+w")
        self._desktop.wait_until_gone(window)

    def _take_tray(self) -> None:
        desktop = self._desktop
        tray = desktop.windows("--class", "trayer")[-1]
        icons = desktop.area(tray)
        known = self._windows()
        desktop.click((icons.left + icons.right) // 2, (icons.top + icons.bottom) // 2)
        panel = self._opened_after(known, "the panel of the tray")
        desktop.put_mouse_away()
        self._save("tray", panel, tray)
        self._close(panel)

    def _take_filters(self) -> None:
        desktop = self._desktop
        self._choose("Completed")
        self._save("filter")
        self._choose("All")
        with self._changes(HEADING):
            desktop.press("ctrl+f")
            desktop.type("no such file")
        self._save("no-results")
        with self._changes(HEADING):
            desktop.press("ctrl+a", "BackSpace")
        with self._changes(HEADING):
            desktop.copy("Have a look: " + LINKS[0])
        self._save("clipboard")

    def _take_quit(self) -> None:
        self._opened_by("ctrl+q")
        self._save("quit")
        self._desktop.press("Return")

    # Steps

    def _start(self) -> subprocess.Popen:
        desktop = self._desktop
        preferences = desktop.config / "Fetra" / "Preferences.json"
        preferences.parent.mkdir()
        preferences.write_text(json.dumps({"watchClipboard": True}))
        shutil.copytree(ICONS / "hicolor", desktop.data / "icons" / "hicolor")
        for kind, name in (("scalable", "fetra.svg"), ("symbolic", "fetra-symbolic.svg")):
            folder = desktop.data / "icons" / "hicolor" / kind / "apps"
            folder.mkdir(parents=True)
            shutil.copy(ICONS / name, folder)
        self._folder.mkdir()
        app = desktop.run(self._programs / "fetra-app")
        self._main = desktop.window(MAIN_TITLE)
        desktop.move(self._main, *[side * desktop.scale for side in AT])
        desktop.put_mouse_away()
        return app

    def _download(self) -> None:
        with self._changes(HEADING):
            for link, _ in FINISHED:
                self._add(link)
        self._wait_for("completed", *[_name(link) for link, _ in FINISHED])
        self._add(FORBIDDEN)
        self._wait_for("failed", _name(FORBIDDEN))
        self._add(PAUSED[0])
        record = self._folder / f"{_name(PAUSED[0])}.fetra"
        wait_until("the record of what is there", record.exists)
        self._desktop.press("ctrl+alt+p")
        self._wait_for("paused", _name(PAUSED[0]))
        for link in (self._magnet, FILM[0], DISK[0]):
            self._add(link)
        begun = time.monotonic()
        self._wait_for("downloading", TORRENT[0], _name(FILM[0]), _name(DISK[0]))
        self._add(WAITING[0])
        self._wait_for("queued", _name(WAITING[0]))
        wait_until("a chart", lambda: time.monotonic() - begun > HISTORY, HISTORY + 1)

    def _add(self, link: str) -> None:
        """As a browser does that hands its links over; returns when the list has it."""
        count = len(self._states())
        self._run("add", link)
        wait_until(f"{link} in the list", lambda: len(self._states()) > count)

    def _states(self) -> dict[str, str]:
        items = [json.loads(line) for line in self._run("list", "--json").splitlines()]
        return {item["filename"]: item["status"] for item in items}

    def _wait_for(self, status: str, *names: str) -> None:
        for name in names:
            wait_until(f"{name} {status}", lambda name=name: self._states().get(name, "").lower() == status)

    def _run(self, *arguments: str) -> str:
        command = [self._programs / "fetra", *arguments]
        environment = self._desktop.environment
        return subprocess.run(command, env=environment, capture_output=True, text=True, check=False).stdout

    # Windows

    def _choose(self, title: str) -> None:
        """In the sidebar, from the top to the bottom."""
        desktop = self._desktop
        side, first, last, step = (length * desktop.scale for length in SIDEBAR_ROWS)
        area = desktop.area(self._main)
        for row in range(first, last, step):
            desktop.click(area.left + side, area.top + row)
            with contextlib.suppress(Missing):
                wait_until(title, lambda: desktop.title(self._main) == f"Fetra – {title}", seconds=0.3)
                break
        else:
            raise Missing(f"no row of the sidebar leads to '{title}'")
        desktop.put_mouse_away()

    def _select(self, row: int) -> None:
        """In the list, which has the focus."""
        self._desktop.press("Home", *["Down"] * row)

    def _scroll_inspector(self, direction: str) -> None:
        # At its left edge, where nothing in it scrolls by itself.
        left, top, _, bottom = self._part(INSPECTOR)
        with self._changes(INSPECTOR):
            self._desktop.turn_wheel(left, (top + bottom) // 2, direction)
        self._desktop.put_mouse_away()

    def _opened_by(self, keys: str) -> str:
        known = self._windows()
        self._desktop.press(keys)
        return self._opened_after(known, f"what {keys} opens")

    def _opened_after(self, known: set[str], what: str) -> str:
        return wait_until(what, lambda: self._windows() - known).pop()

    def _close(self, window: str) -> None:
        self._desktop.press("Escape")
        self._desktop.wait_until_gone(window)

    def _windows(self) -> set[str]:
        return set(self._desktop.windows("--class", "^fetra"))

    def _part(self, part: Area) -> Area:
        area = self._desktop.area(self._main)
        left, top, right, bottom = (side * self._desktop.scale for side in part)
        return Area(area.left + left, area.top + top, area.left + right, area.top + bottom)

    @contextlib.contextmanager
    def _changes(self, part: Area):
        """What is done within changes that part of the main window; returns when it has."""
        area = self._part(part)
        before = self._desktop.look(area)
        yield
        wait_until(f"a change at {part}", lambda: self._desktop.look(area) != before)

    def _save(self, scene: str, *windows: str) -> None:
        path = self._out / f"{scene}-{self._variant}.png"
        areas = [self._desktop.area(window) for window in windows or [self._main]]
        self._desktop.save(path, functools.reduce(Area.joined, areas))
        print(path, flush=True)


def _name(link: str) -> str:
    return link.rpartition("/")[2]


def take(build: pathlib.Path, out: pathlib.Path, variant: str) -> None:
    scheme, _, scale = variant.partition("-")
    with contextlib.ExitStack() as stack:
        home = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="fetra-")))
        sites = Sites(home / "sites")
        for link, size in [*FINISHED, PAUSED, DISK, FILM, WAITING]:
            sites.add(link.split("/", 3)[3], size)
        stack.callback(sites.stop)
        sites.start()
        swarm = Swarm(home / "swarm", build / "bin" / "fetra-torrent", *TORRENT, peers=3)
        stack.callback(swarm.stop)
        swarm.start()
        desktop = Desktop(home / "user", scheme, int(scale) // 100, SCREEN)
        stack.callback(desktop.stop)
        try:
            desktop.start()
            Session(build, desktop, swarm.magnet, sites.proxy(), out, variant).take_all()
        except (Missing, subprocess.SubprocessError) as problem:
            print((desktop.home / "log").read_text(errors="replace"), end="", file=sys.stderr)
            raise SystemExit(f"screenshots: {variant}: {problem}") from None


def main() -> None:
    # Otherwise nothing would be cleaned up.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))
    build, out = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    variants = sys.argv[3:] or VARIANTS
    if not set(variants) <= set(VARIANTS):
        raise SystemExit(f"The variants are {', '.join(VARIANTS)}.")
    require("Xvfb", "openbox", "trayer", "dbus-daemon", "xdotool", "xclip", "xprop", "xwininfo", "import", "convert")
    out.mkdir(parents=True, exist_ok=True)
    if len(variants) == 1:
        return take(build, out, variants[0])
    # Most of the time is waiting.
    failed = False
    for pair in (variants[:2], variants[2:]):
        with contextlib.ExitStack() as stack:
            command = [sys.executable, "-B", __file__, build, out]
            started = [subprocess.Popen([*command, variant]) for variant in pair]
            for process in started:
                stack.callback(end, process)
            for process in started:
                failed |= process.wait() != 0
    if failed:
        raise SystemExit(1)


if __name__ == "__main__":
    main()
