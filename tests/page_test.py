#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""A browser shows the recorded values on the page of a run, takes pointer and keys, and logs no message.

usage: page_test.py SOURCE_DIRECTORY CAMSIM CHROMIUM [PICTURE]   (a picture of the page's head, for docs/)
"""
import base64
import json
import os
import pathlib
import re
import subprocess
import time

from programs import Program, arguments, check, finish, read, same, work, write, write_png

source, picture = pathlib.Path(arguments[0]), arguments[3:] and pathlib.Path(arguments[3])
os.symlink(pathlib.Path(arguments[1]).parent, "build")  # so that a picture shows no folder of this machine
camsim = Program("build/camsim")


class Browser:
    """Controls a browser through its pipe, with JSON messages that end in a NUL."""

    def __init__(self, program):
        theirs, ours = os.pipe(), os.pipe()
        self.sends, self.receives, self.rest = theirs[1], ours[0], b""
        flags = ("headless no-sandbox disable-gpu disable-quic no-first-run disable-background-networking "
                 "disable-component-update disable-sync hide-scrollbars remote-debugging-pipe").split()
        self.process = subprocess.Popen(
            ["sh", "-c", f'exec "$@" 3<&{theirs[0]} 4>&{ours[1]}', "sh", program, *(f"--{flag}" for flag in flags),
             f"--user-data-dir={work}/profile", "about:blank"], pass_fds=(theirs[0], ours[1]), stderr=subprocess.DEVNULL)
        self.number, self.session, self.messages = 0, {}, []
        target = next(t for t in self.call("Target.getTargets")["targetInfos"] if t["type"] == "page")
        attached = self.call("Target.attachToTarget", targetId=target["targetId"], flatten=True)
        self.session = {"sessionId": attached["sessionId"]}
        for domain in ("Page", "Runtime", "Log", "DOM"):
            self.call(f"{domain}.enable")
        self.call("Page.setInterceptFileChooserDialog", enabled=True)

    def call(self, method, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters, **self.session}
        os.write(self.sends, json.dumps(message).encode() + b"\0")
        while True:
            while b"\0" not in self.rest:
                self.rest += os.read(self.receives, 1 << 20) or exit("FAIL the browser ended")
            text, self.rest = self.rest.split(b"\0", 1)
            answer = json.loads(text)
            if answer.get("method") in ("Runtime.consoleAPICalled", "Runtime.exceptionThrown", "Log.entryAdded"):
                self.messages.append(answer["params"])
            if answer.get("id") == self.number:
                return answer["result"]

    def evaluate(self, expression, by_value):
        return self.call("Runtime.evaluate", expression=expression, returnByValue=by_value, userGesture=True)["result"]

    def ask(self, expression):
        """Returns the value of an expression of the page's script."""
        return self.evaluate(expression, True).get("value")

    def wait(self, expression, seconds=10):
        end = time.monotonic() + seconds
        while not self.ask(f"!!({expression})"):
            if time.monotonic() > end:
                return check(False, f"not within {seconds} s: {expression} {self.messages}")
            time.sleep(0.05)

    def open(self, path, width=1360, height=1500, seconds=10):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)
        self.call("Page.navigate", url="about:blank")
        self.call("Page.navigate", url=pathlib.Path(path).absolute().as_uri())
        self.wait("document.querySelector('#plot svg') && document.querySelector('#passes article')", seconds)

    def press(self, key):
        for kind in ("keyDown", "keyUp"):
            self.call("Input.dispatchKeyEvent", type=kind, key=key)

    def point(self, request, *kinds):
        """Moves the pointer to a request, or presses or releases it there."""
        x = self.ask(f"document.querySelector('#plot').getBoundingClientRect().left + scale({request})")
        for kind in kinds or ("mouseMoved",):
            self.call("Input.dispatchMouseEvent", type=kind, x=x, y=500, button="left" if kinds else "none", clickCount=1)
        return self.selected()

    def selected(self):
        return int(self.ask("document.querySelector('#plot').ariaValueNow"))

    def load(self, button, path):
        """Opens a file like the button's file dialog."""
        self.ask(f"document.querySelector('#{button}').click()")
        file = self.evaluate("document.querySelector('#file')", False)["objectId"]
        self.call("DOM.setFileInputFiles", objectId=file, files=[str(work / path)])

    def text(self, selector):
        return self.ask(f"document.querySelector('{selector}').innerText") or ""


browser = Browser(arguments[2])

# ---- A run with every orientation, frames of odd size and a restart ------------------------------------
write("script", "".join(json.dumps({"request": 24 * i + 1, "in": {"brodax.device.orientation": degrees}}) + "\n"
                        for i, degrees in enumerate((270, 0, 90, 180))) + '{"pipeline": "restart"}\n{"request": 160}\n')
strange = "<!--<script>\"'&.jsonl"
done = camsim.run(0, "--script script --size 321x240 --annotated none --report run.html --jsonl", pathlib.Path(strange))
passes = int(re.search(r"(\d+) analysed", done.out)[1])
records = [json.loads(line) for line in read(strange).splitlines() if line.startswith(b'{"request"')]
browser.open("run.html")
shapes = browser.ask("""[...document.querySelectorAll('article')].map(pass => [...pass.querySelectorAll('img')].map(
    image => [image.naturalWidth / image.naturalHeight, image.width / image.height,
              image.width / image.getAttribute('width')]))""")
