"""A headless browser, driven through the WebDriver protocol with Python's own library alone."""

import base64
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import urllib.error
import urllib.request

KEYS = {"Down": "\ue015", "Up": "\ue013", "Left": "\ue012", "Right": "\ue014", "Enter": "\ue007", "Escape": "\ue00c",
        "Tab": "\ue004", "Home": "\ue011", "End": "\ue010", "Space": " ", "PageDown": "\ue00f"}
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"
SECONDS = 60  # for one command, on a machine that has other work


class BrowserError(Exception):
    pass


class Browser:
    """One browser with one window, and a folder of its own for all that it stores."""

    def __init__(self):
        driver = self._program("chromedriver")
        self._folder = tempfile.mkdtemp(prefix="report-browser-")
        self._keeper = subprocess.Popen(
            [sys.executable, pathlib.Path(__file__).with_name("keeper.py"), self._folder, driver, "--port=0"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, start_new_session=True,
            env={**os.environ, "HOME": self._folder, "TMPDIR": self._folder})
        try:
            self._port = self._read_port()
            self._session = self._start_session()
        except BaseException:
            self.close()
            raise

    @staticmethod
    def _program(name):
        path = shutil.which(name)
        if path is None:
            raise BrowserError(f"there is no {name}: 'scripts/setup test' installs it")
        return path

    def _read_port(self):
        for line in self._keeper.stdout:
            found = re.search(r"started successfully on port (\d+)", line)
            if found:
                return int(found.group(1))
        raise BrowserError("the browser's driver has not started")

    def _start_session(self):
        options = {"binary": self._program("chromium"), "args": [
            "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
            "--disable-background-networking", "--disable-component-update", "--disable-sync", "--disable-extensions",
            "--force-device-scale-factor=1", "--hide-scrollbars", "--lang=en", "--window-size=1280,900",
            f"--user-data-dir={self._folder}/profile"]}
        answer = self._request("POST", "/session", {"capabilities": {"alwaysMatch": {
            "browserName": "chrome", "goog:chromeOptions": options,
            "goog:loggingPrefs": {"browser": "ALL", "performance": "ALL"}}}})
        return answer["sessionId"]

    def _request(self, method, path, body=None):
        data = None if method == "GET" else json.dumps(body or {}).encode()
        request = urllib.request.Request(f"http://127.0.0.1:{self._port}{path}", data, method=method,
                                         headers={"Content-Type": "application/json"})
        try:
            with urllib.request.build_opener(urllib.request.ProxyHandler({})).open(request, timeout=SECONDS) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise BrowserError(json.load(error)["value"]["message"]) from None

    def _command(self, path, body=None, method="POST"):
        return self._request(method, f"/session/{self._session}{path}", body)

    def close(self):
        """Ends the driver and the browser. Their keeper does so as well when this process is killed."""
        self._keeper.stdin.close()
        self._keeper.wait()
        self._keeper.stdout.close()

    @property
    def folder(self):
        """All processes of the browser have its path among their arguments, or in their environment."""
        return self._folder

    def open(self, path):
        self.events()
        self._command("/url", {"url": f"file://{path}"})

    def run(self, script, *arguments):
        """What the script returns: statements of a function with `arguments`."""
        return self._command("/execute/sync", {"script": script, "args": list(arguments)})

    def find(self, selector):
        return self._command("/element", {"using": "css selector", "value": selector})[ELEMENT]

    def click(self, selector):
        """Scrolls to the element, and clicks its middle with the pointer, as a person would."""
        self._command(f"/element/{self.find(selector)}/click")

    def text(self, selector):
        """What a person reads there."""
        return self._command(f"/element/{self.find(selector)}/text", method="GET")

    def press(self, *keys):
        """Presses keys wherever the focus is: names of KEYS, or texts letter by letter."""
        letters = [letter for key in keys for letter in (KEYS[key] if key in KEYS else key)]
        strokes = [{"type": kind, "value": letter} for letter in letters for kind in ("keyDown", "keyUp")]
        self._command("/actions", {"actions": [{"type": "key", "id": "keys", "actions": strokes}]})

    def press_with_shift(self, key):
        shift = "\ue008"
        strokes = [("keyDown", shift), ("keyDown", KEYS[key]), ("keyUp", KEYS[key]), ("keyUp", shift)]
        self._command("/actions", {"actions": [{"type": "key", "id": "keys", "actions": [
            {"type": kind, "value": value} for kind, value in strokes]}]})

    def devtools(self, command, **parameters):
        return self._command("/goog/cdp/execute", {"cmd": command, "params": parameters})

    def resize(self, width, height):
        self.devtools("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                      mobile=False)

    def emulate(self, media="", scheme="light"):
        self.devtools("Emulation.setEmulatedMedia", media=media,
                      features=[{"name": "prefers-color-scheme", "value": scheme}])

    def screenshot(self):
        return base64.b64decode(self._command("/screenshot", method="GET"))

    def printed(self):
        return base64.b64decode(self._command("/print", {"page": {"width": 21, "height": 29.7}}))

    def console(self):
        """What was written to the console since the last call: errors and violations of the security policy, too."""
        return [entry["message"] for entry in self._command("/se/log", {"type": "browser"})]

    def events(self):
        """What the developer tools have told since the last call."""
        entries = self._command("/se/log", {"type": "performance"})
        return [json.loads(entry["message"])["message"] for entry in entries]

    def requested(self):
        """The addresses that were requested since the last call, or since the page was opened."""
        return [event["params"]["request"]["url"] for event in self.events()
                if event["method"] == "Network.requestWillBeSent"]
