#!/usr/bin/python3
# Uses the page of an endpoint with a headless browser: page.py PROGRAM KOVA, where the program is built
# from page_service.cpp, and KOVA is the program of that name.
import json
import os
import socket
import subprocess
import sys
import time
import unittest
import urllib.error
import urllib.request

from selenium import webdriver
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

sys.dont_write_bytecode = True
from page_load import RECEIVED, processor_time, renderers

LIMIT = 60  # seconds
SCRIPT_NAME = "<img src=x onerror='hacked = 1'><script>hacked = 1<script>"
QUOTES_NAME = "\"quotes\" & 'quotes' `$(id)`"
RIGHT_TO_LEFT = "\u202e\u05e9\u05dc\u05d5\u05dd \u05e2\u05d5\u05dc\u05dd"


class Service:
    """A process that serves, and its port, which no other process gets while the service is not there."""

    def __init__(self, *arguments):
        self.kept = socket.socket()
        self.kept.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.kept.bind(("127.0.0.1", 0))
        self.port = str(self.kept.getsockname()[1])
        self.url = "http://127.0.0.1:" + self.port
        self.arguments = arguments
        self.start()

    def start(self):
        self.process = subprocess.Popen([PROGRAM, self.port, *self.arguments], stdout=subprocess.PIPE, text=True)
        self.process.stdout.readline()

    def close(self):
        self.stop()
        self.kept.close()

    def stop(self, orderly=False):
        if orderly:
            self.process.terminate()
        else:
            self.process.kill()
        self.process.wait()
        self.process.stdout.close()

    def request(self, path, method="GET", body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.url + path, data, {"Content-Type": "application/json"}, method=method)
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        return json.loads(opener.open(request, timeout=LIMIT).read() or "null")