same("pictures of each pass", [2] * passes, [len(images) for images in shapes])
for natural, shown, _ in sum(shapes, []):
    check(abs(natural / shown - 1) < 0.01, f"a picture of ratio {natural} is shown with {shown}")
same("scales of the pictures of each pass", [2] * passes, [round(seen[2] / frame[2], 1) for frame, seen in shapes])
same("boxes beyond their pictures", 0, browser.ask("""[...document.querySelectorAll('article rect')].filter(box => {
    const {x, y, width, height} = box.getBBox(), picture = box.ownerSVGElement.viewBox.baseVal;
    return Math.min(x, y) < 0 || x + width > picture.width || y + height > picture.height; }).length"""))
same("points of the plot", 4 * sum(why is None for record in records for why in record["why"]),
     browser.ask("[...document.querySelectorAll('.dots')].reduce((n, path) => n + path.getAttribute('d').split('M').length - 1, 0)"))
same("markup in the page", "", browser.ask("[...document.querySelectorAll('main script, main img[onerror]')].join()"))

same("hovering selects", 40, browser.point(40))
same("a click holds", 52, browser.point(52, "mousePressed", "mouseReleased"))
same("and hovering then selects nothing", 52, browser.point(100))
for key, request in dict(ArrowRight=53, ArrowLeft=52, PageDown=58, PageUp=52, Home=1, End=160).items():
    browser.press(key)
    same(f"request after {key}", request, browser.selected())
browser.ask("document.querySelector('article button').click()")
same("the request of the newest pass", max(r["request"] for r in records if r["outcome"] == "taken"), browser.selected())
for words in records[browser.selected() - 1]["frame"]["digest"], f"the frame of request {browser.selected()}":
    check(words in browser.text("#panel"), f"the panel has no {words}")
browser.open("run.html", 360, 800)
same("width of a narrow page", 360, browser.ask("document.documentElement.scrollWidth"))

# ---- Other recordings ----------------------------------------------------------------------------------
camsim.run(0, "--size 320x240 --requests 60 --annotated none --jsonl a.jsonl")
camsim.run(0, "--size 320x240 --requests 60 --annotated none --jsonl b.jsonl --realtime --fps 300 --no-score")
differing = camsim.run(4, "diff a.jsonl b.jsonl --differences 1000 --report two.html").out
browser.open("two.html")
rows = len({line.split(":")[0] for line in differing.splitlines() if line.startswith("request")})
check(f" {rows} of 60 requests differ" in browser.text("#differences") and
      re.search(r"faceScore\s+60\s+1\s+1\s+0", browser.text("#differences")), f"not {rows}: {browser.text('#differences')}")

write("near.jsonl", re.sub(rb'"age":\[([\d.]+)', lambda m: b'"age":[%.3f' % (float(m[1]) + .05), read("a.jsonl")))
for tolerance, status, words in (0.01, 4, " 60 of 60 "), (0.1, 0, " 0 of 60 requests differ, figures by more than 0.1"):
    camsim.run(status, f"diff a.jsonl near.jsonl --tolerance {tolerance} --report near.html")
    browser.open("near.html")
    check(words in browser.text("#differences"), f"tolerance {tolerance}: {browser.text('#differences')}")
camsim.run(0, "--realtime --size 64x64 --requests 1 --annotated none --report one.html")
browser.call("Page.navigate", url=pathlib.Path("one.html").absolute().as_uri())
browser.wait("document.querySelector('#pace').innerText.includes('30 requests a second asked, 30.0 reached')")

write("newer", '{"recording": 2}\n{"request": 1}\n')
write("other", b"\x89PNG\n\0")
write("cut", read("a.jsonl")[:-9])
browser.call("Page.navigate", url=(source / "lab/camsim/report/report.html").as_uri())
browser.wait("document.readyState === 'complete' && document.querySelector('#result').innerText.includes('No recording')")
for name, button, words in (("newer", "open", "version 2"), ("other", "open", "is no recording"), ("cut", "open", "1 line"),
                            ("b.jsonl", "compare", "")):
    browser.load(button, name)
    browser.wait(f"document.querySelector('#problem').innerText.includes({json.dumps(words)})")
browser.wait("document.querySelector('#differences').innerText.includes('requests differ')")

write_png("still.png", 64, 48, lambda x, y: (x * 4, y * 5, 80))
camsim.run(0, "--input still.png --face 0,0,30,30 --face 30,0,34,40 --face 20,20,16,16 --requests 40000 --annotated none "
           "--crop 0,0,64,46 --report long.html")
check(os.path.getsize("long.html") < 5_000_000, f"40,000 requests have {os.path.getsize('long.html')} bytes")
browser.open("long.html")
print(f"first plot of 40,000 requests after {browser.ask('performance.getEntriesByName(`plotted`)[0].startTime'):.0f} ms")
check(re.search(r"from the defaults\s+crop \[0,0,64,46\]\s", browser.text("main")), "the page does not name the crop alone")
same("the last pass of a long run", 39988, browser.selected())

if picture:
    camsim.run(0, "--node build/com.qti.node.brodaxgenderage.so --device build/device --requests 120 --annotated none "
               "--report run.html")
    browser.open("run.html", 1200, 1250)
    time.sleep(1)
    picture.write_bytes(base64.b64decode(browser.call("Page.captureScreenshot")["data"]))
same("messages of the browser", [], browser.messages)
browser.process.terminate()
finish("a browser shows the page")
