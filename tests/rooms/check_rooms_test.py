"""Plants offenders, one of each kind, and wants each of them named."""

import pathlib
import tempfile
import unittest

from check_rooms import check, read_rooms

ROOMS = read_rooms("cellar house/cellar\nhall house/hall cellar\ngarage garage\n")

HOUSE = {
    "house/cellar/wine.h": "",
    "house/cellar/wine.cpp": '#include "house/cellar/wine.h"\n#include "house/cellar/key_p.h"\n',
    "house/cellar/wine_old.cpp": '#include "house/cellar/wine.h"\n',
    "house/cellar/key_p.h": "",
    "house/cellar/internal/rack.h": "",
    "house/hall/door.h": '#include "house/cellar/wine.h"\n#include <vector>\n#include "elsewhere.h"\n',
    "house/hall/door.cpp": '#include "house/hall/door.h"\n#include "house/cellar/internal/rack.h"\n',
    "garage/car.cpp": "",
}


class Rooms(unittest.TestCase):
    def offences(self, **planted):
        with tempfile.TemporaryDirectory() as folder:
            for path, text in (HOUSE | planted.get("files", {})).items():
                file = pathlib.Path(folder) / path
                file.parent.mkdir(parents=True, exist_ok=True)
                file.write_text(text, encoding="utf-8")
            return check(folder, ROOMS)

    def test_a_house_in_order_has_no_offence(self):
        self.assertEqual(self.offences(), [])

    def test_a_room_that_reaches_up_is_named(self):
        files = {"house/cellar/wine.cpp": '#include "house/hall/door.h"\n'}
        self.assertIn("house/cellar/wine.cpp: the room cellar may not include house/hall/door.h of the room hall",
                      self.offences(files=files))

    def test_a_room_that_reaches_aside_is_named(self):
        self.assertEqual(self.offences(files={"garage/car.cpp": '#include "house/cellar/wine.h"\n'}),
                         ["garage/car.cpp: the room garage may not include house/cellar/wine.h of the room cellar"])

    def test_a_private_header_stays_in_its_room(self):
        self.assertEqual(self.offences(files={"house/hall/door.cpp": '#include "house/cellar/key_p.h"\n'}),
                         ["house/hall/door.cpp: house/cellar/key_p.h is private to the room cellar"])

    def test_what_is_installed_includes_nothing_that_is_not(self):
        for header in ("house/cellar/internal/rack.h", "house/cellar/key_p.h"):
            with self.subTest(header):
                self.assertEqual(self.offences(files={"house/cellar/wine.h": f'#include "{header}"\n'}),
                                 [f"house/cellar/wine.h: is installed and includes {header}, which is not"])

    def test_a_circle_of_headers_is_told(self):
        files = {"house/cellar/wine.h": '#include "house/cellar/glass.h"\n',
                 "house/cellar/glass.h": '#include "house/cellar/wine.h"\n'}
        self.assertEqual(self.offences(files=files), ["a circle of modules: cellar/glass -> cellar/wine -> cellar/glass"])

    def test_a_circle_through_a_source_is_told(self):
        files = {"house/cellar/glass.h": '#include "house/cellar/wine.h"\n',
                 "house/cellar/wine.cpp": '#include "house/cellar/wine.h"\n#include "house/cellar/glass.h"\n'}
        self.assertEqual(self.offences(files=files), ["a circle of modules: cellar/glass -> cellar/wine -> cellar/glass"])

    def test_a_source_without_a_header_continues_the_module_that_it_includes_first(self):
        files = {"house/cellar/glass.h": '#include "house/cellar/wine.h"\n',
                 "house/cellar/wine_old.cpp": '#include "house/cellar/wine.h"\n#include "house/cellar/glass.h"\n'}
        self.assertEqual(self.offences(files=files), ["a circle of modules: cellar/glass -> cellar/wine -> cellar/glass"])

    def test_a_file_outside_of_all_rooms_is_named(self):
        files = {"attic/box.h": "", "garage/car.cpp": '#include "attic/box.h"\n'}
        self.assertEqual(self.offences(files=files), ["garage/car.cpp: includes attic/box.h, which is in no room"])


if __name__ == "__main__":
    unittest.main()