def start_browser():
    options = webdriver.ChromeOptions()
    for argument in ("--headless", "--no-sandbox", "--disable-dev-shm-usage", "--no-proxy-server",
                     "--window-size=1100,800",
                     # Pages that were left keep no connections.
                     "--disable-features=BackForwardCache"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    browser = webdriver.Chrome(options=options)
    browser.set_script_timeout(LIMIT)
    return browser


class PageCase(unittest.TestCase):
    arguments = ()

    @classmethod
    def setUpClass(cls):
        cls.browser = start_browser()
        cls.addClassCleanup(cls.browser.quit)
        cls.service = Service(*cls.arguments)

    @classmethod
    def tearDownClass(cls):
        cls.service.close()

    def setUp(self):
        self.load()

    def load(self):
        self.browser.get("about:blank")
        self.browser.get_log("browser")
        self.browser.get(self.service.url + "/")
        self.wait(lambda: self.items(), "the tree is shown")

    def tearDown(self):
        # The browser itself logs each answer that is an error, and each lost connection.
        errors = [entry for entry in self.browser.get_log("browser") if entry["source"] != "network"]
        self.assertEqual(errors, [])
        self.assertFalse(self.is_hacked())
        self.assertEqual(self.all("main img, main script, #tree img, #tree script"), [])

    def is_hacked(self):
        return self.script("'hacked' in window")

    def wait(self, condition, what):
        deadline = time.monotonic() + LIMIT
        while time.monotonic() < deadline:
            try:
                result = condition()
                if result:
                    return result
            except Exception as error:  # the page replaces elements while they are read
                if type(error).__module__.split(".")[0] != "selenium":
                    raise
            time.sleep(0.02)
        self.fail(f"{what}: not within {LIMIT} s; the page shows:\n{self.one('body').text}")

    def all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def one(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def script(self, text, *arguments):
        return self.browser.execute_script("return " + text, *arguments)

    def items(self):
        return [item.get_attribute("data-locator") for item in self.all("[role=treeitem]")]

    def wait_text(self, selector, text):
        self.wait(lambda: text in self.one(selector).text, f"{selector} shows {text!r}")

    def open(self, path):
        """Opens a resource as a user does, and waits until its value was read, if it has one."""
        field = self.one("#path")
        field.clear()
        field.send_keys(path + Keys.ENTER)
        self.wait(lambda: self.one("h2").text == path, f"{path} is shown")
        field.clear()
        field.send_keys(" " + Keys.BACKSPACE)
        if self.all(".read") and self.all(".read")[0].is_enabled() and "{" not in path:
            self.wait(lambda: not self.one(".cancel").is_enabled() and self.one("[role=status]"), "an answer")

    def show_details(self):
        self.browser.execute_script("for (const each of document.querySelectorAll('details')) each.open = true")

    def view(self, name):
        self.one(f"a[href='#!{name}']").click()

    def input(self, label, within="form.update"):
        return self.one(within).find_element(
            By.XPATH, f".//label[normalize-space()='{label}']/following-sibling::*[1]")

    def type(self, label, text, within="form.update"):
        field = self.input(label, within)
        field.clear()
        field.send_keys(text)

    def press(self, label, within="main"):
        self.one(within).find_element(By.XPATH, f".//button[normalize-space()='{label}']").click()

    def run_command(self, command, expected):
        self.assertTrue(command.isprintable(), repr(command))
        environment = {**os.environ, "PATH": os.path.dirname(KOVA) + ":" + os.environ["PATH"], "no_proxy": "*"}
        output = subprocess.run(["bash", "-c", command], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                timeout=LIMIT, check=True, env=environment).stdout
        self.assertEqual(json.loads(output or "null"), expected)

    def copied(self, kind, within):
        """Presses the button that copies a command, and returns the text of the clipboard."""
        self.browser.execute_cdp_cmd("Browser.grantPermissions", {
            "origin": self.service.url, "permissions": ["clipboardReadWrite", "clipboardSanitizedWrite"]})
        self.show_details()
        copy = self.one(f"{within} button[aria-label='copy the {kind} command']")
        self.wait(lambda: copy.text == "Copy", "the button was not pressed just before")
        copy.click()
        self.wait(lambda: copy.text == "Copied", "the command is copied")
        return self.browser.execute_async_script("navigator.clipboard.readText().then(arguments[0])")

    def command(self, kind, within):
        self.show_details()
        copy = self.one(f"{within} button[aria-label='copy the {kind} command']")
        return copy.find_element(By.XPATH, "preceding-sibling::code").text


class PageTest(PageCase):
    def test_page_shows_the_tree_of_resources(self):
        items = self.items()
        for locator in ("/level", "/lamp", "/tracks", "/tracks/{id:uint}", "/ticks", "/ticks/99"):
            self.assertIn(locator, items)
        self.assertEqual(self.browser.title, "house 1.0.0 - kova")
        self.wait_text("#connection", "connected")
        self.assertFalse(self.one("#notice").is_displayed())

    def test_filter_shows_what_contains_the_text(self):
        self.one("#path").send_keys("/tr")
        self.wait(lambda: self.items() == ["/tracks", "/tracks/{id:uint}"], "the tree is filtered")

    def test_tree_is_used_with_the_keyboard(self):
        def active():
            return self.browser.switch_to.active_element

        def press(key, locator):
            active().send_keys(key)
            self.assertEqual(active().get_attribute("data-locator"), locator)

        self.one("#path").send_keys("tracks")
        self.wait(lambda: len(self.items()) == 2, "the tree is filtered")
        self.one("#path").send_keys(Keys.TAB)
        self.assertEqual(active().get_attribute("data-locator"), "/tracks")
        press(Keys.ARROW_DOWN, "/tracks/{id:uint}")
        press(Keys.ARROW_LEFT, "/tracks")
        press(Keys.ARROW_LEFT, "/tracks")
        self.assertEqual(active().get_attribute("aria-expanded"), "false")
        press(Keys.ARROW_DOWN, "/tracks")
        press(Keys.ARROW_RIGHT, "/tracks")
        self.assertEqual(active().get_attribute("aria-expanded"), "true")
        press(Keys.END, "/tracks/{id:uint}")
        press(Keys.HOME, "/tracks")
        active().send_keys(Keys.ENTER)
        self.wait_text("h2", "/tracks")
        self.assertEqual(active().get_attribute("aria-selected"), "true")

    def tab_to(self, name):
        """Presses the tabulator until the control with the name has the focus."""
        for _ in range(100):
            active = self.browser.switch_to.active_element
            if active.accessible_name == name:
                return active
            active.send_keys(Keys.TAB)
        self.fail(f"the keyboard does not reach {name}")

    def test_value_is_read_written_and_watched_with_the_keyboard_alone(self):
        self.tab_to("Find, or open a path").send_keys("/level" + Keys.ENTER)
        self.wait(lambda: self.all("form.update") and self.input("value").get_attribute("value") != "", "the form")
        self.tab_to("value").send_keys(Keys.CONTROL + "a")
        self.tab_to("value").send_keys("61" + Keys.ENTER)
        self.wait_text("form.update [role=status]", "done")
        self.assertEqual(self.service.request("/level"), 61)
        self.load()
        self.tab_to("Find, or open a path").send_keys("/level" + Keys.ENTER)
        self.wait_text(".value", "61")
        self.tab_to("Watch").send_keys(" ")
        self.wait_text("article .latest", "61")
        self.tab_to("Stop").send_keys(" ")
        self.wait(lambda: self.pending() == [], "nothing is watched")

    def test_controls_have_roles_and_names(self):
        self.assertEqual(self.one("#tree").aria_role, "tree")
        for path in ("/lamp", "/tracks/{id:uint}", "/text"):
            self.open(path)
            self.show_details()
            controls = self.all("main button, main input, main select, main textarea, main summary")
            self.assertGreater(len(controls), 3)
            for control in controls:
                if control.is_displayed():
                    self.assertNotEqual(control.accessible_name, "", control.get_attribute("outerHTML"))

    def test_values_are_read_and_formatted(self):
        self.open("/lamp")
        self.wait_text(".value", "desk")
        self.assertIn(["label", "desk"], [row.text.split() for row in self.all(".value .members tr")])
        self.open("/large")
        self.wait_text(".value", "18446744073709551615")

    def test_value_is_written(self):
        self.open("/level")
        self.wait(lambda: self.input("value").get_attribute("value") != "", "the form has the value")
        self.type("value", "42")
        self.press("Update", "form.update")
        self.wait_text("form.update [role=status]", "done")
        self.assertEqual(self.service.request("/level"), 42)
        self.wait_text(".value", "42")

    def test_form_is_made_from_the_schema(self):
        before = self.service.request("/lamp")
        self.open("/lamp")
        self.wait(lambda: self.input("label").get_attribute("value") == before["label"], "the form is filled")
        self.type("label", "a \"new\" <label>")
        self.input("colour").send_keys("red")
        self.input("lit").click()
        self.type("level", "7")
        self.press("Add", "form.update fieldset fieldset fieldset")
        self.type("[2]", "third")
        self.one("form.update input[aria-label='include limit']").click()
        self.input("limit").send_keys("integer")
        self.type("value", "11", "form.update .optional")
        self.press("Update", "form.update")
        self.wait_text("form.update [role=status]", "done")
        self.assertEqual(self.service.request("/lamp"), {
            "label": "a \"new\" <label>", "colour": "red", "lit": not before["lit"],
            "zone": {"level": 7, "names": ["a", "b", "third"]}, "factors": {"x": 0.5}, "limit": 11})
        self.service.request("/lamp", "PUT", before)

    def refuse(self, label, text, reason):
        self.type(label, text)
        self.press("Update", "form.update")
        field = self.wait(lambda: self.one("form.update [aria-invalid=true]"), "a field is marked")
        self.assertEqual(field, self.input(label))
        shown = self.one("#" + field.get_attribute("aria-describedby"))
        self.wait(lambda: reason in shown.text, f"the reason {reason} is shown")
        self.assertTrue(shown.is_displayed())
        self.assertEqual(shown.find_element(By.XPATH, ".."), field.find_element(By.XPATH, ".."))

    def test_refused_input_has_the_reason_of_the_service_beside_the_field(self):
        before = self.service.request("/level")
        self.open("/level")
        self.wait(lambda: self.input("value").get_attribute("value") != "", "the form has the value")
        self.refuse("value", "101", "expected a number from 0 to 100")
        self.refuse("value", "loud", "found \"loud\"")
        self.assertEqual(self.service.request("/level"), before)
        self.open("/lamp")
        self.wait(lambda: self.input("label").get_attribute("value") != "", "the form has the value")
        self.refuse("level", "10", "zone.level: <b>at most</b> 9")
        self.assertEqual(self.all("main b"), [])
        self.type("level", "3")
        self.press("Update", "form.update")
        self.wait_text("form.update [role=status]", "done")
        self.assertEqual(self.all("[aria-invalid]"), [])

    def test_elements_are_inserted_and_deleted(self):
        self.open("/tracks")
        self.input("value", "form.insert").send_keys("blue")
        self.press("Insert")
        self.wait_text("form.insert [role=status]", "201 done: /tracks/blue")
        self.open("/tracks/{id:uint}")
        self.one("main input").send_keys("7")
        self.press("Delete")
        self.press("Press again to delete")
        self.wait_text("form.delete [role=status]", "done")
        self.assertEqual(self.delete_button(), "Delete")

    def delete_button(self):
        return self.one("form.delete button[type=submit]").text

    def test_delete_is_disarmed_by_another_resource_and_by_time(self):
        armed = "Press again to delete"
        self.open("/tracks/{id:uint}")
        self.one("main input").send_keys("7")
        self.press("Delete")
        self.assertEqual(self.delete_button(), armed)
        self.one("main input").send_keys("8")
        self.assertEqual(self.delete_button(), "Delete")
        self.press("Delete")
        self.assertEqual(self.delete_button(), armed)
        self.wait(lambda: self.delete_button() == "Delete", "it is disarmed")
        self.press("Delete")
        self.assertEqual(self.one("form.delete [role=status]").text, "")
        self.press(armed)
        self.wait_text("form.delete [role=status]", "done")

    def test_requests_go_to_the_endpoint_alone(self):
        with socket.create_server(("127.0.0.1", 0)) as other:
            other.setblocking(False)
            host = f"127.0.0.1:{other.getsockname()[1]}"
            for path in (f"//{host}/x", f"/\\{host}/x", f"/a$//{host}/x", f"//{host}$/x", f"/@{host}/x"):
                self.browser.execute_script("location.hash = arguments[0]", "#" + path)
                self.wait(lambda: self.one("h2").text == path, f"{path} is shown")
                self.wait_text(".panel [role=status]", "404")
            sent = self.script("performance.getEntriesByType('resource').map(each => new URL(each.name).origin)")
            self.assertEqual(set(sent), {self.service.url})
            self.assertRaises(BlockingIOError, other.accept)
        for path in ("/a/../level", "/./level", "/a/.."):
            self.open(path)
            self.wait_text(".panel [role=status]", 'browsers cannot send a path with the segment "." or ".."')
            self.assertEqual(self.one(".value").text, "")
        self.open("/tracks/{id:uint}")
        self.one("main input").send_keys("..")
        self.press("Delete")
        self.press("Press again to delete")
        self.wait_text("form.delete .reason", "browsers cannot send a path")

    def pending(self):
        calls = self.service.request("/.kova/pending")
        return sorted(call["path"] for call in calls if not call["path"].startswith("/.kova"))

    def test_one_stream_shows_numbers_as_a_chart_and_texts_as_a_log(self):
        first = self.service.request("/level")
        for path in ("/level", "/text"):
            self.open(path)
            self.press("Watch")
        self.view("watched")
        self.wait(lambda: self.pending() == ["/level", "/text"], "both are watched")
        for value in (10, 20):
            self.service.request("/level", "PUT", value)
            self.service.request("/text", "PUT", f"<i>{value}</i>")
        level, text = "article[aria-label='watch of /level'] ", "article[aria-label='watch of /text'] "
        self.wait_text(level + ".latest", "20")
        self.wait_text(text + ".log", "<i>20</i>\n<i>10</i>")
        self.assertEqual(self.one(level + "canvas").get_attribute("role"), "img")
        self.wait(lambda: self.one(level + "canvas").accessible_name.endswith(f"from 10 to {max(first, 20)}"),
                  "the chart has the values")
        self.assertFalse(self.one(text + "canvas").is_displayed())
        self.assertTrue(self.script("source.url").endswith("/?watch=%2Flevel&watch=%2Ftext"))
        self.press("Stop", level)
        self.wait(lambda: self.pending() == ["/text"], "one is watched")
        self.press("Stop all")
        self.wait(lambda: self.pending() == [], "nothing is watched")

    def test_watched_values_are_read_out_on_demand_only(self):
        self.open("/ticks/0")
        self.press("Watch")
        self.wait_text("article", "values, from")
        for live in ("[role=status]", "[role=alert]", "output", "[aria-live]:not([aria-live=off])"):
            self.assertEqual(self.all("article " + live), [])
        said = self.one("#said")
        self.assertEqual(said.get_attribute("textContent"), "")
        self.press("Announce")
        text = said.get_attribute("textContent")
        self.assertRegex(text, r"^/ticks/0: \d+, live: \d+ values, from \d+ to \d+$")
        self.wait(lambda: self.script("watches.get('/ticks/0').status.textContent") not in text, "further values")
        self.assertEqual(said.get_attribute("textContent"), text)
        self.press("Stop watching")

    def kept(self):
        return self.script("watches.get('/text').values.reduce((sum, each) => sum + each.length, 0)")

    def watch_texts(self, texts):
        for text in texts:
            self.service.request("/text", "PUT", text)
            self.wait(lambda: self.one("article .latest").text.startswith(text[:10]), "the value is shown")

    def test_watched_values_are_limited_by_their_size(self):
        before = self.service.request("/text")
        self.open("/text")
        self.press("Watch")
        self.wait_text("article .latest", before)
        self.watch_texts(f"{i:9} ".replace(" ", "-") + "x" * 500000 for i in range(4))
        self.assertIn("(500010 characters)", self.one("article .latest").text)
        self.assertLess(self.kept(), 10000)
        self.assertLess(self.script("document.querySelector('article').textContent.length"), 10000)
        # These are kept whole, but not all of them.
        self.watch_texts(f"{i:9} ".replace(" ", "-") + "y" * 16000 for i in range(20))
        self.assertLessEqual(self.kept(), 131072)
        self.assertGreater(self.kept(), 65536)
        self.assertLess(self.script("document.querySelector('article').textContent.length"), 50000)
        self.press("Stop watching")
        self.service.request("/text", "PUT", before)

    def test_page_uses_less_than_a_fifth_of_a_core_for_100_watched_values(self):
        self.open("/ticks")
        self.press("Watch all 100")
        self.wait(lambda: self.script("[...watches.values()].every(own => own.count > 2)"), "all are live")
        processes = renderers(self.browser)
        before = [processor_time(each) for each in processes]
        start, received = time.monotonic(), self.browser.execute_script(RECEIVED)
        self.wait(lambda: self.browser.execute_script(RECEIVED) - received >= 5000, "5000 values")
        used = max(processor_time(each) - was for each, was in zip(processes, before))
        self.assertLess(used / (time.monotonic() - start), 0.2)
        self.press("Stop all")

    def test_one_stream_carries_100_paths(self):
        self.open("/ticks")
        self.press("Watch all 100")
        self.wait(lambda: len(self.pending()) == 100, "all are watched")
        self.wait(lambda: self.script("[...watches.values()].every(own => own.count > 2)"), "all are live")
        self.view("pending")
        self.wait(lambda: len(self.all("main tbody tr")) >= 100, "the requests are shown")
        self.view("watched")
        self.press("Stop all")
        self.wait(lambda: self.pending() == [], "nothing is watched")

    def test_path_that_cannot_be_watched_shows_the_reason(self):
        self.open("/level")
        self.script("watch('/nowhere')")
        self.view("watched")
        self.wait_text("article", "404 path '/nowhere' not found")
        self.press("Stop all")

    def test_request_is_cancelled(self):
        before = self.service.request("/held/cancelled")
        self.browser.execute_script("location.hash = '/held'")
        self.wait(lambda: self.pending() == ["/held"], "the request is pending")
        self.press("Cancel")
        self.wait(lambda: self.service.request("/held/cancelled") == before + 1, "the request is cancelled")
        self.wait_text(".panel [role=status]", "cancelled")

    def test_lost_connection_is_shown_and_streams_continue(self):
        self.open("/level")
        self.wait(lambda: self.input("value").get_attribute("value") != "", "the form has the value")
        self.type("value", "typed")
        self.press("Watch")
        self.wait_text("article .latest", str(self.service.request("/level")))
        for orderly, value in ((False, 77), (True, 78)):
            self.service.stop(orderly)
            self.wait_text("#connection", "connection lost")
            self.wait_text("article", "connection lost")
            self.service.start()
            self.wait_text("#connection", "connected again")
            self.service.request("/level", "PUT", value)
            self.wait_text("article .latest", str(value))
            self.wait_text("article", "live")
        self.assertEqual(self.input("value").get_attribute("value"), "typed")

    def test_hostile_names_and_values_are_text(self):
        names = [item.text for item in self.all("[role=treeitem]")]
        for name in (SCRIPT_NAME, QUOTES_NAME, RIGHT_TO_LEFT):
            self.assertIn(name, names)
            self.open("/names/" + name)
            self.wait_text(".value", name)
            self.assertEqual(self.script("getComputedStyle(document.querySelector('h2 bdi')).unicodeBidi"), "isolate")
        self.open("/text")
        self.wait_text(".value", self.service.request("/text"))

    def test_hostile_names_and_values_are_text_even_without_the_security_policy(self):
        self.browser.execute_cdp_cmd("Page.setBypassCSP", {"enabled": True})
        self.addCleanup(self.browser.execute_cdp_cmd, "Page.setBypassCSP", {"enabled": False})
        self.load()
        self.test_hostile_names_and_values_are_text()
        self.assertFalse(self.is_hacked())
        # The check finds a page that would show the name as HTML.
        self.browser.execute_script("document.querySelector('main').innerHTML = arguments[0]", SCRIPT_NAME)
        self.wait(self.is_hacked, "the name has run")
        self.load()

    def test_copied_commands_do_what_they_seem_to_do(self):
        text = "a'b\\c\u202e\u2066 $(id) `id` !x \u00a0\u200b\u2028\u0085 \u05e9 @/etc/passwd"
        before = self.service.request("/text")
        self.open("/text")
        for value in (text, "-", "'", "\\x41"):
            self.set_input("value", value)
            for kind in ("curl", "kova"):
                self.service.request("/text", "PUT", "before")
                self.run_command(self.copied(kind, "form.update"), None)
                self.assertEqual(self.service.request("/text"), value, kind)
        self.service.request("/text", "PUT", before)
        for name in (SCRIPT_NAME, QUOTES_NAME, RIGHT_TO_LEFT):
            self.open("/names/" + name)
            for kind in ("curl", "kova"):
                self.run_command(self.copied(kind, "main"), {name: name})

    def set_input(self, label, value):
        """Sets a field to a text that keys do not produce."""
        self.wait(lambda: self.input(label).get_attribute("value") != "", "the form has the value")
        self.browser.execute_script(
            "arguments[0].value = arguments[1]; arguments[0].dispatchEvent(new Event('input', {bubbles: true}))",
            self.input(label), value)

    def test_commands_of_curl_send_the_text_and_the_path_verbatim(self):
        self.assertIn(" --data-raw @/etc/passwd ", self.script("curlCommand('update', '/a', '@/etc/passwd')"))
        self.assertIn(" --path-as-is ", self.script("curlCommand('retrieve', '/a/../b')"))

    def test_commands_send_what_the_form_sends(self):
        self.open("/level")
        self.wait(lambda: self.input("value").get_attribute("value") != "", "the form has the value")
        self.type("value", "55")
        self.run_command(self.command("curl", "form.update"), None)
        self.assertEqual(self.service.request("/level"), 55)
        address = f"'tcp:127.0.0.1:{self.service.port}$/level'"
        self.assertEqual(self.command("kova", "form.update"), f"kova put {address} 55")
        self.assertEqual(self.command("kova watch", "main"), f"kova watch {address}")
        self.assertIn("Accept: text/event-stream", self.command("curl stream", "main"))

    def test_metrics_and_trace_levels_are_shown(self):
        self.view("metrics")
        self.wait(lambda: [row.text for row in self.all("main tbody tr")] == ["lamps {room=\"<b>\"} 2"], "the metrics")
        self.view("traces")
        name = "level of KOVA_KIT_CALLS"
        self.wait(lambda: self.one(f"[aria-label='{name}']"), "the channels are shown").send_keys("5")

        def level():
            return [each["level"] for each in self.service.request("/.kova/trace") if each["name"] == "KOVA_KIT_CALLS"]

        self.wait(lambda: level() == [5], "the level is changed")
        self.wait(lambda: self.one(f"[aria-label='{name}']").get_attribute("value") == "5", "the level is shown")
        self.assertEqual(self.browser.switch_to.active_element.get_attribute("aria-label"), name)
        self.press("Set levels")
        self.wait_text("main .reason", "pattern")
        self.one("[aria-label='pattern of channels']").send_keys("KOVA_*")
        self.press("Set levels")
        self.wait(lambda: level() == [7], "the levels are changed")

    def test_narrow_screens_do_not_scroll_sideways(self):
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": 320, "height": 640, "deviceScaleFactor": 1, "mobile": False})
        try:
            for path in ("/lamp", "/tracks/{id:uint}", "/names/" + QUOTES_NAME):
                self.open(path)
                self.assert_fits(path)
            for name in ("pending", "metrics", "traces"):
                self.view(name)
                self.wait(lambda: self.all("main .wide, main .hint"), name)
                self.assert_fits(name)
            self.open("/ticks/0")
            self.press("Watch")
            self.browser.execute_script("document.querySelector('article').scrollIntoView()")
            self.wait(lambda: self.all("article canvas:not([hidden])"), "the chart")
            self.assert_fits("a watched number")
        finally:
            self.browser.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})

    def assert_fits(self, what):
        self.show_details()
        self.assertEqual(self.script("innerWidth"), 320)
        self.assertLessEqual(self.script("document.documentElement.scrollWidth"), 320, what)

    def test_colours_follow_the_preference_of_the_user(self):
        backs = []
        for scheme in ("light", "dark"):
            self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
                "features": [{"name": "prefers-color-scheme", "value": scheme}]})
            backs.append(self.script("getComputedStyle(document.body).backgroundColor"))
        self.assertEqual(backs, ["rgb(255, 255, 255)", "rgb(20, 24, 29)"])


