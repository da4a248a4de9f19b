"""A headless browser, driven over HTTP by the driver that comes with it."""

import json
import re
import subprocess
import urllib.request
from contextlib import contextmanager

arguments = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
             "--disable-background-networking", "--disable-dev-shm-usage"]
keys = {"left": "\ue012", "right": "\ue014", "space": " "}


class Browser:
    def __init__(self, port, folder):
        self.address = f"http://127.0.0.1:{port}/session"
        options = {"args": arguments + [f"--user-data-dir={folder}"]}
        wanted = {"browserName": "chrome", "goog:chromeOptions": options,
                  "goog:loggingPrefs": {"browser": "ALL", "performance": "ALL"}}
        session = self.post("", {"capabilities": {"alwaysMatch": wanted}})
        self.address += "/" + session["sessionId"]

    def post(self, path, body):
        request = urllib.request.Request(self.address + path, json.dumps(body).encode(),
                                         {"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=120) as answer:
            return json.load(answer)["value"]

    def open(self, url):
        self.post("/url", {"url": url})

    def ask(self, script):
        """What a piece of JavaScript returns in the page."""
        return self.post("/execute/sync", {"script": script, "args": []})

    def click(self, selector):
        element = self.post("/element", {"using": "css selector", "value": selector})
        self.post("/element/" + next(iter(element.values())) + "/click", {})

    def press(self, key):
        steps = [{"type": kind, "value": keys.get(key, key)} for kind in ("keyDown", "keyUp")]
        self.post("/actions", {"actions": [{"type": "key", "id": "keyboard", "actions": steps}]})

    def command(self, name, parameters):
        """A command of the browser's own protocol."""
        return self.post("/goog/cdp/execute", {"cmd": name, "params": parameters})

    def console(self):
        return [entry["message"] for entry in self.post("/se/log", {"type": "browser"})]

    def requested(self):
        """The addresses that the page asked for, itself included."""
        events = [json.loads(entry["message"])["message"] for entry in self.post("/se/log", {"type": "performance"})]
        return [event["params"]["request"]["url"] for event in events if event["method"] == "Network.requestWillBeSent"]

    def close(self):
        urllib.request.urlopen(urllib.request.Request(self.address, method="DELETE"), timeout=60).close()


@contextmanager
def open_browser(folder):
    with subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True) as driver:
        try:
            port = next(found[1] for line in driver.stdout if (found := re.search(r"success\w* on port (\d+)", line)))
            browser = Browser(port, folder)
            try:
                yield browser
            finally:
                browser.close()
        finally:
            driver.terminate()
