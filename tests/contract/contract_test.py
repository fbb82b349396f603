"""decoder-host check: a plug-in that keeps the contract passes, and each broken promise is told by the rule about it.

    contract_test.py --host PATH --tiny PATH --exporting-more PATH --ours PATH --quick-worker PATH [--sanitized]
                     [--runner WORD]... [unittest arguments]
"""

import argparse
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest

OPTIONS = None
TIME_LIMIT = 1500

# What TINY_PLUGIN_FAULT breaks, and the rule that tells.
FAULTS = {
    "null-arguments": "null-arguments",
    "tables": "tables",
    "param-fields": "param-fields",
    "order": "order",
    "record-bounds": "record-bounds",
    "borrowed-memory": "borrowed-memory",
    "text-lifetime": "text-lifetime",
    "blob-lifetime": "blob-lifetime",
    "sample-lifetime": "sample-lifetime",
    "open-record": "open-record",
    "failed-open": "failed-open",
    "blocks": "blocks",
    "endings": "endings",
    "seeks": "seeks",
    "logs": "logs",
    "quit-event": "quit-event",
    "tag-jobs": "tag-jobs",
    "extensions": "extensions",
    "threads": "threads",
    "rounds-handles": "rounds",
    "rounds-threads": "rounds",
    "rounds-memory": "rounds",
    "unloading": "unloading",
    "exit": "exit",
    "crash": "seeks",
}
# Those that the system has a part in, for an emulator takes seconds for each.
EMULATED_FAULTS = (
    "record-bounds", "text-lifetime", "logs", "quit-event", "rounds-handles", "rounds-threads", "rounds-memory", "unloading",
    "exit", "crash",
)  # fmt: skip
# A sanitizer has an allocator of its own, which keeps what was freed.
UNSEEN_WITH_SANITIZER = ("rounds-memory",)


def faults():
    if OPTIONS.runner:
        return {fault: FAULTS[fault] for fault in EMULATED_FAULTS}
    return {fault: rule for fault, rule in FAULTS.items() if not (OPTIONS.sanitized and fault in UNSEEN_WITH_SANITIZER)}


def many_rounds():
    """A sanitizer keeps freed memory for itself, so that many rounds take more and more of it; an emulator is slow."""
    if OPTIONS.sanitized:
        return ["--rounds", "5"]
    return ["--rounds", "200"] if OPTIONS.runner else []


class Contract(unittest.TestCase):
    def check(self, *arguments, code=0, fault=""):
        # However slow the machine is.
        limit = [] if "--limit" in arguments or not arguments else ["--limit", "600"]
        command = [*OPTIONS.runner, OPTIONS.host, "check", *limit, *arguments]
        with tempfile.TemporaryDirectory() as folder:
            environment = {**os.environ, "TINY_PLUGIN_FAULT": fault, "TMPDIR": folder}
            result = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, env=environment, timeout=TIME_LIMIT)
            # The emulator has a folder of its own there.
            self.assertEqual([name for name in os.listdir(folder) if not name.startswith("wine-")], [])
        self.assertEqual(result.returncode, code, result)
        return result.stdout.decode().replace("\r\n", "\n")

    def rules(self, *arguments, **settings):
        """What was said of each rule."""
        report = json.loads(self.check("--json", *arguments, **settings))
        self.assertEqual(report["passed"], settings.get("code", 0) == 0)
        return {rule["rule"]: rule for rule in report["rules"]}

    def assert_kept(self, rules, skipped=()):
        self.assertEqual({name: rule for name, rule in rules.items() if rule["verdict"] != "kept" and name not in skipped}, {})

    def test_a_plugin_that_keeps_the_contract_passes(self):
        text = self.check(OPTIONS.tiny, *many_rounds())
        lines = text.splitlines()
        self.assertEqual(lines[:2], ["TAP version 14", f"1..{len(lines) - 2}"])
        for number, line in enumerate(lines[2:], 1):
            self.assertRegex(line, rf"^ok {number} - [a-z-]+: [^#]*( # SKIP .*)?$")
        self.assertEqual(re.findall(r"- ([a-z-]+): .* # SKIP", text), ["extensions"])

    def test_each_fault_is_told_by_its_rule_alone(self):
        # Starting programs is slow under an emulator or a sanitizer: there the rule alone.
        for fault, rule in faults().items():
            with self.subTest(fault):
                chosen = ["--rule", rule] if OPTIONS.runner or OPTIONS.sanitized else []
                rounds = "50" if OPTIONS.runner else "300"
                rules = self.rules(OPTIONS.tiny, *chosen, "--rounds", rounds, code=1, fault=fault)
                self.assertEqual([name for name, told in rules.items() if told["verdict"] == "broken"], [rule])
                self.assertNotIn("the check itself", rules[rule]["reason"])
        rules = self.rules(OPTIONS.exporting_more, "--rule", "exports", "--rule", "order", code=1)
        self.assertEqual((rules["exports"]["verdict"], rules["order"]["verdict"]), ("broken", "kept"))

    def test_crashes_and_hangs_are_told_with_the_call(self):
        text = self.check(OPTIONS.tiny, "--rule", "seeks", "--rule", "order", code=1, fault="crash")
        self.assertRegex(text, r'not ok 2 - seeks: .*\n  ---\n  message: "the process ended with .* in SetPosition"\n')
        self.assertIn("\nok 1 - order", text)
        text = self.check(OPTIONS.tiny, "--rule", "endings", "--limit", "5", code=1, fault="hang")
        self.assertIn('message: "no end within 5 seconds in ', text)

    def test_what_is_no_plugin(self):
        with tempfile.TemporaryDirectory() as folder:
            name = os.path.join(folder, "no.so")
            with open(name, "wb") as file:
                file.write(b"\x7fELF\2\1" + bytes(50))
            rules = self.rules(name, "--rule", "exports", "--rule", "seeks", code=1)
            self.assertEqual((rules["exports"]["verdict"], rules["seeks"]["verdict"]), ("broken", "skipped"))
            self.check(os.path.join(folder, "none"), code=1)
        self.check(OPTIONS.tiny, "--rule", "no such rule", code=2)
        self.check(code=2)

    def test_ours_keeps_the_contract(self):
        self.assert_kept(self.rules(OPTIONS.ours, "--rounds", "4"))

    def test_many_rounds_of_ours_leave_nothing(self):
        self.assert_kept(self.rules(OPTIONS.ours, "--worker", OPTIONS.quick_worker, "--rule", "rounds", *many_rounds()))


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for name in ("host", "tiny", "exporting-more", "ours", "quick-worker"):
        parser.add_argument("--" + name, required=True, type=os.path.abspath)
    parser.add_argument("--sanitized", action="store_true")
    parser.add_argument("--runner", action="append", default=[])
    OPTIONS, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest], verbosity=2)
