"""dryrun.html, opened from a file: address in Chromium, shows what the program predicts."""

import json
import re

import pytest
from selenium import webdriver
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

from conftest import outcome_of, without_lines
from machines import ACTIONS, MACHINES, NEW_PRODUCT, QVR_CODE, TANGLED, TWO_PRODUCTS, UPDATE, update_for

DROP = """
const transfer = new DataTransfer();
for (const [name, bytes] of arguments[1]) {
    transfer.items.add(new File([new Uint8Array(bytes)], name));
}
for (const type of ["dragenter", "dragover", "drop"]) {
    arguments[0].dispatchEvent(new DragEvent(type, {bubbles: true, cancelable: true, dataTransfer: transfer}));
}
"""


@pytest.fixture(scope="session")
def browser(tmp_path_factory):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("headless=new", "no-sandbox", "disable-gpu", "no-first-run", "disable-background-networking",
                     "disable-component-update", "disable-sync", "window-size=1400,1000",
                     f"user-data-dir={tmp_path_factory.mktemp('profile')}"):
        options.add_argument(f"--{argument}")
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    driver = webdriver.Chrome(options=options, service=webdriver.chrome.service.Service("/usr/bin/chromedriver"))
    yield driver
    driver.quit()


class Page:
    def __init__(self, driver, address, downloads):
        self.driver = driver
        self.downloads = downloads
        driver.execute_cdp_cmd("Browser.setDownloadBehavior",
                               {"behavior": "allow", "downloadPath": str(downloads)})
        driver.get(address)

    def find(self, name):
        return self.driver.find_element(By.ID, name)

    def wait(self, condition):
        return WebDriverWait(self.driver, 60, 0.05).until(lambda _: condition())

    def drop(self, target="machine", **files):
        """Drops files, in which "_json" at the end of a name is ".json"."""
        listed = [(name.replace("_json", ".json"), list(text if isinstance(text, bytes) else text.encode()))
                  for name, text in files.items()]
        self.driver.execute_script("delete document.getElementById('product-list').dataset.facts")
        self.driver.execute_script(DROP, self.find(target), listed)
        self.wait(lambda: self.text("#machine .name" if target == "machine" else "#overlay .name") == listed[0][0])

    def text(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector).get_property("textContent")

    def texts(self, selector):
        return [found.get_property("textContent") for found in self.driver.find_elements(By.CSS_SELECTOR, selector)]

    def choose(self, name, value):
        self.wait(lambda: value in [option.get_attribute("value") for option in
                                    self.find(name).find_elements(By.TAG_NAME, "option")])
        self.driver.execute_script("arguments[0].value = arguments[1];"
                                   "arguments[0].dispatchEvent(new Event('change', {bubbles: true}))",
                                   self.find(name), value)

    def set_properties(self, properties):
        for each in properties:
            name, value = each.split("=", 1)
            known = self.driver.find_elements(By.CSS_SELECTOR, f'#properties input[aria-label="{name}"]')
            if known:
                known[0].send_keys(value)
                continue
            self.find("add-property").click()
            self.driver.switch_to.active_element.send_keys(name + Keys.TAB + value)

    def request(self, action, properties):
        """Chooses the action and what it is given, as a list of NAME=VALUE."""
        self.choose("action", action)
        if action != "SetLatestQvr":
            self.set_properties(properties)
            return
        data = properties[0].removeprefix("CustomActionData=")
        code = re.match(r"ProductCode=(\{\S+\}) ?", data)
        self.wait(lambda: self.find("product-list").get_attribute("data-facts"))
        known = [option.get_attribute("value") for option in self.find("installed").find_elements(By.TAG_NAME, "option")]
        self.choose("installed", code[1] if code and code[1] in known else "")
        self.find("more").send_keys(data[code.end():] if code and code[1] in known else data)

    def run(self):
        """Runs the action and returns what the page shows as JSON, without the lines in the log."""
        self.driver.execute_script("document.getElementById('outcome').replaceChildren()")
        self.find("run").send_keys(Keys.ENTER)
        self.wait(lambda: self.driver.find_elements(By.ID, "json"))
        return outcome_of(self.text("#json"))

    def saved(self, button, name):
        self.find(button).click()
        path = self.downloads / name
        self.wait(path.exists)
        return path.read_text(encoding="utf-8")


@pytest.fixture
def shown(browser, page, tmp_path):
    downloads = tmp_path / "downloads"
    downloads.mkdir()
    opened = Page(browser, page.as_uri(), downloads)
    yield opened
    assert [entry for entry in browser.get_log("browser") if entry["level"] == "SEVERE"] == []


def put(tmp_path, name, description):
    text = json.dumps(description)
    (tmp_path / name).write_text(text)
    return text


@pytest.mark.parametrize("name", MACHINES)
def test_machines(shown, predicted, tmp_path, name):
    description, code = MACHINES[name]
    shown.drop(machine_json=put(tmp_path, "machine.json", description))
    action, *properties = update_for(code)
    shown.request(action, properties)
    assert shown.run() == predicted("machine.json", action, *properties)


@pytest.mark.parametrize("action", ACTIONS)
def test_actions(shown, predicted, tmp_path, action):
    shown.drop(machine_json=put(tmp_path, "machine.json", TWO_PRODUCTS))
    shown.request(action, ACTIONS[action])
    assert shown.run() == predicted("machine.json", action, *ACTIONS[action])


