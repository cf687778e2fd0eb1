"""Tables of figures."""

import unittest

from bench.report import tables


def value(number, spread=0.0):
    return {"value": number, "spread": spread}


class TablesTest(unittest.TestCase):
    def test_each_ratio_stands_beside_its_floor_and_its_target(self):
        table = tables.cost_table({"cost/key/tempo": value(0.05), "ratio/key/tempo": value(2.5, 0.04)})
        self.assertEqual(table.rows,
                         [["tempo", "0.05000", "0.02000", "2.50", "<= 3 met", "4"]])

    def test_a_missed_target_says_so(self):
        missed = {"cost/key/tempo": value(0.07), "ratio/key/tempo": value(3.5)}
        self.assertEqual(tables.cost_table(missed).rows[0][4], "<= 3 MISSED")
        self.assertEqual(tables.missed(missed), ["ratio/key/tempo: 3.5, target <= 3"])

    def test_peers_stand_beside_ours(self):
        table = tables.peer_table({"cost/key/tempo": value(0.05), "cost/peer/p": value(0.2),
                                   "against/key/tempo by peer/p": value(0.25)})
        self.assertEqual(table.rows,
                         [["tempo", "0.05000", "p", "0.20000", "0.250", "<= 0.5 met"]])

    def test_set_up_has_milliseconds_and_its_target_too(self):
        table = tables.setup_table({"initialize/constant q spectrum": value(0.0057),
                                    "reset/constant q spectrum": value(0.00009)})
        self.assertEqual(table.rows[0][:4],
                         ["constant q spectrum", "5.700", "<= 15 met", "0.090"])

    def test_the_longest_stream_has_the_target_of_memory(self):
        table = tables.stream_table({"stream/onset data/1": value(0.1),
                                     "memory/onset data/1": value(4.5)})
        self.assertEqual(table.rows[0][-2:], ["4.50", "<= 4 MISSED"])

    def test_streams_have_a_column_for_each_length(self):
        table = tables.stream_table({
            "stream/a/1": value(0.1), "memory/a/1": value(9.0),
            "stream/a/60": value(0.12), "growth/a/60": value(1.2), "memory/a/60": value(3.0),
            "stream/b/1": value(0.3), "memory/b/1": value(250.0)})
        self.assertEqual(table.columns,
                         ["keys", "seconds at 1", "at 60 : at 1", "target",
                          "MB per minute at 1", "MB per minute at 60", "target"])
        self.assertEqual(table.rows,
                         [["a", "0.10000", "1.20", "<= 1.15 MISSED", "9.00", "3.00", ""],
                          ["b", "0.30000", "-", "", "250.00", "-", ""]])

    def test_a_table_without_rows_is_not_shown(self):
        self.assertEqual(tables.all_tables({}), [])

    def test_text_has_names_to_the_left_and_numbers_to_the_right(self):
        table = tables.Table("title", ["keys", "ratio"])
        table.rows += [["a", "10.00"], ["bcdef", "1.00"]]
        self.assertEqual(table.text(), "title\n\nkeys   ratio\na      10.00\nbcdef   1.00")

    def test_markdown_has_the_same_cells(self):
        table = tables.Table("title", ["keys", "ratio"])
        table.rows.append(["a", "10.00"])
        self.assertEqual(table.markdown(),
                         "**title**\n\n| keys | ratio |\n| --- | ---: |\n| a | 10.00 |")


if __name__ == "__main__":
    unittest.main()
