#!/usr/bin/env python3
"""Gives check_signal_safety.py what it must find, and what it must not, and a library of its own to take apart."""

import contextlib
import io
import subprocess
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import check_signal_safety

# A handler, what it calls, and the ways in which calls look.
GOOD = """
libexample.so:     file format elf64-x86-64

Disassembly of section .plt:

0000000000001020 <write@plt-0x10>:
    1020:	push   0x2fca(%rip)        # 3ff0 <_GLOBAL_OFFSET_TABLE_+0x8>
    1026:	jmp    *0x2fcc(%rip)        # 3ff8 <_GLOBAL_OFFSET_TABLE_+0x10>

0000000000001030 <write@plt>:
    1030:	jmp    *0x2fca(%rip)        # 4000 <write@GLIBC_2.2.5>

Disassembly of section .text:

0000000000001100 <handler>:
    1100:	endbr64
    1104:	test   %edi,%edi
    1106:	je     1110 <handler+0x10>
    1108:	call   1200 <step>
    110d:	jmp    1100 <handler>
    1110:	jne    1300 <handler.cold>
    1116:	ret

0000000000001200 <step>:
    1200:	call   1030 <write@plt>
    1205:	mov    0x2fe0(%rip),%rax        # 41ec <number@@Base>
    120c:	bnd jmp 1280 <last>

0000000000001280 <last>:
    1280:	call   *0x2d3a(%rip)        # 3fc0 <_exit@GLIBC_2.2.5>

0000000000001300 <handler.cold>:
    1300:	jmp    1030 <write@plt>

0000000000001400 <bystander>:
    1400:	call   1040 <malloc@plt>
    1405:	call   *%rax
"""

ARM = """
0000000000000800 <handler>:
     800:	stp	x29, x30, [sp, #-16]!
     804:	cbz	w0, 810 <handler+0x10>
     808:	b.ne	900 <step>  // b.any
     80c:	bl	700 <write@plt>
     810:	ret

0000000000000900 <step>:
     900:	b	710 <malloc@plt>
"""