def test_machines_of_the_predicted_tier(shown, native, tmp_path, predictions):
    """Real machines under Wine, as describe wrote them; the tier leaves them where it has run. What the simulated
    machine doesn't support ends both with the same message."""
    calls = sorted(predictions.glob("*.json"))
    if not calls:
        pytest.skip(f"the predicted tier has left no machine in {predictions}")
    different = []
    for path in calls:
        call = json.loads(path.read_text(encoding="utf-8"))
        shown.driver.refresh()
        shown.drop(machine_json=put(tmp_path, "machine.json", call["machine"]))
        # To the installer an empty property is one that isn't set, and the page leaves it out.
        properties = [given for given in call["properties"] if not given.endswith("=")]
        shown.request(call["action"], properties)
        finished = native("--json", "machine.json", call["action"], *properties)
        if finished.stdout == b"":
            shown.find("run").send_keys(Keys.ENTER)
            shown.wait(lambda: shown.texts(".failure") == [finished.stderr.decode().strip()])
        elif shown.run() != outcome_of(finished.stdout):
            different.append(path.name)
    assert different == []


def test_second_description_and_removed_product(shown, predicted, tmp_path):
    machine, new = put(tmp_path, "machine.json", TWO_PRODUCTS), put(tmp_path, "new.json", NEW_PRODUCT)
    shown.drop(machine_json=machine, new_json=new)
    shown.wait(lambda: shown.driver.find_elements(By.ID, f"product-{QVR_CODE}"))
    shown.find(f"product-{QVR_CODE}").send_keys(Keys.SPACE)
    shown.wait(lambda: QVR_CODE not in shown.find("installed").get_property("innerHTML"))
    added = shown.find("installed").find_elements(By.TAG_NAME, "option")[-1].get_attribute("value")
    data = f"CustomActionData=ProductCode={added}"
    shown.request("SetLatestQvr", [data])
    assert shown.run() == predicted("machine.json", "SetLatestQvr", data, "--remove", QVR_CODE, "--add", "new.json")


def test_every_change_is_shown(shown, tmp_path):
    shown.drop(machine_json=put(tmp_path, "machine.json", TANGLED))
    shown.request(UPDATE[0], UPDATE[1:])
    changes = shown.run()["changes"]
    assert len(shown.texts(".changes tr:not(.place) th[scope=row]")) == len(changes)
    for column in ("before", "after"):
        texts = [text.replace(";\n", ";") for text in shown.texts(f".changes td.{column}")]
        assert sorted(text for text in texts if text not in ("", "empty")) == sorted(
            change[column] for change in changes if change[column] != "")


def test_saved_page_and_machine(shown, native, tmp_path):
    shown.drop(machine_json=put(tmp_path, "machine.json", TWO_PRODUCTS))
    shown.request(UPDATE[0], UPDATE[1:])
    shown.run()
    assert native("machine.json", *UPDATE, "--html", "page.html", "--after", "after.json").returncode == 0
    page = shown.saved("save-page", "SetLatestQvr.html")
    assert without_lines(page) == without_lines((tmp_path / "page.html").read_text(encoding="utf-8"))
    assert shown.saved("save-machine", "machine-after.json") == (tmp_path / "after.json").read_text(encoding="utf-8")


@pytest.mark.parametrize("text, line, selected", [
    ('{\n "products": [\n  {"type": "QVR",\n   "version": "1.8.0_451-b10",\n   "bits": 16}]}', 5, "16"),
    ('{\n "files": {\n  "C:\\\\x": {"sise": 3}}}', 3, '"sise"'),
    ('{\n "products": [}', 2, "}"),
], ids=["value", "name", "syntax"])
def test_errors_are_shown_at_their_place(shown, text, line, selected):
    shown.drop(machine_json=text)
    shown.wait(lambda: shown.find("machine-error").is_displayed())
    goto = shown.driver.find_element(By.CSS_SELECTOR, "#machine-error .goto")
    assert goto.text == f"Go to line {line}"
    goto.send_keys(Keys.ENTER)
    assert shown.driver.execute_script("return getSelection().toString()") == selected


@pytest.mark.parametrize("encoding", ["utf-8-sig", "utf-16"])
def test_encodings(shown, predicted, tmp_path, encoding):
    encoded = json.dumps(TWO_PRODUCTS).encode(encoding)
    (tmp_path / "machine.json").write_bytes(encoded)
    shown.drop(machine_json=encoded)
    shown.request(UPDATE[0], UPDATE[1:])
    assert shown.run() == predicted("machine.json", *UPDATE)


def test_the_keyboard_is_enough(shown, predicted, tmp_path):
    """From the top of the page by Tab, Space, Enter and letters alone."""
    keys = webdriver.ActionChains(shown.driver)
    put(tmp_path, "machine.json", {"products": []})

    def tab_to(name):
        for _ in range(40):
            keys.send_keys(Keys.TAB).perform()
            if shown.driver.switch_to.active_element.get_attribute("id") == name:
                return
        raise AssertionError(f"Tab never reaches {name}")

    tab_to("machine-editor")
    keys.key_down(Keys.CONTROL).send_keys("a").key_up(Keys.CONTROL).send_keys('{"products": []}').perform()
    tab_to("action")
    keys.send_keys("MSIIs").perform()
    tab_to("run")
    keys.send_keys(Keys.ENTER).perform()
    shown.wait(lambda: shown.driver.find_elements(By.ID, "json"))
    assert outcome_of(shown.text("#json")) == predicted("machine.json", "MSIIsLocalSystemSupported")


def test_nothing_is_fetched(shown, tmp_path):
    shown.drop(machine_json=put(tmp_path, "machine.json", TWO_PRODUCTS))
    shown.run()
    fetched = shown.driver.execute_script("return performance.getEntriesByType('resource').map(entry => entry.name)")
    assert [address for address in fetched if not address.startswith("blob:")] == []
