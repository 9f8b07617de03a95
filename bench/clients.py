"""The downloaders that are compared: their command lines, and one measured run of one of them."""

import dataclasses
import os
import pathlib
import shutil
import signal
import subprocess
import threading
import time

CONNECTIONS = 16
TIME_LIMIT = 600.0


@dataclasses.dataclass(frozen=True)
class Sample:
    """One run: seconds of wall time, of user and system time, and the peak of resident memory in bytes."""

    wall: float
    cpu: float
    memory: int


class RunFailed(Exception):
    pass


def find(name: str, fetra: pathlib.Path) -> str | None:
    """The program behind a client's name, or None where it is missing."""
    if name == "fetra":
        return str(fetra) if os.access(fetra, os.X_OK) else None
    return shutil.which({"aria2": "aria2c"}.get(name, name))


def command(name: str, program: str, url: str, out: pathlib.Path, authority: pathlib.Path) -> list[str]:
    """How a client fetches `url` to the file `out`. `authority` signs the server's certificate."""
    if name == "fetra":
        return [program, "-x", str(CONNECTIONS), "-q", "-o", f"{out.parent}/", url]
    if name == "aria2":
        return [
            program, f"-x{CONNECTIONS}", f"-s{CONNECTIONS}", "-k1M", "--file-allocation=none", "--no-conf", "--quiet",
            "--max-tries=0", "--retry-wait=1", f"--ca-certificate={authority}",
            f"--dir={out.parent}", f"--out={out.name}", url,
        ]
    if name == "axel":
        return [program, f"-n{CONNECTIONS}", "-q", "-o", str(out), url]
    return [program, "-q", "-sSf", "--cacert", str(authority), "-o", str(out), url]


def batch_command(name: str, program: str, links: pathlib.Path, folder: pathlib.Path, at_once: int) -> list[str]:
    """How a client fetches all the addresses in `links`, one a line, into `folder`, keeping its list in a file there."""
    if name == "fetra":
        return [program, "-q", "-j", str(at_once), "-i", str(links), "-o", f"{folder}/", "--state", f"{folder}/list"]
    return [
        program, f"-j{at_once}", "--file-allocation=none", "--no-conf", "--quiet", f"--dir={folder}", f"--input-file={links}",
        f"--save-session={folder}/list",
    ]


def environment(home: pathlib.Path, authority: pathlib.Path) -> dict[str, str]:
    """No settings of the user's and no proxy, so that every machine measures the same thing."""
    return {
        "PATH": os.environ.get("PATH", "/usr/bin:/bin"),
        "LC_ALL": "C.UTF-8",
        "HOME": str(home),
        "XDG_DATA_HOME": str(home / "data"),
        "XDG_CONFIG_HOME": str(home / "config"),
        "XDG_CACHE_HOME": str(home / "cache"),
        "SSL_CERT_FILE": str(authority),
    }


def measure(arguments: list[str], variables: dict[str, str], scratch: pathlib.Path) -> Sample:
    """Runs a command to its end. Raises RunFailed with what it printed unless it ends with status 0 in time.

    GNU time stands between, for the peak memory alone: a child that this interpreter started itself would inherit the
    interpreter's own peak.
    """
    peak = scratch / "peak"
    output = scratch / "output"
    with open(output, "wb") as sink:
        began = time.perf_counter()
        process = subprocess.Popen(
            ["/usr/bin/time", "-q", "-f", "%M", "-o", str(peak), *arguments],
            stdin=subprocess.DEVNULL, stdout=sink, stderr=sink, env=variables, cwd=scratch, start_new_session=True,
        )
        overdue = threading.Timer(TIME_LIMIT, os.killpg, (process.pid, signal.SIGKILL))
        overdue.start()
        try:
            _, status, usage = os.wait4(process.pid, 0)
            wall = time.perf_counter() - began
            process.returncode = os.waitstatus_to_exitcode(status)
        except BaseException:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            raise
        finally:
            overdue.cancel()
    if process.returncode != 0:
        told = output.read_text(errors="replace").strip()[-400:]
        raise RunFailed(f"ended with status {process.returncode}: {told}")
    return Sample(wall, usage.ru_utime + usage.ru_stime, int(peak.read_text()) * 1024)
