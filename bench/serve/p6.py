# P6 of `./dev bench`: from the page's input event (a pointer move dragging a
# point of pex_ieq_bands on the DSP route) to the endpoint's write done and
# read back, as the page measures it (the event's time to the arrival of the
# write's answer on the page's WebSocket, which carries the value read back),
# over DRAGS drags in headless Chromium, pexctl serve under Wine on the
# simulated endpoint. A drag starts 0.1 s after the one before, as separate
# gestures do, so that each is measured on a page that is not still handling
# the last. For comparison, a Python client then sends the same write on a
# WebSocket of its own DRAGS times. Prints one row of the benchmark table.
#   p6.py PEXCTL PROFILE WORK-DIRECTORY DRAGS RUNNER...
import json
import os
import statistics
import sys
import time

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "tests", "pexctl", "serve"))
from served import Served, arguments, chromium, open_page, pexctl_json, ws_receive, ws_send

drags = int(sys.argv.pop(4))
pexctl, runner, work, machine = arguments()
bands = {"count": 20, "a": [500] * 20, "b": [0] * 20}
pexctl_json(runner, pexctl, machine, "--route", "dsp", "set", "pex_ieq_bands", json.dumps(bands))

server = Served(runner, pexctl, machine, "--no-save")
driver = chromium(height=1000)
try:
    open_page(driver, server)
    driver.find_element(By.CSS_SELECTOR, 'input[name="route"][value="dsp"]').click()
    for i in range(drags):
        point = driver.find_element(By.CSS_SELECTOR, f'.chart[data-parameter="pex_ieq_bands"] svg[data-field="a"] '
                                                     f'circle[data-index="{i % 20}"]')
        ActionChains(driver, duration=0).click_and_hold(point).move_by_offset(0, -20 if i % 2 else 20).release().perform()
        time.sleep(0.1)
    rows = driver.execute_script("return [...document.querySelectorAll('#log tbody tr[data-latency]')]"
                                 ".map((row) => [Number(row.dataset.latency), Number(row.dataset.server), Number(row.dataset.request)])")
    notes = [row.text for row in driver.find_elements(By.CSS_SELECTOR, "#log tbody tr:not([data-latency])")]
finally:
    driver.quit()
connection, _ = server.socket()
python = []
for i in range(drags):
    start = time.perf_counter()
    ws_send(connection, json.dumps({"number": i, "name": "pex_ieq_bands", "route": "dsp", "value": bands}))
    ws_receive(connection)
    python.append((time.perf_counter() - start) * 1000)
connection.close()
server.stop()
if notes:
    sys.exit(f"the page did not write over its WebSocket: {notes}")

latencies = sorted(row[0] for row in rows)
server_median = statistics.median(row[1] for row in rows)
request_median = statistics.median(row[2] for row in rows)
median = statistics.median(latencies)
p99 = latencies[min(len(latencies) - 1, int(round(0.99 * (len(latencies) - 1))))]
status = "met" if p99 <= 16 else "MISSED"
print(f"| P6 | page input event (drag on pex_ieq_bands, DSP route) to the write done and read back, {len(latencies)} writes "
      f"| - | {latencies[0]:.1f}-{latencies[-1]:.1f} ms | median {median:.1f} ms, p99 {p99:.1f} ms | p99 <= 16 ms | {status} "
      f"| of the median, {request_median:.1f} ms the write on the page's WebSocket (sent to answered) and "
      f"{server_median:.2f} ms of it in pexctl (the write and the read back through the DLL; a Python client's "
      f"same write on a WebSocket: {statistics.median(python):.1f} ms); the rest is the browser's delivery of the "
      f"input event to the page and of the write to the page's worker |")
