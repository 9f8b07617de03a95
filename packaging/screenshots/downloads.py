"""What the application of the pictures downloads: real files of a throttled nginx and a real torrent, all on loopback.

The files are holes, so that gigabytes of them cost neither time nor room.
"""

import hashlib
import os
import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))

from origin import MIB, Origin, free_ports  # noqa: E402

PIECE = MIB


class Sites(Origin):
    """Stands in for all sites of the web: whoever has it as proxy gets the files, whatever the host is called."""

    KINDS = ("proxy",)
    # Connections are of unequal speed, as they are elsewhere.
    SERVERS = """
    map $connection $pace {{ ~[0-2]$ 90k; ~[3-6]$ 160k; default 240k; }}
    server {{
        listen 127.0.0.1:{proxy};
        # Small parts flow; large ones would come in waves.
        location / {{ limit_rate $pace; sendfile_max_chunk 16k; }}
        location /quick/ {{ }}
        location /members/ {{ return 403; }}
    }}
"""

    def proxy(self) -> str:
        return self.url("proxy", "")

    def add(self, path: str, size: int) -> None:
        _make(self.path(path.lstrip("/")), size)


class Swarm:
    """Some peers with all of a torrent, a helper of the application each."""

    def __init__(self, home: pathlib.Path, helper: pathlib.Path, name: str, size: int, peers: int):
        self._home = home
        self._helper = helper
        self._ports = free_ports(peers)
        self._started = []
        content = home / "content" / name
        _make(content, size)
        pieces = hashlib.sha1(bytes(PIECE)).digest() * (size // PIECE)
        info = _encoded({b"length": size, b"name": name.encode(), b"piece length": PIECE, b"pieces": pieces})
        self._torrent = home / "content.torrent"
        self._torrent.write_bytes(b"d4:info" + info + b"e")
        peers_of_link = "".join(f"&x.pe=127.0.0.1:{port}" for port in self._ports)
        self.magnet = f"magnet:?xt=urn:btih:{hashlib.sha1(info).hexdigest()}&dn={name}{peers_of_link}"

    def start(self) -> None:
        for number, port in enumerate(self._ports):
            environment = {
                **os.environ,
                "FETRA_TORRENT_LOCAL": "1",
                "FETRA_TORRENT_LISTEN": f"127.0.0.1:{port}",
                "XDG_DATA_HOME": str(self._home / f"peer{number}"),
            }
            limit = str(250 + 150 * number)
            command = [self._helper, "-o", self._home / "content", "-upload-limit", limit, "-seed", self._torrent]
            # It ends as soon as nobody is interested in what it says.
            with open(self._home / f"peer{number}.log", "wb") as log:
                self._started.append(
                    subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
                )

    def stop(self) -> None:
        for process in self._started:
            process.terminate()
        for process in self._started:
            process.wait()


def _make(path: pathlib.Path, size: int) -> None:
    path.parent.mkdir(parents=True, exist_ok=True)
    with open(path, "wb") as out:
        out.truncate(size)


def _encoded(value) -> bytes:
    if isinstance(value, int):
        return b"i%de" % value
    if isinstance(value, bytes):
        return b"%d:%s" % (len(value), value)
    return b"d" + b"".join(_encoded(key) + _encoded(value[key]) for key in sorted(value)) + b"e"
