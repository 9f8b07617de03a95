"""Runs fetra and other downloaders in turn against one server and prints what each took, as Markdown.

Every file fetched is compared with the original; a client that fails or delivers a wrong byte makes the whole run fail.
"""

import argparse
import dataclasses
import json
import pathlib
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import urllib.request

import clients
from origin import MIB, Origin

ROOT = pathlib.Path(__file__).resolve().parent.parent
MEMORY_LIMIT = 48_000_000
LARGE = "large.bin"
SMALL = "small.bin"
# A folder of files.
MANY = "many"
MANY_COUNT = 500
MANY_SIZE = 64 * 1024


@dataclasses.dataclass(frozen=True)
class Case:
    """What is fetched from which of the origin's servers by whom. Targets are the largest ratio fetra to peer."""

    title: str
    server: str
    file: str
    peers: tuple[str, ...]
    wall_targets: dict[str, float]
    cpu_targets: dict[str, float] = dataclasses.field(default_factory=dict)
    # The most seconds fetra may take, for a case without a peer.
    wall_limit: float | None = None
    # Bytes that are still missing from an interrupted transfer which fetra resumes.
    missing: int = 0
    # Downloads at once, for a case that fetches the whole folder MANY.
    at_once: int = 0


CASES = {
    "a": Case(
        "{large} over HTTP, 16 connections", "plain", LARGE, ("aria2", "axel", "curl"),
        {"aria2": 0.5, "axel": 0.6, "curl": 1.1}, {"aria2": 0.7},
    ),
    "b": Case(
        "{large} over HTTPS, 16 connections", "tls", LARGE, ("aria2", "axel", "curl"),
        {"aria2": 0.6, "axel": 0.7, "curl": 1.1},
    ),
    "c": Case("{small} at 4 MiB/s a connection, 16 connections", "slow", SMALL, ("aria2", "axel"), {"aria2": 1.05}),
    "d": Case("{small} at 8 MiB/s a connection, 503 beyond 4 connections", "capped", SMALL, ("aria2", "axel"), {"aria2": 1.15}),
    "e": Case("{large}, resumed with its last MiB missing", "plain", LARGE, (), {}, wall_limit=0.3, missing=MIB),
    "f": Case(
        f"{MANY_COUNT} files of {MANY_SIZE // 1024} KiB, 10 at once, with a list on disk", "plain", MANY, ("aria2",), {"aria2": 3},
        at_once=10,
    ),
    # The fourteen or fifteen good connections of sixteen carry the small file in 2.2 s.
    "g": Case(
        "{small} at 8 MiB/s a connection, every tenth at 64 KiB/s", "crawling", SMALL, ("aria2", "axel"), {"aria2": 0.5},
        wall_limit=1.6 * 2.2,
    ),
    # Peers wait for a minute and longer.
    "h": Case("{small} at 8 MiB/s a connection, every tenth silent", "silent", SMALL, (), {}, wall_limit=1.6 * 2.2),
}


