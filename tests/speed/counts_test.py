"""Shows that each limit of counts.py goes red: makes good counts worse, one by one."""

import copy
import unittest

import counts as subject

ALL = ("allocations", "bytes", "instructions", "system_calls")


def good_counts():
    """Counts of a plug-in that costs next to nothing."""
    names = set(subject.LOOKS) | {"accessory phone", "set up"}
    names |= {f"{operation} {way}" for operation in subject.BARRIER for way in ("by the table", "bare")}
    names |= {f"{name} {many}" for name in subject.GROWING for many in (10, 100)}
    names |= {f"{what}, {record}" for record in ("other class", "other protocol")
              for what in ("interest in 8x32 interfaces", "bare loop over 8x32 interfaces")}
    return {name: {"allocations": 0, "bytes": 0, "system_calls": 0, "instructions": 1000} for name in names}


class Limits(unittest.TestCase):
    def complaints(self, name=None, count=None, value=None, counted=ALL):
        counts = copy.deepcopy(good_counts())
        if name:
            counts[name][count] = value
        return list(subject.complaints(counts, counted))

    def test_hold_for_good_counts(self):
        self.assertEqual(self.complaints(), [])

    def test_report_each_operation_that_should_only_look(self):
        for name in subject.LOOKS:
            for count in ("allocations", "system_calls"):
                with self.subTest(name, count=count):
                    self.assertEqual(len(self.complaints(name, count, 1)), 1)

    def test_report_a_barrier_that_adds_too_much(self):
        for operation, more in subject.BARRIER.items():
            with self.subTest(operation):
                self.assertEqual(self.complaints(f"{operation} by the table", "instructions", 1000 + more), [])
                self.assertEqual(len(self.complaints(f"{operation} by the table", "instructions", 1001 + more)), 1)

    def test_report_a_search_that_takes_too_long(self):
        for record in ("other class", "other protocol"):
            with self.subTest(record):
                name = f"interest in 8x32 interfaces, {record}"
                self.assertEqual(len(self.complaints(name, "instructions", 3001)), 1)

    def test_report_a_phone_that_takes_too_much_room(self):
        self.assertEqual(len(self.complaints("accessory phone", "bytes", 8193)), 1)
        self.assertEqual(len(self.complaints("accessory phone", "allocations", 17)), 1)
        self.assertEqual(len(self.complaints("set up", "bytes", 4097)), 1)

    def test_report_what_grows_too_fast(self):
        for name, times in subject.GROWING.items():
            with self.subTest(name):
                most = int(1000 * times)
                self.assertEqual(self.complaints(f"{name} 100", "instructions", most), [])
                self.assertEqual(len(self.complaints(f"{name} 100", "instructions", most + 1)), 1)

    def test_report_a_count_that_is_missing(self):
        self.assertTrue(self.complaints("set up", "bytes", None))

    def test_pass_over_what_cannot_be_counted(self):
        self.assertEqual(self.complaints("set up", "bytes", 5000, counted=("instructions",)), [])


if __name__ == "__main__":
    unittest.main()
