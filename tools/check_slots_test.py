#!/usr/bin/env python3
"""Gives check_slots.py what it must find, and what it must not."""

import unittest

import check_slots

LIST = """# The binary interface.

LOne
bool LOne::Ask() [pure]
void LOne::Tell(int)

LTwo
bool LTwo::Ask()
void LOne::Tell(int)
--
LTwo::~LTwo() [complete]
LTwo::~LTwo() [deleting]
"""

DUMP = """Original map
Vtable for 'std::exception' (5 entries).
   0 | offset_to_top (0)
   1 | std::exception RTTI
   2 | void std::exception::what()

Vtable for 'LOne' (4 entries).
   0 | offset_to_top (0)
   1 | LOne RTTI
       -- (LOne, 0) vtable address --
   2 | bool LOne::Ask() [pure]
   3 | void LOne::Tell(int)

VTable indices for 'LOne' (2 entries).
   0 | bool LOne::Ask()
   1 | void LOne::Tell(int)

Vtable for 'LTwo' (8 entries).
   0 | offset_to_top (0)
   1 | LTwo RTTI
       -- (LTwo, 0) vtable address --
   2 | bool LTwo::Ask()
   3 | void LOne::Tell(int)
   4 | offset_to_top (-8)
   5 | LTwo RTTI
       -- (LBase, 8) vtable address --
   6 | LTwo::~LTwo() [complete]
       [this adjustment: -8 non-virtual] method: LBase::~LBase()
   7 | LTwo::~LTwo() [deleting]
       [this adjustment: -8 non-virtual] method: LBase::~LBase()

"""


class Slots(unittest.TestCase):
    def found(self, expected, dump):
        return list(check_slots.check(check_slots.read_list(expected), check_slots.read_dump(dump)))

    def test_what_is_as_listed_passes(self):
        self.assertEqual(self.found(LIST, DUMP), [])

    def test_an_exchange_is_found(self):
        exchanged = LIST.replace("bool LOne::Ask() [pure]\nvoid LOne::Tell(int)", "void LOne::Tell(int)\nbool LOne::Ask() [pure]")
        self.assertEqual(len(self.found(exchanged, DUMP)), 2)

    def test_another_signature_is_found(self):
        self.assertEqual(self.found(LIST, DUMP.replace("   2 | bool LTwo::Ask()", "   2 | int LTwo::Ask()")),
                         ["LTwo: place 0 has int LTwo::Ask(), not bool LTwo::Ask()"])

    def test_one_too_many_and_one_too_few_are_found(self):
        self.assertEqual(self.found(LIST.replace("--\nLTwo::~LTwo() [complete]\n", "--\n"), DUMP),
                         ["LTwo: place 3 has LTwo::~LTwo() [complete], not LTwo::~LTwo() [deleting]",
                          "LTwo: place 4 has LTwo::~LTwo() [deleting], not nothing"])
        self.assertEqual(self.found(LIST.replace("void LOne::Tell(int)\n\n", "void LOne::Tell(int)\nvoid LOne::More()\n\n"), DUMP),
                         ["LOne: place 2 has nothing, not void LOne::More()"])

    def test_a_class_that_is_missing_or_not_listed_is_found(self):
        self.assertEqual(self.found(LIST, DUMP.replace("Vtable for 'LOne'", "Vtable for 'LOther'")),
                         ["LOne: the compiler says nothing of it", "LOther: is not listed"])

    def test_a_list_names_a_class_once(self):
        for text in ("LOne\n", "LOne\nvoid f()\n\nLOne\nvoid f()\n"):
            with self.assertRaises(ValueError):
                check_slots.read_list(text)


if __name__ == "__main__":
    unittest.main()
