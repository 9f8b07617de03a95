"""Lets a real Chromium hand a download over through fetra-host, and the download manager fetch it.

Arguments: the browser, the application folder and the program that takes what the inbox holds. The page and its cookie come from a server of this script on the
loopback interface, and the browser can resolve no other name; all that is written lies in a temporary folder.
"""

import base64
import contextlib
import hashlib
import http.server
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import threading
import time

EXTENSION = pathlib.Path(__file__).resolve().parent / "chromium"
COOKIE = "session=of-this-browser"
CONTENT = bytes(range(256)) * 4000
SECONDS = 60


class Site(http.server.ThreadingHTTPServer):
    """A page that sets a cookie, and the address where the extension reports what the host replied."""

    report = None

    def handle_error(self, request, client_address):
        """A client that has read enough closes; whatever else goes wrong shows in what arrives."""

    def address(self, path):
        return f"http://127.0.0.1:{self.server_address[1]}{path}"


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        if self.path == "/file":
            self.send_file()
            return
        self.send_response(200 if self.path == "/page" else 404)
        self.send_header("Set-Cookie", COOKIE + "; Path=/")
        self.send_header("Content-Length", "0")
        self.end_headers()

    def send_file(self):
        """For the browser's own session only."""
        allowed = self.headers["Cookie"] == COOKIE and self.headers["Referer"] == self.server.address("/page")
        body = CONTENT if allowed else b""
        self.send_response(200 if allowed else 403)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def do_POST(self):
        self.server.report = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
        self.send_response(204)
        self.end_headers()

    def log_message(self, *arguments):
        pass


def extension_id():
    """What Chromium makes of the extension's key: the first half of its digest, in the letters a to p."""
    key = base64.b64decode(json.loads((EXTENSION / "manifest.json").read_text())["key"])
    return hashlib.sha256(key).hexdigest()[:32].translate(str.maketrans("0123456789abcdef", "abcdefghijklmnop"))


def prepare(home, site, bundle):
    """The extension with its addresses, and a profile that allows it to start the host. Answers the two folders."""
    extension = home / "extension"
    shutil.copytree(EXTENSION, extension)
    addresses = {"page": site.address("/page"), "file": site.address("/file"), "report": site.address("/report")}
    (extension / "page.json").write_text(json.dumps(addresses))
    profile = home / "profile"
    hosts = profile / "NativeMessagingHosts"
    hosts.mkdir(parents=True)
    manifest = {
        "name": "com.fetra.host",
        "description": "Fetra download handoff",
        "path": str(bundle / "Contents/Helpers/fetra-host"),
        "type": "stdio",
        "allowed_origins": [f"chrome-extension://{extension_id()}/"],
    }
    (hosts / "com.fetra.host.json").write_text(json.dumps(manifest))
    return extension, profile


@contextlib.contextmanager
def browser(program, home, extension, profile):
    """Chromium without a window; everything it keeps and hands on lies below `home`."""
    environment = dict(
        os.environ, HOME=str(home), XDG_DATA_HOME=str(home / "data"), XDG_CONFIG_HOME=str(home / "config"),
        XDG_CACHE_HOME=str(home / "cache"),
    )
    flags = [
        "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--disable-dev-shm-usage", "--no-first-run",
        "--no-default-browser-check", "--disable-background-networking", "--disable-component-update", "--disable-sync",
        "--disable-features=DisableLoadExtensionCommandLineSwitch", "--no-proxy-server",
        "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1",
        f"--user-data-dir={profile}", f"--disable-extensions-except={extension}", f"--load-extension={extension}",
    ]
    with open(home / "browser.log", "wb") as log:
        process = subprocess.Popen([program, *flags, "about:blank"], env=environment, stdin=subprocess.DEVNULL,
                                   stdout=log, stderr=log)
    try:
        yield process
    finally:
        process.terminate()
        try:
            process.wait(10)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()


def wait_for_report(site, process):
    deadline = time.monotonic() + SECONDS
    while site.report is None:
        expect("status of Chromium", process.poll(), None)
        expect("silent for too long", time.monotonic() > deadline, False)
        time.sleep(0.05)


def expect(what, actual, expected):
    if actual != expected:
        raise AssertionError(f"{what}: {actual!r} instead of {expected!r}")


def check_handed_over(home, site):
    """What the application finds: one job file, with everything that the server would see of the browser."""
    expect("failure in the extension", site.report.get("failure"), None)
    expect("reply to the download", site.report["good"], {"ok": True})
    expect("reply to a local file", site.report["bad"].get("ok"), False)
    jobs = list((home / "data/Fetra/inbox").iterdir())
    expect("files in the inbox", [job.suffix for job in jobs], [".fetrajob"])
    expect("mode of the job file", jobs[0].stat().st_mode & 0o777, 0o600)
    job = json.loads(jobs[0].read_text())
    expect("a browser in the job", "Chrome/" in job.pop("userAgent", ""), True)
    expect("job", job, {"url": site.address("/file"), "cookie": COOKIE, "referrer": site.address("/page"),
                        "filename": "captured.bin"})


def check_download(taker, home):
    """The manager finds the job, fetches with the browser's cookie, and empties the inbox."""
    folder = home / "downloads"
    folder.mkdir()
    result = subprocess.run([taker, str(folder)], env=dict(os.environ, HOME=str(home), XDG_DATA_HOME=str(home / "data")),
                            capture_output=True, text=True, timeout=SECONDS)
    expect("what the manager says", result.stdout.strip(), str(folder / "file"))
    expect("the file's bytes are the server's", (folder / "file").read_bytes() == CONTENT, True)
    expect("files left in the inbox", list((home / "data/Fetra/inbox").iterdir()), [])


def run(program, bundle, taker, home):
    with Site(("127.0.0.1", 0), Handler) as site:
        threading.Thread(target=site.serve_forever, daemon=True).start()
        try:
            with browser(program, home, *prepare(home, site, bundle)) as process:
                wait_for_report(site, process)
            check_handed_over(home, site)
            check_download(taker, home)
        finally:
            site.shutdown()


def main(program, bundle, taker):
    with tempfile.TemporaryDirectory(prefix="fetra-browser-", ignore_cleanup_errors=True) as folder:
        home = pathlib.Path(folder)
        try:
            run(program, pathlib.Path(bundle).resolve(), pathlib.Path(taker).resolve(), home)
        except AssertionError as failure:
            print((home / "browser.log").read_text(errors="replace"), file=sys.stderr)
            print(f"failed: {failure}", file=sys.stderr)
            return 1
    print("passed: Chromium handed a download over, and it was fetched")
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