class Cases(unittest.TestCase):
    def check(self, disassembly, handlers=None, allowed=("write", "_exit"), indirect=None):
        with mock.patch.multiple(check_signal_safety,
                                 HANDLERS=handlers or {"handler": set()},
                                 ALLOWED={name: "a reason" for name in allowed},
                                 INDIRECT=indirect or {}):
            return check_signal_safety.check(disassembly)

    def expect(self, disassembly, *words, **tables):
        findings, _, _ = self.check(disassembly, **tables)
        self.assertEqual(len(findings), 1, findings)
        for word in words:
            self.assertIn(word, findings[0])

    def test_good(self):
        self.assertEqual(self.check(GOOD), ([], 4, 2))

    def test_what_is_not_allowed_is_found_with_the_way_to_it(self):
        self.expect(GOOD, "handler > step > last > _exit", allowed=["write"])
        self.expect(GOOD.replace("jmp    1030 <write@plt>", "jmp    1040 <malloc@plt>"),
                    "handler > handler.cold > malloc: a signal handler may not")
        self.expect(GOOD.replace("call   1030 <write@plt>", "call   1040 <malloc@plt>"), "handler > step > malloc")
        self.expect(GOOD.replace("<_exit@GLIBC_2.2.5>", "<free@GLIBC_2.2.5>"), "handler > step > last > free")

    def test_what_the_library_exports_is_followed_through_the_table(self):
        exported = GOOD.replace("call   1030 <write@plt>", "call   1050 <bystander@plt>")
        self.expect(exported.replace("    1405:	call   *%rax", ""), "handler > step > bystander > malloc")

    def test_an_exit_needs_a_handler_that_may(self):
        exits = GOOD.replace("<_exit@", "<exit@")
        self.expect(exits, "> exit", allowed=["write", "exit"])
        self.assertEqual(self.check(exits, {"handler": {"exit"}}, ["write", "exit"])[0], [])

    def test_a_handler_that_is_not_there_is_found(self):
        self.expect(GOOD, "missing: there is no such handler", handlers={"handler": set(), "missing": set()})
        findings, followed, _ = self.check("")
        self.assertEqual((len(findings), followed), (1, 0))
        # A part of a function is none.
        self.expect(GOOD, "there is no such handler", handlers={"handler": set(), "handler.": set()})

    def test_a_disassembly_without_calls_is_not_understood(self):
        self.expect("0000000000001100 <handler>:\n    1100:	strange <write@plt>\n", "not understood")

    def test_calls_through_a_pointer_are_found_unless_they_are_named(self):
        for call in ["call   *%rax", "call   *0x18(%rdi)", "jmp    *%rdx", "notrack jmp *%rax",
                     "call   *0x2fe0(%rip)        # 41ec <pointer>"]:
            with self.subTest(call):
                through = GOOD.replace("call   1030 <write@plt>", call)
                self.expect(through, "handler > step: calls through a pointer", call.split()[-1])
                self.assertEqual(self.check(through, indirect={("step", 1): "a reason"})[0], [])
                self.assertEqual(len(self.check(through, indirect={("step", 2): "a reason"})[0]), 2)
        self.expect(GOOD, "take it out of INDIRECT", indirect={("bystander", 1): "a reason"})

    def test_calls_that_lead_nowhere_are_found(self):
        self.expect(GOOD.replace("jmp    1100 <handler>", "call   1500 <elsewhere>"), "handler > elsewhere: is nowhere")

    def test_the_other_processor(self):
        self.expect(ARM, "handler > step > malloc", allowed=["write"])
        self.expect(ARM.replace("b	710 <malloc@plt>", "blr	x8"), "calls through a pointer (blr x8)")
        self.expect(ARM.replace("b	710 <malloc@plt>", "br	x16"), "calls through a pointer (br x16)")

    def test_every_entry_has_its_reason(self):
        for table in (check_signal_safety.ALLOWED, check_signal_safety.INDIRECT):
            for name, reason in table.items():
                self.assertTrue(reason, name)


class Library(unittest.TestCase):
    """What a compiler makes."""

    SOURCE = """
#include <stdlib.h>
#include <unistd.h>
extern "C" {
static __attribute__((noinline)) void* inside(int size) { return %s; }
void* handler(int number) { write(2, "x", 1); return inside(number); }
}
"""

    def run_on(self, expression, handlers=None):
        with tempfile.TemporaryDirectory() as folder:
            source, library = Path(folder, "example.cpp"), Path(folder, "libexample.so")
            source.write_text(self.SOURCE % expression, encoding="utf-8")
            subprocess.run(["c++", "-O1", "-shared", "-fPIC", source, "-o", library], check=True)
            said = io.StringIO()
            with contextlib.redirect_stdout(said), mock.patch.multiple(
                    check_signal_safety, HANDLERS=handlers or {"handler": set()}, ALLOWED={"write": "a reason"}):
                status = check_signal_safety.main([str(library)])
            return status, said.getvalue()

    def test_good(self):
        status, said = self.run_on("nullptr")
        self.assertEqual(status, 0, said)
        self.assertIn("1 handlers", said)

    def test_bad(self):
        status, said = self.run_on("malloc(size)")
        self.assertEqual(status, 1, said)
        self.assertIn("malloc: a signal handler may not call it", said)

    def test_nothing_to_follow(self):
        status, said = self.run_on("nullptr", {"_Z5other": set()})
        self.assertEqual(status, 1, said)
        self.assertIn("no such handler", said)

    def test_no_library_is_no_success(self):
        with contextlib.redirect_stdout(io.StringIO()):
            self.assertEqual(check_signal_safety.main([]), 2)


if __name__ == "__main__":
    unittest.main()
