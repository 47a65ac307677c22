#!/usr/bin/env python3
# The table of operations and the lists of fields against the headers that they describe.
#
# usage: table_test.py [CLASS.TEST]
import json
import os
import pathlib
import re
import subprocess
import unittest

TOP = pathlib.Path(__file__).resolve().parents[2]
INCLUDE = TOP / "platforms/common/drivers/kelvane/lib/include"
TOOL = pathlib.Path(os.environ["BUILD"]) / "platforms/common/drivers/kelvane/kelvanectl/kelvanectl"

# What nobody may call through the table: it is the owner's business, or C's alone.
LEFT_OUT = """
    init_driver device_create device_delete pci_mapped
    enable_keep_alive_notify enable_pm_notify enable_alarms_notify force_global_alarms_notify
    enable_msi glb_interrupt_enable notify_msi deque_msi dap_command set_endianess
""".split()
NOT_ASKED_FOR = ("handle", "fn_cb", "transaction_id")
UNITS = {"%": "_percent", "0.01 dBm": "_dbm", "1/256 degree C": "_celsius", "ps/nm": "_ps_per_nm", "ps": "_ps",
         "0.1 dB": "_db", "ps^2": "_ps2", "0.1 degree": "_degrees"}
ENDS_UNIT = ("pre_fec_ber_est_curr", "corrected_bits_count_pm_int", "reserved")


def without_comments(text):
    return re.sub(r"/\*.*?\*/", "", text, flags=re.DOTALL)


def header(name):
    return (INCLUDE / name).read_text()


def declarations():
    """By name, the parameters as (type, name)."""
    found = re.findall(r"^int32_t kelvane_(\w+)\(([^;]*?)\);", without_comments(header("kelvane.h")), re.M)
    return {name: [re.fullmatch(r"(.*?)(\w+)", " ".join(one.split())).groups() for one in parameters.split(",")]
            for name, parameters in found}


def records():
    """By type, the fields as (name, unit): that of the last comment with one, up to the next such field."""
    found = {}
    for body, tag in re.findall(r"typedef struct(?: \w+)? {(.*?)} (\w+);", header("kelvane_records.h") + header("kelvane.h"), re.DOTALL):
        unit, fields = "", []
        for name, comment in re.findall(r"^ +\w+ (\w+)(?:\[\d+\])?; *(?:/\* ([^;*]*))?", body, re.M):
            unit = UNITS.get(comment.strip(), "") if comment else "" if name in ENDS_UNIT else unit
            if not name.startswith("reserved"):
                fields.append(name + unit)
        found[tag] = fields
    return found


class Table(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        told = subprocess.run([TOOL, "--json", "methods"], check=True, capture_output=True).stdout
        cls.methods = {method["name"]: method for method in json.loads(told)["methods"]}

    def test_every_operation_of_the_header_is_a_row_or_left_out(self):
        self.assertEqual(sorted([*self.methods, *LEFT_OUT]), sorted(declarations()))

    def test_rows_take_and_give_what_the_header_does(self):
        for name, parameters in declarations().items():
            if name in LEFT_OUT:
                continue
            method, schema = self.methods[name], self.methods[name]["result"]["schema"]
            inputs = [{"device_address": "address", "file_name": "digest"}.get(it, it) for kind, it in parameters
                      if it not in NOT_ASKED_FOR and ("*" not in kind or kind.startswith("const"))]
            if name == "program_activate_software":
                inputs.remove("digest")  # the name of a file that is not looked at
            self.assertEqual([it["name"] for it in method["params"]], inputs, name)
            outputs = [(kind.strip(" *"), it) for kind, it in parameters if "*" in kind and not kind.startswith("const")]
            if "title" in schema:
                self.assertEqual(len(outputs), 1, name)
                self.assertIn(outputs[0][0], (schema["title"], "host_pm"), name)
            elif not name.startswith("ps_print"):
                self.assertEqual(list(schema["properties"]), [it for kind, it in outputs], name)

    def test_lists_have_the_fields_of_the_records_with_their_units(self):
        found, seen = records(), set()

        def check(schema):
            seen.add(schema["title"])
            self.assertEqual(list(schema["properties"]), found[schema["title"]])
            for one in schema["properties"].values():
                one = one.get("items", one)
                if "title" in one:
                    check(one)

        for kind in "otn", "ethernet":
            told = subprocess.run([TOOL, "--host-kind", kind, "--json", "methods"], check=True, capture_output=True).stdout
            for method in json.loads(told)["methods"]:
                schema = method["result"]["schema"]
                if "title" in schema:
                    check(schema)
        self.assertEqual(sorted([*seen, "kelvane_init_device_t"]), sorted(found))


if __name__ == "__main__":
    unittest.main()
