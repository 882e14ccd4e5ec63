#!/usr/bin/env python3
"""lexpand-check --format=sarif writes what SARIF 2.1.0 requires of a log, and
reports the same problems as the text report. Usage: check_sarif_log.py
LEXPAND_CHECK CASE_DIR ARGS..., run from CASE_DIR."""

import json
import os
import subprocess
import sys


def main():
    program, case_dir, args = sys.argv[1], sys.argv[2], sys.argv[3:]
    run = lambda *extra: subprocess.run([program, *extra, *args], cwd=case_dir, capture_output=True, text=True)
    sarif, text = run("--format=sarif"), run()
    assert sarif.returncode == text.returncode == 1, (sarif.returncode, text.returncode)
    log = json.loads(sarif.stdout)
    assert log["version"] == "2.1.0" and log["$schema"].endswith("sarif-schema-2.1.0.json")
    [run_] = log["runs"]
    driver = run_["tool"]["driver"]
    assert driver["name"] == "lexpand-check" and driver["version"]
    rule_ids = [rule["id"] for rule in driver["rules"]]
    assert len(set(rule_ids)) == len(rule_ids)
    root = run_["originalUriBaseIds"]["%SRCROOT%"]["uri"]
    assert root.startswith("file:///") and root.endswith("/")
    # Each result: its rule, level, message and place, as the text report has them.
    places = []
    for result in run_["results"]:
        assert rule_ids[result["ruleIndex"]] == result["ruleId"]
        assert result["level"] in ("error", "warning") and result["message"]["text"]
        physical = result["locations"][0]["physicalLocation"]
        uri = physical["artifactLocation"]["uri"]
        assert physical["artifactLocation"]["uriBaseId"] == "%SRCROOT%" and not uri.startswith("/")
        region = physical.get("region", {})
        assert region.get("startLine", 1) >= 1 and region.get("startColumn", 1) >= 1
        where = ":".join([uri] + [str(region[k]) for k in ("startLine", "startColumn") if k in region])
        places.append(f"{where}: {result['level']}: {result['message']['text']}")
    reported = [line.split(" [-W")[0] for line in text.stdout.splitlines() if ": error: " in line or ": warning: " in line]
    assert places == reported, "\n".join(["SARIF:"] + places + ["text:"] + reported)
    assert sum(1 for p in places if ": error: " in p) >= 1 and sum(1 for p in places if ": warning: " in p) >= 1


if __name__ == "__main__":
    main()
