#!/usr/bin/python3
# Uses the page of an endpoint with a headless browser: page.py PROGRAM, where the program is built from
# page_service.cpp.
import json
import subprocess
import sys
import time
import unittest
import urllib.error
import urllib.request

from selenium import webdriver
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

LIMIT = 60  # seconds
SCRIPT_NAME = "<script>hacked = 1<script><img src=x onerror='hacked = 1'>"
QUOTES_NAME = "\"quotes\" & 'quotes' `$(id)`"
RIGHT_TO_LEFT = "\u202e\u05e9\u05dc\u05d5\u05dd \u05e2\u05d5\u05dc\u05dd"


class Service:
    def __init__(self, port="0", *arguments):
        self.process = subprocess.Popen([PROGRAM, str(port), *arguments], stdout=subprocess.PIPE, text=True)
        self.port = self.process.stdout.readline().strip().rsplit(":", 1)[1]
        self.url = "http://127.0.0.1:" + self.port

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
                     "--window-size=1100,800"):
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
        cls.service = Service("0", *cls.arguments)

    @classmethod
    def tearDownClass(cls):
        cls.service.stop()

    def setUp(self):
        self.browser.get("about:blank")
        self.browser.get_log("browser")
        self.browser.get(self.service.url + "/")
        self.wait(lambda: self.items(), "the tree is shown")

    def tearDown(self):
        # The browser itself logs each answer that is an error, and each lost connection.
        errors = [entry for entry in self.browser.get_log("browser") if entry["source"] != "network"]
        self.assertEqual(errors, [])
        self.assertFalse(self.browser.execute_script("return 'hacked' in window"))
        self.assertEqual(self.all("main img, main script, #tree img, #tree script"), [])

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
        self.wait_text(level + "output", "20")
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
        self.wait_text("article output", str(self.service.request("/level")))
        for orderly, value in ((False, 77), (True, 78)):
            self.service.stop(orderly)
            self.wait_text("#connection", "connection lost")
            self.wait_text("article", "connection lost")
            type(self).service = Service(self.service.port)
            self.wait_text("#connection", "connected again")
            self.service.request("/level", "PUT", value)
            self.wait_text("article output", str(value))
            self.wait_text("article", "live")
        self.assertEqual(self.input("value").get_attribute("value"), "typed")

    def test_hostile_names_and_values_are_text(self):
        names = [item.text for item in self.all("[role=treeitem]")]
        for name in (SCRIPT_NAME, QUOTES_NAME, RIGHT_TO_LEFT):
            self.assertIn(name, names)
            self.open("/names/" + name)
            self.wait_text(".value", name)
            self.assertEqual(self.script("getComputedStyle(document.querySelector('h2 bdi')).unicodeBidi"), "isolate")
            self.run_command(self.command("curl", "main"), {name: name})
        self.open("/text")
        self.wait_text(".value", self.service.request("/text"))

    def run_command(self, command, expected):
        output = subprocess.run(["bash", "-c", command + " -s --noproxy '*'"], stdout=subprocess.PIPE,
                                timeout=LIMIT, check=True).stdout
        self.assertEqual(json.loads(output or "null"), expected)

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
        self.wait_text("article output", "31")
        self.view("pending")
        self.wait_text("main", "not available: the inspection is for the endpoint's own user")


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()
