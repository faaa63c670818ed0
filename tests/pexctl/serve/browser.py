# pexctl serve's page in headless Chromium, driven as a user drives it:
# drag a point of pex_ieq_bands on the DSP route, type a scalar, undo and
# redo, edit with the keyboard alone, open and apply a snapshot, see a
# change made elsewhere, and on a read-only store see a failing write in
# words; the endpoint is checked through the API and, after the server
# ends, with pexctl on the same profile. No console message is allowed but
# the failed write's own. Screenshots stay in OUTPUT-DIRECTORY. That the server
# writes the machine back when it ends: security.py.
#   browser.py PEXCTL PROFILE OUTPUT-DIRECTORY RUNNER...
import json
import os
import sys
import time

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

sys.path.insert(0, os.path.dirname(__file__))
from served import Served, arguments, check, chromium, finish, open_page, pexctl_json, until

pexctl, runner, out, machine = arguments()


def console(driver):
    return [entry["message"] for entry in driver.get_log("browser")]


def band(server, route, field, index):
    """pex_ieq_bands' item as the endpoint holds it on a route (None when it cannot be read)."""
    value = server.value("pex_ieq_bands", route)
    return value[field][index] if value else None


def point(driver, field, index):
    return driver.find_element(By.CSS_SELECTOR, f'.chart[data-parameter="pex_ieq_bands"] svg[data-field="{field}"] '
                                                f'circle[data-index="{index}"]')


def scalar(driver, name):
    return driver.find_element(By.CSS_SELECTOR, f'#scalars tr[data-parameter="{name}"] input')


def idle(driver):
    """No write waiting: the log's newest rows stay as they are for a poll."""
    rows = lambda: driver.execute_script("return document.querySelectorAll('#log tbody tr').length")
    before = rows()
    time.sleep(0.5)
    return rows() == before


# A machine with a tuning to start from.
ieq = {"count": 20, "a": [100 * (i + 1) for i in range(20)], "b": [-i for i in range(20)]}
pexctl_json(runner, pexctl, machine, "--route", "both", "set", "pex_ieq_bands", json.dumps(ieq))
pexctl_json(runner, pexctl, machine, "--route", "both", "set", "pex_postgain", "-5")

