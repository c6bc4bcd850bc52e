"""report_test.py PROGRAMS SOURCES: the page of `ksrbac report` in a headless browser, held to what the tool says.

The options of unittest may follow, such as -k Hostile. KEEPSAFE_TEST_PICTURES=FOLDER keeps pictures of the page."""

import os
import pathlib
import random
import re
import subprocess
import sys
import time
import unittest

from browser import Browser
from installation import Installation
from page import Page

PROGRAMS, SOURCES = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
COMPANY = SOURCES / "examples/policies/company.json"
DECISIONS = SOURCES / "examples/policies/company-decisions.tsv"
VIEW, RESTORE = "|OPERATIONS|VIEW|", "|OPERATIONS|RESTORE|"
HR = "|KEEPSAFE|ASSETS|databases|hr-prod|"
SECONDS_TO_OPEN = 15  # of 100,000 objects, on a machine that has other work; docs/report.md has figures

browser = None


def setUpModule():
    global browser
    browser = Browser()


def tearDownModule():
    browser.close()


def company_names():
    roles = {10: "Backup administrator", 11: "Backup operator", 17: "Restore operator", 31: "Auditor", 40: "Helpdesk"}
    return "".join(f"{role}\t{name}\n" for role, name in roles.items())


class PageTest(unittest.TestCase):
    """Each test class has one installation. No test leaves anything that the browser complains about."""

    @classmethod
    def setUpClass(cls):
        cls.installation = Installation(PROGRAMS)
        cls.addClassCleanup(cls.installation.close)
        cls.set_up()

    def setUp(self):
        browser.resize(1280, 900)
        browser.emulate()
        self.page = Page(browser, self.path)

    def tearDown(self):
        self.assertEqual(self.page.complaints(), [])

    def assert_answers_as_the_tool(self, cache, groups):
        """`groups` are (roles, operation, objects). Asks the page and the tool; returns how often it was allowed."""
        asked, expected = [], []
        for roles, operation, objects in groups:
            asked += [(roles, operation, each) for each in objects]
            expected += self.installation.explain(cache, roles, operation, objects)
        answers = self.page.ask(asked)
        self.assertEqual(len(answers), len(expected))
        for question, answer, right in zip(asked, answers, expected):
            self.assertEqual(answer, {"error": "", "verdict": "Allowed" if right["allowed"] else "Denied",
                                      "reason": right["reason"], "path": right["path"]}, question)
        return {right["reason"] for right in expected}

    def keep_picture(self, name):
        folder = os.environ.get("KEEPSAFE_TEST_PICTURES")
        if folder:
            (pathlib.Path(folder) / f"{name}.png").write_bytes(browser.screenshot())


def processes_with(text):
    """The processes that have the text among their arguments or in their environment."""
    found = []
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if text.encode() in (process / "cmdline").read_bytes() + (process / "environ").read_bytes():
                found.append(process.name)
        except OSError:  # it has ended
            pass
    return found


