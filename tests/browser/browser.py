"""A headless Chromium that a test drives: what a page asks for, says and shows."""
import json
import os
import shutil
import subprocess
import tempfile
import time


def find():
    """The program's file, or None."""
    return shutil.which("chromium")


class Browser:
    """One page in a profile of its own, without a network: its proxy is a closed port."""

    TIMEOUT_SECONDS = 60

    def __init__(self):
        self._home = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        commands, self._to = os.pipe()
        self._from, answers = os.pipe()
        program = [find(), "--headless", "--no-sandbox", "--disable-gpu", "--remote-debugging-pipe",
                   "--proxy-server=127.0.0.1:9", "--user-data-dir=" + self._home.name, "about:blank"]
        # The browser reads its commands from descriptor 3 and answers on 4. The shell
        # keeps them from each other's place.
        shell = f'exec "$@" 3<&{commands} 4>&{answers}'
        self._process = subprocess.Popen(["bash", "-c", shell, "bash"] + program,
                                         pass_fds=(commands, answers), stdin=subprocess.DEVNULL,
                                         stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                         env={**os.environ, "HOME": self._home.name})
        os.close(commands)
        os.close(answers)
        self._buffer = b""
        self._last = 0
        self._session = None
        self.events = []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        attached = self.call("Target.attachToTarget", targetId=target, flatten=True)
        self._session = attached["sessionId"]
        for domain in ("Page", "Runtime", "Network", "Log"):
            self.call(domain + ".enable")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._process.terminate()
        self._process.wait()
        os.close(self._to)
        os.close(self._from)
        self._home.cleanup()

    def call(self, method, **parameters):
        self._last += 1
        message = {"id": self._last, "method": method, "params": parameters}
        if self._session:
            message["sessionId"] = self._session
        os.write(self._to, json.dumps(message).encode() + b"\0")
        while True:
            answer = self._read()
            if answer.get("id") != self._last:
                self.events.append(answer)
            elif "error" in answer:
                raise RuntimeError(f"{method}: {answer['error']}")
            else:
                return answer["result"]

    def open(self, file):
        """Seconds until the page is loaded and painted."""
        self.events.clear()
        begin = time.monotonic()
        self.call("Page.navigate", url="file://" + file)
        while not self.told("Page.loadEventFired"):
            self.events.append(self._read())
        self.value("new Promise(done => requestAnimationFrame(() => setTimeout(done)))")
        return time.monotonic() - begin

    def value(self, script):
        """What the script comes to in the page, also when that forbids scripts of its own."""
        answer = self.call("Runtime.evaluate", expression=script, returnByValue=True,
                           awaitPromise=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(f"{script}: {answer['exceptionDetails']}")
        return answer["result"].get("value")

    def told(self, method):
        """The parameters of all such events since the page was opened."""
        return [event["params"] for event in self.events if event.get("method") == method]

    def _read(self):
        end = time.monotonic() + self.TIMEOUT_SECONDS
        while b"\0" not in self._buffer:
            if time.monotonic() > end:
                raise TimeoutError("the browser does not answer")
            more = os.read(self._from, 1 << 16)
            if not more:
                raise RuntimeError("the browser has ended")
            self._buffer += more
        text, self._buffer = self._buffer.split(b"\0", 1)
        return json.loads(text)