class Comparison:
    """One pass over the chosen cases. `failures` collects what went wrong."""

    def __init__(self, options: argparse.Namespace, home: pathlib.Path):
        self.failures: list[str] = []
        self._rounds = options.rounds
        self._home = home
        self._origin = Origin(home)
        self._sizes = {LARGE: options.size * MIB, SMALL: max(options.size // 8, 1) * MIB}
        names = [name for name in ("fetra", "aria2", "axel", "curl") if name not in options.without]
        found = {name: clients.find(name, options.fetra) for name in names}
        self._programs = {name: program for name, program in found.items() if program}
        for name in found.keys() - self._programs.keys():
            print(f"{name} is missing and left out.", file=sys.stderr)

    def run(self, keys: list[str]) -> None:
        try:
            names = {CASES[key].file for key in keys}
            for name in sorted(names & self._sizes.keys()):
                self._origin.generate(name, self._sizes[name])
            if MANY in names:
                self._origin.path(MANY).mkdir()
                for name in many_names():
                    self._origin.generate(f"{MANY}/{name}", MANY_SIZE)
            self._origin.start()
            if names & self._sizes.keys():
                self._warm_up(max(names & self._sizes.keys(), key=self._sizes.get))
            for key in keys:
                self._run_case(CASES[key])
        finally:
            self._origin.stop()

    def _warm_up(self, name: str) -> None:
        """Takes and frees once the room of an output: a virtual machine is slow to hand out memory for the first time."""
        copy = self._home / "warm-up"
        shutil.copyfile(self._origin.path(name), copy)
        copy.unlink()

    def _run_case(self, case: Case) -> None:
        names = [name for name in ("fetra", *case.peers) if name in self._programs]
        if not names:
            return
        title = case.title.format(**{key.split(".")[0]: f"{size // MIB} MiB" for key, size in self._sizes.items()})
        samples: dict[str, list[clients.Sample]] = {name: [] for name in names}
        for number in range(1, self._rounds + 1):
            for name in names:
                print(f"{title}: round {number} of {self._rounds}, {name}", file=sys.stderr)
                try:
                    samples[name].append(self._fetch_many(case, name) if case.at_once else self._fetch(case, name))
                except clients.RunFailed as failure:
                    self.failures.append(f"{title}: {name} {failure}")
        print_table(case, title, {name: median(each) for name, each in samples.items() if each}, self._rounds)

    def _fetch(self, case: Case, name: str) -> clients.Sample:
        with tempfile.TemporaryDirectory(dir=self._home) as folder:
            out = pathlib.Path(folder, "out", case.file)
            out.parent.mkdir()
            url = self._origin.url(case.server, case.file)
            if case.missing:
                self._leave_interrupted(url, out, case)
            sample = clients.measure(
                clients.command(name, self._programs[name], url, out, self._origin.authority),
                clients.environment(pathlib.Path(folder), self._origin.authority),
                pathlib.Path(folder),
            )
            if subprocess.run(["cmp", self._origin.path(case.file), out], check=False).returncode != 0:
                raise clients.RunFailed("delivered other bytes than the server has")
            return sample

    def _fetch_many(self, case: Case, name: str) -> clients.Sample:
        with tempfile.TemporaryDirectory(dir=self._home) as folder:
            out = pathlib.Path(folder, "out")
            out.mkdir()
            links = pathlib.Path(folder, "links")
            links.write_text("".join(self._origin.url(case.server, f"{MANY}/{each}") + "\n" for each in many_names()))
            sample = clients.measure(
                clients.batch_command(name, self._programs[name], links, out, case.at_once),
                clients.environment(pathlib.Path(folder), self._origin.authority),
                pathlib.Path(folder),
            )
            for each in many_names():
                if (out / each).read_bytes() != self._origin.path(f"{MANY}/{each}").read_bytes():
                    raise clients.RunFailed(f"delivered other bytes of {each} than the server has")
            return sample

    def _leave_interrupted(self, url: str, out: pathlib.Path, case: Case) -> None:
        """Lays out a partial file whose last `missing` bytes are zeros, and the resume record that says so."""
        size = self._sizes[case.file]
        reached = size - case.missing
        part = out.with_name(out.name + ".part")
        shutil.copyfile(self._origin.path(case.file), part)
        with open(part, "r+b") as file:
            file.truncate(reached)
            file.truncate(size)
        with urllib.request.build_opener(urllib.request.ProxyHandler({})).open(
            urllib.request.Request(url, method="HEAD")
        ) as head:
            record = {
                "version": 2,
                "url": url,
                "totalSize": size,
                "etag": head.headers["ETag"],
                "lastModified": head.headers["Last-Modified"],
                "segments": [{"start": 0, "end": size - 1, "current": reached}],
            }
        out.with_name(out.name + ".fetra").write_text(json.dumps(record))


def many_names() -> list[str]:
    return [f"{number:03}.bin" for number in range(MANY_COUNT)]


def median(samples: list[clients.Sample]) -> clients.Sample:
    return clients.Sample(
        statistics.median(sample.wall for sample in samples),
        statistics.median(sample.cpu for sample in samples),
        max(sample.memory for sample in samples),
    )


def print_table(case: Case, title: str, results: dict[str, clients.Sample], rounds: int) -> None:
    fetra = results.get("fetra")
    print(f"\n### {title}\n\nRounds: {rounds}; wall and CPU are medians, memory is the highest peak. Ratios are fetra to the peer.\n")
    print("| client | wall s | CPU s | memory MB | wall ratio | CPU ratio | memory ratio | targets |")
    print("|---|--:|--:|--:|--:|--:|--:|---|")
    for name, sample in results.items():
        ratios = ["", "", ""]
        if name == "fetra":
            verdicts = [verdict("memory", sample.memory / 1e6, MEMORY_LIMIT / 1e6)]
            if case.wall_limit:
                verdicts.append(verdict("wall", sample.wall, case.wall_limit))
        else:
            verdicts = []
            if fetra:
                wall, cpu, memory = fetra.wall / sample.wall, fetra.cpu / sample.cpu, fetra.memory / sample.memory
                ratios = [f"{ratio:.2f}" for ratio in (wall, cpu, memory)]
                if name in case.wall_targets:
                    verdicts.append(verdict("wall", wall, case.wall_targets[name]))
                if name in case.cpu_targets:
                    verdicts.append(verdict("CPU", cpu, case.cpu_targets[name]))
        cells = [name, f"{sample.wall:.2f}", f"{sample.cpu:.2f}", f"{sample.memory / 1e6:.1f}", *ratios]
        print("| " + " | ".join(cells + ["; ".join(verdicts)]) + " |")
    sys.stdout.flush()


def verdict(what: str, value: float, limit: float) -> str:
    return f"{what} ≤ {limit:g}: {'met' if value <= limit else '**missed**'}"


def require_memory(folder: pathlib.Path, needed: int) -> None:
    """Files in memory take from what programs may use, so both the folder and the machine must have the room."""
    kind = subprocess.run(["stat", "-f", "-c", "%T", folder], capture_output=True, text=True, check=False).stdout.strip()
    if kind != "tmpfs":
        print(f"{folder} is on {kind or 'an unknown file system'}, not in memory: the disk is measured too.", file=sys.stderr)
    available = shutil.disk_usage(folder).free
    if kind == "tmpfs":
        meminfo = dict(line.split(":", 1) for line in pathlib.Path("/proc/meminfo").read_text().splitlines())
        available = min(available, int(meminfo["MemAvailable"].split()[0]) * 1024)
    if available < needed:
        raise SystemExit(
            f"{folder} has room for {available // MIB} MiB and {needed // MIB} MiB are needed; "
            "--size makes the files smaller, --folder names another place."
        )


def parse(arguments: list[str]) -> argparse.Namespace:
    listing = "\n".join(f"  {key}  {case.title.format(large='2 GiB', small='256 MiB')}" for key, case in CASES.items())
    parser = argparse.ArgumentParser(
        description=__doc__.split("\n")[0], epilog=f"cases:\n{listing}", formatter_class=argparse.RawDescriptionHelpFormatter
    )
    parser.add_argument("cases", nargs="*", help="cases to run (default: all)")
    parser.add_argument("-n", "--rounds", type=int, default=3, help="rounds, each client once a round (default: 3)")
    parser.add_argument("--size", type=int, default=2048, metavar="MIB", help="large file; the small one has an eighth")
    parser.add_argument("--without", nargs="+", default=[], metavar="CLIENT", help="clients to leave out")
    parser.add_argument("--folder", type=pathlib.Path, default=pathlib.Path("/dev/shm"), help="where files are kept")
    parser.add_argument("--fetra", type=pathlib.Path, default=ROOT / "build/release/bin/fetra", help="program to measure")
    options = parser.parse_args(arguments)
    options.cases = options.cases or list(CASES)
    if not set(options.cases) <= CASES.keys():
        parser.error(f"the cases are {', '.join(CASES)}")
    if options.rounds < 1 or options.size < 8:
        parser.error("at least one round and 8 MiB")
    return options


def main() -> int:
    options = parse(sys.argv[1:])
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda signum, frame: sys.exit(128 + signum))
    require_memory(options.folder, (options.size * 9 // 4 + 512) * MIB)
    try:
        with tempfile.TemporaryDirectory(prefix="fetra-bench-", dir=options.folder) as home:
            comparison = Comparison(options, pathlib.Path(home))
            comparison.run(options.cases)
    except KeyboardInterrupt:
        return 130
    for failure in comparison.failures:
        print(f"FAILED: {failure}", file=sys.stderr)
    return 1 if comparison.failures else 0


if __name__ == "__main__":
    sys.exit(main())
