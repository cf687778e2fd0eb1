"""The MIDI writer against the bytes that the standard prescribes."""

import unittest

from bench.truth.midi import Note, midi_bytes, variable_length


class VariableLength(unittest.TestCase):
    def test_numbers_below_128_are_one_byte(self):
        self.assertEqual(variable_length(0), b"\x00")
        self.assertEqual(variable_length(0x7F), b"\x7f")

    def test_larger_numbers_have_the_bytes_of_the_standards_table(self):
        table = {0x80: "8100", 0x2000: "c000", 0x3FFF: "ff7f", 0x4000: "818000", 0x1FFFFF: "ffff7f",
                 0x200000: "81808000", 0xFFFFFFF: "ffffff7f"}
        for number, bytes_of_it in table.items():
            self.assertEqual(variable_length(number).hex(), bytes_of_it)


class MidiFile(unittest.TestCase):
    def test_one_note_is_this_file(self):
        written = midi_bytes([Note(2, 0.5, 1.5, 60, 90)], {2: 40}, {2: 100}, 2.0)
        track = ("00ff5103" "0f4240"                # a quarter note is 1 000 000 microseconds
                 "00c228" "00b20764"                # program, volume
                 "8374" "923c5a" "8768" "823c00"    # on after 500 ticks, off after 1000
                 "8374" "ff0100" "00ff2f00")        # an empty text after 500 more, the end
        self.assertEqual(written[:14].hex(), "4d546864" "00000006" "0000" "0001" "03e8")
        self.assertEqual(written[14:18], b"MTrk")
        self.assertEqual(int.from_bytes(written[18:22], "big"), len(written) - 22)
        self.assertEqual(written[22:].hex(), track)

    def test_a_note_ends_before_the_same_key_begins_anew(self):
        written = midi_bytes([Note(0, 0.0, 1.0, 60, 90), Note(0, 1.0, 2.0, 60, 91)], {})
        self.assertLess(written.find(b"\x80\x3c\x00"), written.find(b"\x90\x3c\x5b"))

    def test_a_note_without_length_lasts_a_tick(self):
        self.assertIn(b"\x90\x3c\x5a\x01\x80\x3c\x00", midi_bytes([Note(0, 1.0, 1.0, 60, 90)], {}))


if __name__ == "__main__":
    unittest.main()