GARDEN, HOUSE, SCRIPT, SILENT = "/garden$", "/house$", "/script$", "/silent$"

# The time limits of requests (5 s) end when late() is called.
LATE = """
    const later = [], {timeout} = AbortSignal;
    AbortSignal.timeout = limit => {
      if (limit !== 5000) return timeout.call(AbortSignal, limit);
      later.push(new AbortController());
      return later.at(-1).signal;
    };
    window.late = () => later.forEach(each => each.abort(new DOMException('', 'TimeoutError')));
"""


class SeveralServicesTest(PageCase):
    arguments = ("several",)

    def setUp(self):
        self.service.request(SILENT + "/", "DELETE")
        self.answer(SCRIPT, "/.kova/version", {"name": "script", "version": "2.0.0"})
        for name in ("pending", "trace"):
            self.answer(SCRIPT, "/.kova/" + name, [])
        self.answer(SCRIPT, "/.kova/metrics", "")
        self.offer({})
        late = self.browser.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": LATE})
        self.addCleanup(self.browser.execute_cdp_cmd, "Page.removeScriptToEvaluateOnNewDocument", late)
        self.load()
        self.wait_for_items(GARDEN + "/level", HOUSE + "/level", SCRIPT + "/value")

    def wait_for_items(self, *locators):
        self.wait(lambda: set(locators) <= set(self.items()), f"the tree has {locators}")

    def answer(self, service, path, value):
        self.service.request(service + path, "PUT", value)

    def offer(self, schema, value=0):
        """Lets the scripted service offer a value that is written by the schema."""
        self.answer(SCRIPT, "/value", value)
        self.answer(SCRIPT, "/.kova/resources", [{"path": "/value", "operations": [
            {"command": "retrieve", "path": "", "schemas": {}},
            {"command": "update", "path": "", "schemas": {"body": schema}}]}])

    def open_form(self, schema, value):
        self.offer(schema, value)
        self.load()
        self.wait_for_items(SCRIPT + "/value")
        self.open(SCRIPT + "/value")

    def update(self, expected):
        self.press("Update", "form.update")
        self.wait_text("form.update [role=status]", "done")
        self.assertEqual(self.service.request(SCRIPT + "/value"), expected)

    def test_each_service_is_shown_and_used(self):
        self.wait(lambda: self.browser.title == "garden 3.0.0, house 1.0.0, script 2.0.0 - kova", "the names")
        for service, value in ((GARDEN, 11), (HOUSE, 12)):
            path = service + "/level"
            self.open(path)
            self.wait(lambda: self.input("value").get_attribute("value") != "", "the form has the value")
            self.type("value", str(value))
            self.press("Update", "form.update")
            self.wait_text("form.update [role=status]", "done")
            for kind in ("curl", "kova"):
                self.run_command(self.copied(kind, "main"), value)
            self.press("Watch")
        self.assertEqual([self.service.request(each + "/level") for each in (GARDEN, HOUSE)], [11, 12])
        self.view("watched")
        for service, value in ((GARDEN, 13), (HOUSE, 14)):
            self.service.request(service + "/level", "PUT", value)
            self.wait_text(f"article[aria-label='watch of {service}/level'] .latest", str(value))
        self.view("pending")
        for service in (GARDEN, HOUSE):
            self.wait(lambda: [row for row in self.panel(service).find_elements(By.TAG_NAME, "tr")
                               if row.text.startswith("/level retrieve")], f"the request of {service}")
        self.view("watched")
        self.press("Stop all")

    def panel(self, service):
        return self.one("main").find_element(By.XPATH, f".//div[h3[normalize-space()='{service}']]")

    def test_silent_service_delays_no_other_and_is_tried_again(self):
        self.assertFalse(self.one("#notice").is_displayed())
        self.browser.execute_script("late()")
        self.wait_text("#notice", f"The resources of {SILENT} are not available: no answer within 5 s")
        self.wait_for_items(GARDEN + "/level", HOUSE + "/level", SCRIPT + "/value")
        self.view("metrics")
        self.wait(lambda: "lamps" in self.panel(HOUSE).text, "the metrics of another service")
        self.browser.execute_script("late()")
        self.wait(lambda: "not available: no answer within 5 s" in self.panel(SILENT).text, "the reason")
        self.answer(SILENT, "/.kova/resources", [{"path": "/a", "operations": []}])
        self.press("Try again", "#notice")
        self.wait_for_items(SILENT + "/a")
        self.assertFalse(self.one("#notice").is_displayed())

    def test_malformed_list_of_resources_is_reported(self):
        self.answer(SCRIPT, "/.kova/resources", [{"path": 1}])
        self.load()
        self.wait_text("#notice", f"The resources of {SCRIPT} are not available: the list is malformed")
        self.wait_for_items(GARDEN + "/level", HOUSE + "/level")

    def test_resources_are_loaded_again_after_an_error_of_the_stream(self):
        self.answer(SILENT, "/.kova/resources", [])
        self.load()
        self.open(HOUSE + "/level")
        self.press("Watch")
        self.wait_text("article", "live")
        self.answer(SILENT, "/.kova/version", {"name": "silent", "version": "1.0.0"})
        self.wait(lambda: self.script("!loading || (late(), false)"), "everything is loaded")
        self.answer(SCRIPT, "/.kova/resources", [{"path": "/new", "operations": []}])
        self.browser.execute_script("source.dispatchEvent(new Event('error'))")
        self.wait_for_items(SCRIPT + "/new")
        self.wait_text("article", "live")
        self.press("Stop watching")

    def test_schema_that_contains_itself_has_a_form_of_limited_depth(self):
        value = {"next": None}
        for _ in range(20):
            value = {"next": value}
        node = {"type": "object", "required": ["next"], "properties": {"next": {"$ref": "#/$defs/node"}}}
        self.open_form({"$ref": "#/$defs/node", "$defs": {"node": node}}, value)
        self.wait(lambda: self.one("form.update textarea").get_attribute("value") != "", "the form has the value")
        self.assertEqual(len(self.all("form.update fieldset")), 8)
        self.assertEqual(self.one("form.update textarea").accessible_name, "next")
        self.update(value)
        self.input("next").clear()
        self.input("next").send_keys("[1]")
        expected = [1]
        for _ in range(8):
            expected = {"next": expected}
        self.update(expected)

    def test_form_has_a_limited_number_of_fields(self):
        names = [f"m{i}" for i in range(10)]
        levels = {f"l{i}": {"type": "object", "required": names,
                            "properties": {name: {"$ref": f"#/$defs/l{i + 1}"} for name in names}} for i in range(10)}
        schema = {"$ref": "#/$defs/l0", "$defs": {**levels, "l10": {"type": "integer"}}}
        value = {name: {"large": name} for name in names}
        self.open_form(schema, value)
        fields = len(self.all("form.update input, form.update textarea"))
        self.assertGreater(fields, 50)
        self.assertLess(fields, 400)
        self.assertGreater(len(self.all("form.update textarea")), 0)
        self.open_form({"type": "object", "required": [f"m{i}" for i in range(5000)],
                        "properties": {f"m{i}": {"type": "integer"} for i in range(5000)}}, {"m1": 5})
        self.assertEqual(len(self.all("form.update input")), 0)
        self.wait(lambda: json.loads(self.input("value").get_attribute("value") or "0") == {"m1": 5}, "the value")
        self.type("value", '{"m2": 6}')
        self.update({"m2": 6})

    def test_large_enumeration_is_typed(self):
        self.open_form({"enum": [f"v{i}" for i in range(50000)]}, "v1")
        self.assertEqual(self.all("form.update select"), [])
        self.assertIn("one of 50000 values", self.one("form.update").text)
        self.wait(lambda: self.input("value").get_attribute("value") == "v1", "the form has the value")
        self.type("value", "v49999")
        self.update("v49999")

    def test_large_value_is_edited_as_json(self):
        value = list(range(5000))
        self.open_form({"type": "array", "items": {"type": "integer"}}, value)
        self.wait(lambda: json.loads(self.input("value").get_attribute("value") or "0") == value, "the value")
        self.input("value").send_keys(Keys.CONTROL + Keys.END)
        self.input("value").send_keys(Keys.BACKSPACE + Keys.BACKSPACE + ",7]")
        self.update([*value, 7])

    def test_malformed_schema_is_edited_as_json(self):
        for schema in ({"enum": 5}, {"type": "object", "properties": {"a": {"anyOf": {"x": 1}}}, "required": ["a"]},
                       {"$ref": "#/$ref"}, {"type": "object", "properties": {"a": None}, "required": 3}, 7):
            self.open_form(schema, {"a": 1})
            self.wait(lambda: "1" in self.one("form.update textarea").get_attribute("value"), "the form has the value")
            self.update({"a": 1})

    def test_large_value_is_shown_in_part(self):
        value = [[[i] * 100 for i in range(100)] for _ in range(100)]
        self.open_form({}, value)
        self.assertLess(self.script("document.querySelectorAll('.value *').length"), 20000)
        # A tenth of the characters of the value as JSON.
        self.assertLess(self.script("document.querySelector('.value').textContent.length"), 300000)
        self.assertEqual(self.input("value").get_attribute("value"), "")
        self.assertEqual(self.input("value").get_attribute("placeholder"), "too large to be shown")

    def test_tables_change_in_place_and_have_a_limited_number_of_rows(self):
        self.answer(SCRIPT, "/.kova/metrics", "a 1\nb 2\nc 3\n")
        self.view("metrics")
        self.wait(lambda: "b" in self.panel(SCRIPT).text, "the metrics")
        region = self.panel(SCRIPT).find_element(By.CSS_SELECTOR, ".wide")
        row = region.find_element(By.CSS_SELECTOR, "tbody tr:nth-child(2)")
        self.browser.execute_script("arguments[0].focus(); getSelection().selectAllChildren(arguments[1])", region, row)
        self.answer(SCRIPT, "/.kova/metrics", "".join(f"n{i} 1\n" for i in range(5)) + "b 22\n")
        self.wait(lambda: "n4" in region.text, "further metrics")
        self.assertEqual(self.browser.switch_to.active_element, region)
        self.assertEqual(self.script("getSelection().toString().trim().split(/\\s+/)"), ["b", "22"])
        self.assertEqual(row.text.split(), ["b", "22"])
        self.answer(SCRIPT, "/.kova/metrics", "".join(f"n{i} {i}\n" for i in range(3000)))
        self.wait(lambda: "and 2800 more" in self.panel(SCRIPT).text, "the number of the others")
        self.assertEqual(len(region.find_elements(By.CSS_SELECTOR, "tbody tr")), 200)

    def test_pending_requests_change_in_place(self):
        def calls(*paths):
            return [{"path": path, "command": "retrieve", "client": "", "ageMs": 5, "phase": "pending", "thread": 0}
                    for path in paths]

        self.answer(SCRIPT, "/.kova/pending", calls("/a", "/b", "/b"))
        self.view("pending")
        self.wait(lambda: len(self.panel(SCRIPT).find_elements(By.CSS_SELECTOR, "tbody tr")) == 3, "the requests")
        row = self.panel(SCRIPT).find_element(By.CSS_SELECTOR, "tbody tr:nth-child(2)")
        self.browser.execute_script("getSelection().selectAllChildren(arguments[0])", row)
        self.answer(SCRIPT, "/.kova/pending", calls("/b", "/c"))
        self.wait(lambda: "/c" in self.panel(SCRIPT).text, "the next requests")
        self.assertTrue(row.text.startswith("/b retrieve"))
        self.assertTrue(self.script("getSelection().toString().trim()").startswith("/b"))
        self.answer(SCRIPT, "/.kova/pending", [])
        self.wait(lambda: "no request is pending" in self.panel(SCRIPT).text, "nothing is pending")


class ClosedPageTest(PageCase):
    arguments = ("closed",)

    def test_page_works_without_the_inspection_and_says_what_is_missing(self):
        self.wait_text("#notice", "Schemas, pending requests, metrics and trace levels are not available: ")
        self.assertIn("/level", self.items())
        self.open("/level")
        self.wait_text(".value", "30")
        self.type("value", "31")
        self.press("Update", "form.update")
        self.wait_text("form.update [role=status]", "done")
        self.assertEqual(self.service.request("/level"), 31)
        self.press("Watch")
        self.wait_text("article .latest", "31")
        self.view("pending")
        self.wait_text("main", "not available: the inspection is for the endpoint's own user")


if __name__ == "__main__":
    PROGRAM, KOVA = sys.argv.pop(1), sys.argv.pop(1)
    unittest.main()
