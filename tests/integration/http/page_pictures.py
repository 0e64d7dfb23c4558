#!/usr/bin/python3
# Makes the pictures of docs/page.md with a headless browser: page_pictures.py PROGRAM FOLDER, where the
# program is the example device_service.
import os
import re
import subprocess
import sys
import tempfile
import time

from selenium import webdriver
from selenium.webdriver.common.by import By

LIMIT = 60  # seconds
WATCHED = ("/system/memory", "/system/load", "/clock", "/system/uptime")


def wait(condition):
    deadline = time.monotonic() + LIMIT
    while not condition():
        if time.monotonic() > deadline:
            sys.exit("the page does not show what is expected")
        time.sleep(0.1)


def start_service(program, folder):
    service = subprocess.Popen([program, "--inspect", "--port", "0", "--interval", "200", "--store", folder + "/store"],
                               env={**os.environ, "KOVA_RUNTIME_DIR": folder}, stdout=subprocess.PIPE, text=True)
    return service, re.search(r"http://[\d.:]+", service.stdout.readline()).group()


def make_picture(browser, url, size, show, name):
    browser.set_window_size(*size)
    browser.get("about:blank")
    browser.get(url)
    wait(lambda: browser.find_elements(By.CSS_SELECTOR, "[role=treeitem]"))
    show(browser)
    if not browser.save_screenshot(name):
        sys.exit("cannot write " + name)


def fill_form(browser):
    wait(lambda: browser.execute_script("const input = document.querySelector('form.update input'); "
                                        "return input && input.value !== ''"))
    field = browser.find_element(By.CSS_SELECTOR, "form.update input")
    field.clear()
    field.send_keys("300")
    browser.find_element(By.CSS_SELECTOR, "form.update button[type=submit]").click()
    wait(lambda: browser.find_elements(By.CSS_SELECTOR, "form.update [aria-invalid]"))
    browser.execute_script("document.querySelector('form.update details').open = true; document.activeElement.blur()")


def watch_all(browser):
    browser.execute_script("for (const each of arguments[0]) watch(each); location.hash = '#!watched'", WATCHED)
    wait(lambda: browser.execute_script("return [...watches.values()].every(own => own.count >= 100)"))
    wait(lambda: browser.execute_script("return [...watches.values()].every(own => !own.dirty || !own.isVisible)"))


def main(program, folder):
    options = webdriver.ChromeOptions()
    for argument in ("--headless", "--no-sandbox", "--disable-dev-shm-usage", "--no-proxy-server"):
        options.add_argument(argument)
    with tempfile.TemporaryDirectory() as place:
        service, url = start_service(program, place)
        browser = webdriver.Chrome(options=options)
        try:
            make_picture(browser, url + "/#/volume", (900, 720), fill_form, folder + "/page-form.png")
            make_picture(browser, url + "/", (1040, 640), watch_all, folder + "/page-watched.png")
        finally:
            browser.quit()
            service.terminate()
            service.wait()


main(sys.argv[1], sys.argv[2])
