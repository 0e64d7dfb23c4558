#!/usr/bin/python3
# Measures what the page costs while it watches numbers that change ten times a second, with the system's
# own counts: page_load.py PROGRAM COUNT, where the program is built from page_service.cpp.
import glob
import os
import subprocess
import sys
import time

from selenium import webdriver

SECONDS = 30
TICKS = os.sysconf("SC_CLK_TCK")
RECEIVED = "return [...watches.values()].reduce((sum, own) => sum + own.count, 0)"


def processor_time(process):
    fields = open(f"/proc/{process}/stat").read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / TICKS


def memory(process):
    status = dict(line.split(":", 1) for line in open(f"/proc/{process}/status"))
    return f"{status['VmRSS'].strip()}, of which {status['RssAnon'].strip()} are its own"


def below(parent):
    for name in glob.glob("/proc/[0-9]*/stat"):
        process = int(name.split("/")[2])
        try:
            if int(open(name).read().rsplit(")", 1)[1].split()[1]) == parent:
                yield process
                yield from below(process)
        except OSError:  # it has ended
            pass


def renderers(browser):
    return [process for process in below(browser.service.process.pid)
            if "--type=renderer" in open(f"/proc/{process}/cmdline").read()]


def main(program, count):
    service = subprocess.Popen([program, "0"], stdout=subprocess.PIPE, text=True)
    port = service.stdout.readline().strip().rsplit(":", 1)[1]
    options = webdriver.ChromeOptions()
    for argument in ("--headless", "--no-sandbox", "--disable-dev-shm-usage", "--no-proxy-server",
                     "--window-size=1100,800"):
        options.add_argument(argument)
    browser = webdriver.Chrome(options=options)
    try:
        print("server alone:", memory(service.pid))
        start = processor_time(service.pid)
        time.sleep(SECONDS)
        alone = processor_time(service.pid) - start
        browser.get(f"http://127.0.0.1:{port}/")
        browser.execute_script("for (let i = 0; i < arguments[0]; ++i) watch('/ticks/' + i);"
                               "location.hash = '#!watched'", count)
        time.sleep(5)
        processes = renderers(browser)
        before = [processor_time(process) for process in processes]
        start, received, begin = processor_time(service.pid), browser.execute_script(RECEIVED), time.monotonic()
        time.sleep(SECONDS)
        values = browser.execute_script(RECEIVED) - received
        passed = time.monotonic() - begin
        used = [processor_time(process) - was for process, was in zip(processes, before)]
        print("server with the page:", memory(service.pid))
        print(f"values a second: {values / passed:.0f}")
        print(f"page: {100 * max(used) / passed:.1f} % of a core")
        print(f"server: {100 * (processor_time(service.pid) - start) / passed:.2f} % of a core, "
              f"alone {100 * alone / SECONDS:.2f} %")
    finally:
        browser.quit()
        service.kill()


if __name__ == "__main__":
    main(sys.argv[1], int(sys.argv[2]))