server = Served(runner, pexctl, machine)
driver = chromium()
try:
    open_page(driver, server)
    driver.find_element(By.CSS_SELECTOR, 'input[name="route"][value="dsp"]').click()

    # Drag band 6 of field a up on the DSP route; the store keeps its value.
    dot = point(driver, "a", 5)
    ActionChains(driver).click_and_hold(dot).move_by_offset(0, -30).move_by_offset(0, -30).release().perform()
    shown = lambda: int(point(driver, "a", 5).get_attribute("aria-label").split(": ")[1])
    until(lambda: idle(driver) and band(server, "dsp", "a", 5) == shown(),
          "the DSP holds the dragged value the page shows")
    dragged = shown()
    check(dragged > 600, f"the drag moved band 6 from 600 to {dragged} only")
    check(band(server, "store", "a", 5) == 600, "the drag wrote the store route too")
    check(driver.find_element(By.CSS_SELECTOR, "#log tbody tr").get_attribute("data-parameter") == "pex_ieq_bands",
          "the drag is not in the write log")

    # Type a scalar; undo and redo it with the keys.
    field = scalar(driver, "pex_postgain")
    field.clear()
    field.send_keys("-7", Keys.ENTER)
    until(lambda: server.value("pex_postgain", "dsp") == -7, "pex_postgain -7 typed reaches the DSP")
    ActionChains(driver).key_down(Keys.CONTROL).send_keys("z").key_up(Keys.CONTROL).perform()
    until(lambda: server.value("pex_postgain", "dsp") == -5, "Ctrl+Z puts pex_postgain back to -5")
    ActionChains(driver).key_down(Keys.CONTROL).key_down(Keys.SHIFT).send_keys("z").key_up(Keys.SHIFT) \
        .key_up(Keys.CONTROL).perform()
    until(lambda: server.value("pex_postgain", "dsp") == -7, "Ctrl+Shift+Z writes -7 again")

    # The keyboard alone: Tab from the route switch to the first point of pex_ieq_bands a,
    # Right twice, Up three times.
    driver.find_element(By.CSS_SELECTOR, 'input[name="route"][value="dsp"]').click()
    active = lambda: driver.execute_script(
        "const e = document.activeElement; return e && e.matches('.chart[data-parameter=pex_ieq_bands] "
        "svg[data-field=a] circle') ? e.dataset.index : null")
    for _ in range(40):
        if active() is not None:
            break
        ActionChains(driver).send_keys(Keys.TAB).perform()
    check(active() == "0", f"Tab reaches the first band of pex_ieq_bands a (focus: {active()})")
    ActionChains(driver).send_keys(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT, Keys.ARROW_UP, Keys.ARROW_UP,
                                   Keys.ARROW_UP).perform()
    until(lambda: band(server, "dsp", "a", 2) == 303, "arrow keys make band 3 303")

    # A change made elsewhere shows within the poll.
    server.api("PUT", "param/pex_postgain?route=dsp", {"value": -9})
    until(lambda: driver.find_element(By.CSS_SELECTOR, '#scalars tr[data-parameter="pex_postgain"] td.dsp').text == "-9",
          "a write by another client shows on the page", seconds=5)

    # A snapshot opened (its curve overlaid) and applied; one that does not fit changes nothing.
    status, snapshot = server.api("GET", "snapshot?route=both")
    for entry in snapshot["parameters"]:
        if entry["name"] == "pex_postgain":
            entry["value"] = -3
        if entry["name"] == "pex_ieq_bands" and entry["route"] == "dsp":
            entry["value"]["b"] = [-2 * i for i in range(20)]
    good, bad = os.path.join(out, "snapshot.json"), os.path.join(out, "bad-snapshot.json")
    with open(good, "w") as file:
        json.dump(snapshot, file)
    with open(bad, "w") as file:
        json.dump({**snapshot, "parameters": [{**snapshot["parameters"][0], "id": 99999}]}, file)
    driver.find_element(By.ID, "open").send_keys(bad)
    until(lambda: not driver.find_element(By.ID, "apply").get_attribute("disabled"), "the bad snapshot opened")
    driver.find_element(By.ID, "apply").click()
    until(lambda: "nothing was written" in driver.find_element(By.ID, "snapshot-status").text,
          "a snapshot that does not fit is refused in words")
    check(server.value("pex_postgain", "dsp") == -9, "the refused snapshot wrote pex_postgain")
    driver.find_element(By.ID, "open").send_keys(good)
    until(lambda: driver.find_element(By.CSS_SELECTOR, '.chart[data-parameter="pex_ieq_bands"] svg[data-field="b"] '
                                                       'path.overlay').get_attribute("d"), "the snapshot's curve is drawn")
    driver.find_element(By.ID, "apply").click()
    until(lambda: server.value("pex_postgain", "dsp") == -3 and server.value("pex_postgain", "store") == -3,
          "applying the snapshot writes pex_postgain on both routes")
    check(band(server, "dsp", "b", 19) == -38, "applying wrote pex_ieq_bands b")
    until(lambda: "written" in driver.find_element(By.ID, "snapshot-status").text, "the apply is reported")
    driver.execute_script("document.activeElement.blur(); window.scrollTo(0, 0)")
    driver.save_screenshot(os.path.join(out, "serve-page.png"))
    # The refused snapshot's 400 is the browser's own note of it; nothing else may show.
    messages = [m for m in console(driver) if not ("/api/apply" in m and "status of 400" in m)]
    check(not messages, f"console messages: {messages}")
    notes = [row.text for row in driver.find_elements(By.CSS_SELECTOR, "#log tbody tr:not([data-latency])")]
    check(not notes, f"the page's writes left its WebSocket: {notes}")
finally:
    driver.quit()
check(server.stop() == 0, "pexctl serve did not end with 0")

# A read-only store: the failing write shows its words in place and in the log.
readonly = Served(runner, pexctl, machine, "--no-save", "--device", "line")
driver = chromium()
try:
    open_page(driver, readonly)
    field = scalar(driver, "pex_postgain")
    field.clear()
    field.send_keys("4", Keys.ENTER)
    error = lambda: driver.find_element(By.CSS_SELECTOR, '#scalars tr[data-parameter="pex_postgain"] td.error').text
    until(lambda: "read-only" in error(), "the failed write says the store is read-only")
    check("0x" in error(), f"the failed write names no HRESULT: {error()!r}")
    check("failed" in driver.find_element(By.CSS_SELECTOR, "#log tbody tr").get_attribute("class"),
          "the failed write is not marked in the log")
    driver.save_screenshot(os.path.join(out, "serve-failed-write.png"))
    messages = [m for m in console(driver) if "status of 502" not in m]
    check(not messages, f"console messages beyond the failed write's: {messages}")
finally:
    driver.quit()
check(readonly.stop() == 0, "pexctl serve on the line out did not end with 0")

finish(f"the page works; screenshots in {out}")