class KilledRun(unittest.TestCase):
    def test_leaves_no_browser_behind(self):
        run = subprocess.Popen(
            [sys.executable, "-c", "import browser; print(browser.Browser().folder, flush=True); input()"],
            cwd=pathlib.Path(__file__).parent, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        folder = run.stdout.readline().strip()
        self.assertGreater(len(processes_with(folder)), 2)
        run.kill()
        run.communicate()
        end = time.monotonic() + 60
        while (processes_with(folder) or os.path.exists(folder)) and time.monotonic() < end:
            time.sleep(0.01)
        self.assertEqual(processes_with(folder), [])
        self.assertFalse(os.path.exists(folder))


class Company(PageTest):
    @classmethod
    def set_up(cls):
        cls.installation.compile("company", COMPANY)
        names = cls.installation.folder / "names"
        names.write_text(company_names(), encoding="utf-8")
        cls.path = cls.installation.report("company", "--title", "Example company", "--role-names-from", names)

    def test_decides_what_the_table_of_decisions_says(self):
        rows = [line.split("\t") for line in DECISIONS.read_text(encoding="utf-8").splitlines()
                if line and not line.startswith("#")]
        answers = self.page.ask([(row[0].split(","), row[1], row[2]) for row in rows])
        self.assertGreater(len(rows), 20)
        for row, answer in zip(rows, answers):
            self.assertEqual(answer["verdict"], {"allow": "Allowed", "deny": "Denied"}[row[3]], row)

    def test_says_why_as_the_tool_does(self):
        objects = self.installation.names("company")
        objects = sorted(set(objects)) + ["|", "|KEEPSAFE|ASSETS|vms|new|disk|", "|ELSEWHERE|", "|KEEPSAFE|ASSETS|a+b%7c|"]
        groups = [(roles, operation, objects) for roles in ([], [0, 3], [17], [11, 40], [31], [-7, 99])
                  for operation in (VIEW, RESTORE, "|OPERATIONS|NO_SUCH|")]
        reasons = self.assert_answers_as_the_tool("company", groups)
        self.assertEqual(reasons, {"granted", "granted-by-ancestor", "role-0", "unknown-operation", "no-roles",
                                   "inheritance-off", "not-granted"})

    def test_finds_an_object_and_shows_it_by_keys_alone(self):
        self.page.search("hr-pr")
        self.assertEqual(browser.text("#found-status"), "1 object found")
        browser.press("Enter")
        self.assertEqual(self.page.shown_object(), "hr-prod")
        self.assertEqual(self.page.focused(), "tree")
        self.assertIn("hr-prod", self.page.active_row())
        self.assertIn("cut", self.page.active_row())
        self.assertIn("Inheritance is cut here", browser.text("#panel-object"))
        browser.press("Up")
        self.assertNotEqual(self.page.shown_object(), "hr-prod")

    def test_walks_the_tree_by_keys(self):
        browser.press("Home")
        self.assertEqual(self.page.active_row(), "| root not in the cache")
        browser.press("Down")
        self.assertIn("KEEPSAFE", self.page.active_row())
        browser.press("Left", "Left")
        self.assertIn("root", self.page.active_row())
        browser.press("Right", "Right")
        self.assertIn("KEEPSAFE", self.page.active_row())
        browser.press("End")
        self.assertEqual(self.page.active_row(), self.page.rows()[-1].replace("\n", " "))
        browser.press("Home", "s")
        self.assertEqual(self.page.active_row()[0].lower(), "s")
        browser.press("Enter")
        self.assertEqual(self.page.focused(), "panel-object")

    def test_opens_and_selects_rows_by_the_pointer(self):
        browser.press("Home", "Down", "Left")
        self.assertEqual(len(self.page.rows()), 2)
        browser.click("#node-1 .twisty")
        self.assertGreater(len(self.page.rows()), 5)
        row = next(number for number, text in enumerate(self.page.rows()) if text.startswith("ASSETS"))
        browser.click(f"#tree-rows .row:nth-child({row + 1}) .label")
        self.assertEqual(self.page.shown_object(), "ASSETS")

    def test_matrix_has_what_each_role_may_do(self):
        bits = self.installation.operations()
        for item in ("|KEEPSAFE|", "|KEEPSAFE|ASSETS|", "|KEEPSAFE|ASSETS|vms|web-01|", HR):
            self.page.search(item)
            browser.press("Enter")
            shown = {(role, bit) for role, bit in self.page.matrix()}
            expected = {(role, bits[operation]) for role in (10, 11, 17, 20, 30, 31, 40, 50)
                        for operation in self.installation.may("company", role, item)}
            self.assertEqual(shown, expected, item)

    def test_cell_of_the_matrix_asks_why(self):
        self.page.search("|assets|vms|web-01|")
        browser.press("Enter", "Enter")
        browser.click('.matrix td[data-role="17"].above')
        self.assertEqual(browser.text(".verdict .word"), "Allowed")
        self.assertEqual(browser.text(".verdict .reason"), "granted-by-ancestor")
        self.assertIn("|KEEPSAFE|ASSETS| grants it on everything below it", browser.text("#answer"))
        browser.click("#answer .path li:last-child button")
        self.assertEqual(self.page.shown_object(), "ASSETS")
        self.assertEqual(self.page.focused(), "panel-object")

    def test_moves_in_the_matrix_by_keys(self):
        self.page.search("|assets|vms|web-01|")
        browser.press("Enter")
        browser.run("document.querySelector('.matrix [tabindex=\"0\"]').focus()")
        browser.press("Right", "Down", "Enter")
        cell = browser.run("""const row = document.querySelectorAll('.matrix tbody tr')[1];
            return [row.children[2].dataset.role, row.querySelector('th').innerText]""")
        self.assertEqual(browser.run("return document.getElementById('why-roles').value"), cell[0])
        self.assertEqual(self.page.focused(), "answer")

    def test_takes_names_of_roles_and_last_components_of_operations(self):
        answer = self.page.ask([(["restore operator"], "restore", "|KEEPSAFE|ASSETS|vms|web-01|")])[0]
        self.assertEqual((answer["verdict"], answer["reason"]), ("Allowed", "granted-by-ancestor"))

    def test_refuses_what_is_not_a_question(self):
        good = ([17], VIEW, HR)
        for place, wrong in ((0, ["x"]), (0, ["2147483648"]), (0, ["1", ""]), (1, "|OPERATIONS|VIEW"), (1, "NO_SUCH"),
                             (2, "|KEEPSAFE|%4|"), (2, "KEEPSAFE"), (2, "")):
            question = [wrong if at == place else part for at, part in enumerate(good)]
            answer = self.page.ask([question])[0]
            self.assertNotEqual(answer["error"], "", question)
            self.assertIsNone(answer["verdict"])

    def test_form_is_filled_in_and_sent_by_keys(self):
        browser.click("#tab-why")
        browser.press("Tab", "11, 40", "Tab", RESTORE, "Tab")
        browser.run("document.getElementById('why-object').value = ''")
        browser.press("|KEEPSAFE|ASSETS|vms|web-01|", "Enter")
        self.assertEqual(browser.text(".verdict .word"), "Denied")

    def test_shows_beside_each_object_what_a_role_may_do(self):
        browser.run("""const select = document.getElementById('role');
            select.value = '17';
            select.dispatchEvent(new Event('change'))""")
        self.page.search("|assets|vms|web-01|")
        browser.press("Enter")
        shown = re.sub(r"^\S+ ", "", self.page.active_row())
        expected = self.installation.may("company", 17, "|KEEPSAFE|ASSETS|vms|web-01|")
        self.assertEqual(sorted(f"|OPERATIONS|{each}|" for each in shown.split(", ")), expected)

    def test_says_what_it_is_about(self):
        facts = browser.text("#facts")
        for part in ("Cache company, generation 1, written 20", "38 objects", "32 access definitions", "20 operations"):
            self.assertIn(part, facts)
        self.assertRegex(browser.text("#bottom"), r"Made by ksrbac \d+\.\d+\.\d+")
        self.assertEqual(browser.text("h1"), "Example company")

    def test_tabs_and_order_of_focus_suit_a_keyboard(self):
        browser.press("Home")
        self.assertEqual(self.page.focused(), "tree")
        browser.press("Tab")
        self.assertEqual(self.page.focused(), "tab-object")
        browser.press("Right")
        self.assertEqual(self.page.focused(), "tab-why")
        self.assertTrue(browser.run("return document.getElementById('panel-object').hidden"))
        browser.press_with_shift("Tab")
        self.assertEqual(self.page.focused(), "tree")
        outline = browser.run("return getComputedStyle(document.getElementById('tree')).outlineStyle")
        self.assertEqual(outline, "solid")

    def test_can_be_read_in_every_light_and_at_every_width(self):
        for scheme in ("light", "dark"):
            browser.emulate(scheme=scheme)
            for item in (HR, "|KEEPSAFE|"):
                self.page.search(item)
                browser.press("Enter")
                self.page.ask([([17], RESTORE, HR)])
                for tab in ("object", "why"):
                    browser.click(f"#tab-{tab}")
                    ratio, where = self.page.least_contrast()
                    self.assertGreaterEqual(ratio, 4.5, f"{scheme}: {where}")
                    self.keep_picture(f"{scheme}-{tab}")
        for width in (320, 390, 800, 1280):
            browser.resize(width, 844)
            for tab in ("object", "why"):
                browser.click(f"#tab-{tab}")
                widest = browser.run("return document.documentElement.scrollWidth")
                self.assertLessEqual(widest, width, f"{tab} at {width}")
            self.keep_picture(f"width-{width}")

    def test_prints_the_expanded_tree(self):
        self.assertEqual(browser.printed()[:5], b"%PDF-")
        browser.emulate(media="print")
        browser.run("window.dispatchEvent(new Event('beforeprint'))")
        listed = browser.run("return document.querySelectorAll('#tree-rows .row').length")
        tools = browser.run("return document.querySelector('.tools').checkVisibility()")
        browser.run("window.dispatchEvent(new Event('afterprint'))")
        self.assertGreaterEqual(listed, 8)
        self.assertFalse(tools)

    def test_requests_its_own_file_alone(self):
        self.assertEqual(browser.requested(), [f"file://{self.path}"])

    def test_runs_and_loads_nothing_else(self):
        refused = browser.run("""
            const tried = [];
            const attempt = (what, action) => { try { action(); } catch { tried.push(what); } };
            // Not within this script, which the driver may do everything in.
            setTimeout(() => attempt('eval', () => eval('window.strange = 1')));
            attempt('markup', () => { document.body.innerHTML += '<p>'; });
            attempt('script', () => {
              const script = document.createElement('script');
              script.textContent = 'window.strange = 1';
              document.body.append(script);
            });
            const picture = document.createElement('img');
            picture.src = 'file:///etc/hostname';
            document.body.append(picture);
            return new Promise((done) => setTimeout(() => done([tried, window.strange ?? null]), 100))""")
        self.assertEqual(refused, [["markup", "script", "eval"], None])
        complaints = ""
        while "hostname" not in complaints:  # comes when the picture has been refused
            complaints += "".join(browser.console())
        self.assertIn("Content Security Policy", complaints)
        browser.requested()


class Generated(PageTest):
    OBJECTS = 4000

    @classmethod
    def set_up(cls):
        cls.installation.generate("generated", cls.OBJECTS)
        cls.path = cls.installation.report("generated")

    def test_answers_random_questions_as_the_tool_does(self):
        chance = random.Random(7)
        leaves = self.installation.names("generated")
        operations = [f"|OPERATIONS|OP-{number:02}|" for number in range(64)] + ["|OPERATIONS|OP-64|"]
        groups = []
        for _ in range(50):
            objects = []
            for _ in range(20):
                components = chance.choice(leaves)[1:-1].split("|")
                if chance.random() < 0.3:
                    components = components[:chance.randrange(len(components))]
                if chance.random() < 0.2:
                    components += chance.choice((["new"], ["a b", "c%7C"], [""], ["\u00fc"]))
                objects.append("|" + "".join(each + "|" for each in components))
            roles = chance.sample(range(1, 201), chance.choice((0, 1, 3, 8, 40)))
            if chance.random() < 0.05:
                roles.append(0)
            groups.append((roles, chance.choice(operations), objects))
        reasons = self.assert_answers_as_the_tool("generated", groups)
        self.assertGreaterEqual(reasons, {"granted", "granted-by-ancestor", "no-roles", "inheritance-off", "not-granted"})


class Large(PageTest):
    @classmethod
    def set_up(cls):
        cls.installation.generate("large", 100000)
        cls.path = cls.installation.report("large")

    def test_opens_a_hundred_thousand_objects(self):
        milliseconds = self.page.milliseconds_to_open()
        print(f"{self.path.stat().st_size} bytes with 100,000 objects were open after {milliseconds:.0f} ms")
        self.assertLess(milliseconds, SECONDS_TO_OPEN * 1000)
        self.assertIn("100,137 objects", browser.text("#facts"))

    def test_shows_only_rows_that_can_be_seen(self):
        browser.run("document.activeElement.blur()")
        self.page.search("|area-3|kind-07|")
        self.assertIn("the first 200 are listed", browser.text("#found-status"))
        browser.press("Enter")
        browser.press("Right", "End")
        self.assertLess(len(self.page.rows()), 60)
        self.assertIn("vm-", " ".join(self.page.rows()))


class Hostile(PageTest):
    SCRIPT = "</script><script>window.strange = 1</script>"

    @classmethod
    def set_up(cls):
        text = lambda raw: "".join(f"%{byte:02X}" for byte in raw)
        components = [text(cls.SCRIPT.encode()), text(b"<!--<script>"), text("\u2028\u202e\u200b'\"`${1}".encode()),
                      text(b"\xff\xfe\xed\xa0\x80"), text(b"line\nbreak\x1b[31m"), "", "x" * 4096, text(b"%7C|+"),
                      text("<img src=x onerror='window.strange=1'>".encode()), text("Prüfer 東京".encode()),
                      text("\u0627\u0644".encode())]
        objects = [f"|{each}|" for each in components] + ["|" + "deep|" * 100, "|__proto__|constructor|toString|"]
        operation = f"|OPERATIONS|{text(cls.SCRIPT.encode())}|"
        policy = {"operations": {operation: 3, VIEW: 4}, "roles": [{"id": 5, "name": "five"}],
                  "objects": [{"namespace": each} for each in objects],
                  "accessDefinitions": [{"object": each, "role": 5, "propagation": "OBJECT_AND_CHILDREN",
                                         "operations": [operation]} for each in objects]}
        cls.installation.compile("hostile", policy)
        cls.objects, cls.operation = objects, operation
        names = cls.installation.folder / "names"
        names.write_bytes(b"5\t" + cls.SCRIPT.encode() + b"\x1b\xff\xe2\x80\xae\n")
        cls.path = cls.installation.report("hostile", "--title", cls.SCRIPT + "\u202e<b>", "--role-names-from", names)

    def test_names_are_never_markup(self):
        for number in range(len(self.objects)):
            browser.press("Down")
            self.assertIsNone(browser.run("return window.strange ?? null"), number)
        strange = browser.run("return document.querySelectorAll('img, b, script').length")
        self.assertEqual(strange, 2, "the data and the script of the page")
        self.assertEqual(browser.text("h1"), self.SCRIPT + "\\xE2\\x80\\xAE<b>")

    def test_what_cannot_be_seen_is_escaped(self):
        self.page.search("|")
        found = browser.run("return [...document.querySelectorAll('#found li')].map((li) => li.innerText)")
        for shown in ("|" + self.SCRIPT + "|", "|%E2%80%A8%E2%80%AE%E2%80%8B'\"`${1}|", "|%FF%FE%ED%A0%80|",
                      "|line%0Abreak%1B[31m|", "||", "|%257C%7C%2B|", "|Prüfer 東京|"):
            self.assertIn(shown, found)

    def test_readable_names_can_be_typed(self):
        self.page.search("|")
        found = browser.run("return [...document.querySelectorAll('#found .ns')].map((ns) => [ns.innerText, ns.title])")
        self.assertGreaterEqual(len(found), len(self.objects))
        answers = self.page.ask([([5], self.operation, readable) for readable, _ in found])
        for (readable, text_form), answer in zip(found, answers):
            self.assertEqual(answer["path"][0]["object"] if answer["path"] else answer, text_form, readable)

    def test_answers_as_the_tool_does(self):
        groups = [([5], self.operation, self.objects), ([6], self.operation, self.objects), ([5], VIEW, self.objects)]
        self.assert_answers_as_the_tool("hostile", groups)

    def test_long_and_deep_names_fit_the_page(self):
        for wanted in ("xxxxxx", "|" + "deep|" * 100):
            for width in (360, 1280):
                browser.resize(width, 800)
                self.page.paste_search(wanted)
                browser.press("Enter")
                self.assertIn(wanted[1:5], self.page.shown_object())
                self.assertLessEqual(browser.run("return document.documentElement.scrollWidth"), width)
        self.keep_picture("hostile")


class Changed(PageTest):
    @classmethod
    def set_up(cls):
        def policy(objects, definitions):
            return {"operations": {VIEW: 0, RESTORE: 6}, "roles": [{"id": role, "name": str(role)} for role in (3, 17)],
                    "objects": objects, "accessDefinitions": [
                        {"object": item, "role": role, "propagation": propagation, "operations": operations}
                        for item, role, propagation, operations in definitions]}

        named = lambda name, inherit=True: {"namespace": name, "inherit": inherit}
        cls.installation.compile("before", policy(
            [named("|"), named("|A|"), named("|A|gone|"), named("|A|x|", False), named("|Z|")],
            [("|", 17, "CHILDREN", [VIEW]), ("|A|", 3, "OBJECT_AND_CHILDREN", [RESTORE]), ("|A|x|", 3, "OBJECT", [VIEW])]))
        cls.installation.compile("after", policy(
            [named("|"), named("|A|"), named("|A|new|"), named("|A|x|"), named("|Z|", False)],
            [("|A|", 17, "OBJECT", [VIEW, RESTORE]), ("|A|", 3, "OBJECT_AND_CHILDREN", [RESTORE]),
             ("|A|new|", 3, "CHILDREN", [VIEW])]))
        cls.path = cls.installation.report("after", "--compare", "before")

    def test_has_the_differences_that_the_tool_prints(self):
        expected = self.installation.differences("before", "after")
        self.assertEqual(self.page.changes(), expected)
        self.assertEqual({line[0] for line in expected}, {
            "added", "removed", "inherit-on", "inherit-off", "granted", "revoked", "now-allowed", "now-denied", "as-before"})
        browser.click("#tab-changes")
        self.assertIn("Since cache before, generation 1", browser.text("#panel-changes"))
        self.keep_picture("changes")

    def test_kinds_are_turned_off_and_on(self):
        browser.click("#tab-changes")
        browser.click('.filters [data-kind="granted"]')
        self.assertNotIn("granted", {row[0] for row in self.page.changes()})
        browser.press("Space")
        self.assertIn("granted", {row[0] for row in self.page.changes()})

    def test_leads_to_the_object_and_back(self):
        browser.click("#tab-changes")
        browser.click('#panel-changes tr[data-kind="removed"] button')
        self.assertEqual(self.page.shown_object(), "gone")
        self.assertIn("The cache does not hold this object", browser.text("#panel-object"))
        browser.click(".notice.changed button")
        self.assertEqual({row[1] for row in self.page.changes()}, {"|A|gone|"})

    def test_removed_objects_decide_as_those_that_are_not_there(self):
        self.assert_answers_as_the_tool("after", [(roles, operation, ["|A|gone|", "|A|gone|y|", "|Z|", "|A|x|"])
                                                  for roles in ([3], [17], []) for operation in (VIEW, RESTORE)])


class Same(PageTest):
    @classmethod
    def set_up(cls):
        cls.installation.compile("company", COMPANY)
        cls.path = cls.installation.report("company", "--compare", "company")

    def test_says_that_nothing_has_changed(self):
        browser.click("#tab-changes")
        self.assertIn("Nothing: both caches hold the same and decide the same.", browser.text("#panel-changes"))


class Empty(PageTest):
    @classmethod
    def set_up(cls):
        cls.installation.compile("empty", {"operations": {VIEW: 0}, "roles": [], "objects": [], "accessDefinitions": []})
        cls.path = cls.installation.report("empty")

    def test_shows_a_cache_without_objects(self):
        self.assertIn("0 objects", browser.text("#facts"))
        self.assert_answers_as_the_tool("empty", [([], VIEW, ["|", "|A|"]), ([1], VIEW, ["|", "|A|"]), ([0], VIEW, ["|"])])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
