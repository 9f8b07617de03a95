"""The server side of a comparison: generated files in memory and an nginx of our own on loopback ports."""

import os
import pathlib
import shutil
import socket
import subprocess
import time

MIB = 1024 * 1024

CONFIGURATION = """
daemon off;
pid {home}/nginx.pid;
error_log {home}/error.log warn;
worker_processes 2;
{user}
events {{ worker_connections 512; }}
http {{
    access_log off;
    sendfile on;
    tcp_nopush on;
    etag on;
    default_type application/octet-stream;
    client_body_temp_path {home}/body;
    proxy_temp_path {home}/proxy;
    fastcgi_temp_path {home}/fastcgi;
    uwsgi_temp_path {home}/uwsgi;
    scgi_temp_path {home}/scgi;
    root {home}/files;
    {servers}
}}
"""


class Origin:
    """Serves files of random bytes below `home` until `stop`. Ports are found afresh for each start."""

    KINDS = ("plain", "tls", "slow", "trickle", "capped", "crawling", "silent")
    # One for each kind.
    SERVERS = """
    limit_conn_zone $binary_remote_addr zone=clients:1m;
    limit_conn_log_level info;
    server {{ listen 127.0.0.1:{plain}; }}
    server {{
        listen 127.0.0.1:{tls} ssl;
        ssl_certificate {home}/server.pem;
        ssl_certificate_key {home}/server.key;
        ssl_protocols TLSv1.2 TLSv1.3;
    }}
    server {{ listen 127.0.0.1:{slow}; limit_rate 4m; }}
    server {{ listen 127.0.0.1:{trickle}; limit_rate 64k; }}
    map $connection $crawl {{ ~3$ 64k; default 8m; }}
    # A byte a second, so that not even the head arrives. Not for probes: no client has a second connection then.
    map $connection:$http_range $silence {{ ~3:bytes=0-0$ 8m; ~3: 1; default 8m; }}
    server {{ listen 127.0.0.1:{crawling}; limit_rate $crawl; }}
    server {{ listen 127.0.0.1:{silent}; limit_rate $silence; }}
    server {{ listen 127.0.0.1:{capped}; limit_rate 8m; limit_conn clients 4; limit_conn_status 503; }}
"""

    def __init__(self, home: pathlib.Path):
        self.home = home
        self.authority = home / "authority.pem"
        self._files = home / "files"
        self._files.mkdir(parents=True)
        self._process = None
        self._ports = {}

    def path(self, name: str) -> pathlib.Path:
        return self._files / name

    def url(self, kind: str, name: str) -> str:
        scheme = "https" if kind == "tls" else "http"
        return f"{scheme}://127.0.0.1:{self._ports[kind]}/{name}"

    def generate(self, name: str, size: int) -> None:
        """Random bytes, so that a block in the wrong place never passes for the right one."""
        with open(self.path(name), "wb") as out:
            while size > 0:
                out.write(os.urandom(min(size, 8 * MIB)))
                size -= 8 * MIB

    def start(self) -> None:
        if "tls" in self.KINDS:
            self._make_certificates()
        self._ports = dict(zip(self.KINDS, free_ports(len(self.KINDS))))
        configuration = self.home / "nginx.conf"
        configuration.write_text(
            CONFIGURATION.format(
                home=self.home,
                user="user root;" if os.geteuid() == 0 else "",
                servers=self.SERVERS.format(home=self.home, **self._ports),
            )
        )
        nginx = shutil.which("nginx", path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")
        if nginx is None:
            raise SystemExit("nginx is missing; scripts/setup bench installs it.")
        self._process = subprocess.Popen(
            [nginx, "-p", str(self.home), "-e", str(self.home / "error.log"), "-c", str(configuration)],
            stdin=subprocess.DEVNULL,
        )
        self._wait_until_listening()

    def stop(self) -> None:
        if self._process is None:
            return
        self._process.terminate()
        try:
            self._process.wait(10)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
        self._process = None

    def _wait_until_listening(self) -> None:
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline and self._process.poll() is None:
            try:
                for port in self._ports.values():
                    socket.create_connection(("127.0.0.1", port), 1).close()
                return
            except OSError:
                time.sleep(0.02)
        log = self.home / "error.log"
        raise SystemExit("nginx did not start:\n" + (log.read_text() if log.exists() else ""))

    def _make_certificates(self) -> None:
        """An authority that nobody else trusts, and a certificate of it for 127.0.0.1."""
        key = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-noenc"]
        extensions = self.home / "extensions"
        # As a name too, for clients that compare the host with names alone.
        extensions.write_text("subjectAltName=IP:127.0.0.1,DNS:127.0.0.1\nbasicConstraints=CA:FALSE\n")
        _openssl(
            self.home, "req", "-x509", *key, "-days", "2", "-subj", "/CN=Benchmark authority",
            "-keyout", "authority.key", "-out", self.authority,
        )
        _openssl(self.home, "req", "-new", *key, "-subj", "/CN=127.0.0.1", "-keyout", "server.key", "-out", "server.csr")
        _openssl(
            self.home, "x509", "-req", "-in", "server.csr", "-CA", self.authority, "-CAkey", "authority.key",
            "-CAcreateserial", "-days", "2", "-extfile", extensions, "-out", "server.pem",
        )


def _openssl(folder: pathlib.Path, *arguments) -> None:
    done = subprocess.run(["openssl", *map(str, arguments)], cwd=folder, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise SystemExit("openssl failed:\n" + done.stderr)


def free_ports(count: int) -> list[int]:
    sockets = [socket.socket() for _ in range(count)]
    try:
        for each in sockets:
            each.bind(("127.0.0.1", 0))
        return [each.getsockname()[1] for each in sockets]
    finally:
        for each in sockets:
            each.close()
