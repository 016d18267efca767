"""A browser without a window, through the WebDriver protocol: just what a test of a page needs."""

import base64
import json
import socket
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

# As root there is no sandbox; nothing is looked up in the network.
BROWSER_OPTIONS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                   "--disable-background-networking", "--disable-component-update", "--disable-sync",
                   "--hide-scrollbars", "--force-device-scale-factor=1"]
PATIENCE_SECONDS = 200


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Browser:
    def __init__(self, driver):
        self.profile = tempfile.TemporaryDirectory(prefix="report-browser-")
        self.url = f"http://127.0.0.1:{free_port()}"
        port = self.url.rsplit(":", 1)[1]
        self.process = subprocess.Popen([driver, f"--port={port}"], stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        self.session = self._open()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            self._call("DELETE", "")
        finally:
            self.process.terminate()
            self.process.wait()
            self.profile.cleanup()

    def open(self, url):
        self._call("POST", "/url", {"url": url})

    def run(self, script):
        """What a script returns that runs on the page."""
        return self._call("POST", "/execute/sync", {"script": script, "args": []})

    def complaints(self):
        """What the browser has written to the console since the last time."""
        return self._call("POST", "/se/log", {"type": "browser"})

    def show(self, width, scheme):
        self._devtools("Emulation.setDeviceMetricsOverride",
                       {"width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False})
        self._devtools("Emulation.setEmulatedMedia",
                       {"features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def picture(self, path):
        taken = self._devtools("Page.captureScreenshot", {"captureBeyondViewport": True})
        path.write_bytes(base64.b64decode(taken["data"]))

    def _devtools(self, command, parameters):
        return self._call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def _open(self):
        wanted = {"browserName": "chrome", "goog:loggingPrefs": {"browser": "ALL"},
                  "goog:chromeOptions": {"args": BROWSER_OPTIONS + [f"--user-data-dir={self.profile.name}"]}}
        end = time.monotonic() + PATIENCE_SECONDS
        while True:
            try:
                answer = self._request("POST", "/session", {"capabilities": {"alwaysMatch": wanted}})
                return answer["value"]["sessionId"]
            except urllib.error.HTTPError as error:
                raise RuntimeError(error.read().decode()) from error
            except OSError:
                # The driver is starting.
                if time.monotonic() > end:
                    raise
                time.sleep(0.05)

    def _call(self, method, path, body=None):
        return self._request(method, f"/session/{self.session}{path}", body)["value"]

    def _request(self, method, path, body):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.url + path, data, {"Content-Type": "application/json"}, method=method)
        # Never through a proxy: the driver is here.
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        with opener.open(request, timeout=PATIENCE_SECONDS) as answer:
            return json.load(answer)
