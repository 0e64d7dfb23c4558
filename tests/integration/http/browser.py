#!/usr/bin/env python3
# A page of an endpoint in a headless browser. It reads streams of events with EventSource, and prints
# what the page sees: browser.py http://HOST:PORT
import sys
import time

from selenium import webdriver

LIMIT = 30  # seconds

SCRIPT = """
window.seen = [];
const source = new EventSource(arguments[0]);
for (const kind of ['next', 'error', 'completed', 'dropped']) {
  source.addEventListener(kind, event => {
    seen.push(event.data === undefined ? 'connection lost' : kind + ' ' + event.data);
    if (kind === 'completed') { source.close(); }
  });
}
"""


def say(line):
    print(line, flush=True)


def watch(browser, target):
    browser.execute_script(SCRIPT, target)


def wait_for(browser, text):
    """Waits until the page has seen an event with this text, and prints all of them."""
    deadline = time.monotonic() + LIMIT
    while time.monotonic() < deadline:
        seen = browser.execute_script("return window.seen")
        if any(text in line for line in seen):
            for line in seen:
                say(line)
            return
        time.sleep(0.02)
    say("no event with " + text)


options = webdriver.ChromeOptions()
for argument in ("--headless", "--no-sandbox", "--disable-dev-shm-usage", "--no-proxy-server"):
    options.add_argument(argument)
browser = webdriver.Chrome(options=options)
try:
    browser.get(sys.argv[1] + "/page")
    watch(browser, "/?watch=/a&watch=/b")
    wait_for(browser, "completed")
    watch(browser, "/a")
    wait_for(browser, "before")
    say("restart")
    wait_for(browser, "after")
    browser.get("about:blank")
    say("left")
    sys.stdin.readline()
finally:
    browser.quit()
