"""The generator: what is promised of the scores, and that it makes the same ones as ever."""

import unittest
from collections import Counter

from bench.truth import manifest
from bench.truth.ensembles import ENSEMBLES
from bench.truth.harmony import chord, chord_at, progression, scale_for
from bench.truth.draw import Draw
from bench.truth.meters import METERS, Timeline, ritardando
from bench.truth.midi import DRUM_CHANNEL
from bench.truth.plans import KEYS, LONGEST, SHORTEST, all_plans, score_plans
from bench.truth.score import write_score
from bench.truth.written import score_digest

PLANS = all_plans()
SCORES = [plan for plan in PLANS if plan.kind == "score"]


class Plans(unittest.TestCase):
    def test_there_are_at_least_150_scores_in_all_keys_and_meters(self):
        self.assertGreaterEqual(len(SCORES), 150)
        keys = Counter((plan.settings["tonic"], plan.settings["mode"]) for plan in SCORES)
        self.assertEqual(set(keys), set(KEYS))
        self.assertEqual({plan.settings["meter"] for plan in SCORES}, set(METERS))

    def test_tempi_reach_from_50_to_210(self):
        tempi = sorted(plan.settings["bpm"] for plan in SCORES)
        self.assertTrue(50 <= tempi[0] < 55 and 200 < tempi[-1] <= 210)

    def test_every_ensemble_plays_and_half_have_drums(self):
        played = Counter(plan.settings["ensemble"] for plan in SCORES)
        self.assertEqual(set(played), {ensemble.name for ensemble in ENSEMBLES})
        share = sum(plan.settings["drums"] for plan in SCORES) / len(SCORES)
        self.assertTrue(0.35 < share < 0.65)

    def test_scores_last_20_to_38_seconds_at_their_tempo(self):
        for plan in SCORES:
            seconds = plan.settings["bars"] * METERS[plan.settings["meter"]].beats_per_bar * 60 / plan.settings["bpm"]
            self.assertTrue(SHORTEST <= seconds <= LONGEST, plan.name)

    def test_plans_do_not_depend_on_the_run(self):
        self.assertEqual([plan.digest() for plan in SCORES], [plan.digest() for plan in score_plans()])


class Halves(unittest.TestCase):
    def test_the_committed_manifest_has_these_plans_and_this_split(self):
        committed = {name: (entry["half"], entry["parameters"]) for name, entry in manifest.committed().items()}
        halves = manifest.split(PLANS)
        self.assertEqual(committed, {plan.name: (halves[plan.name], plan.digest()) for plan in PLANS})

    def test_every_ninth_piece_has_the_notes_of_the_manifest(self):
        committed = manifest.committed()
        for plan in PLANS[::9]:
            self.assertEqual(committed[plan.name]["score"], score_digest(plan), plan.name)

    def test_a_plan_has_one_half_and_halves_are_equal(self):
        sizes = Counter(manifest.split(PLANS).values())
        self.assertEqual(sizes["develop"] + sizes["measure"], len(PLANS))
        self.assertLessEqual(abs(sizes["develop"] - sizes["measure"]), 1)

    def test_strata_are_shared_out_evenly(self):
        halves = manifest.split(PLANS)
        counts = Counter((plan.stratum, halves[plan.name]) for plan in PLANS)
        for stratum in {plan.stratum for plan in PLANS}:
            self.assertLessEqual(abs(counts[stratum, "develop"] - counts[stratum, "measure"]), 1, stratum)

    def test_the_split_does_not_depend_on_the_order_of_plans(self):
        self.assertEqual(manifest.split(PLANS), manifest.split(PLANS[::-1]))


class Harmony(unittest.TestCase):
    def test_the_dominant_seventh_of_a_minor_is_e_g_sharp_b_d(self):
        self.assertEqual(chord(9, "minor", 57, 0.0, 1.0).tones, (4, 8, 11, 2))

    def test_pieces_end_with_dominant_or_tonic_and_tonic(self):
        for seed in range(20):
            chords = progression(Draw(seed), 2, "major", METERS["4/4"], 8)
            self.assertEqual(chords[-1].root, 2)
            self.assertIn(57, {chord_at(chords, place).degree for place in (20.0, 24.0)})

    def test_chords_leave_no_gap(self):
        chords = progression(Draw("gaps"), 0, "minor", METERS["7/8"], 12)
        for before, after in zip(chords, chords[1:]):
            self.assertAlmostEqual(before.start + before.length, after.start)
        self.assertAlmostEqual(chords[-1].start + chords[-1].length, 42.0)


class Time(unittest.TestCase):
    def test_a_steady_quarter_at_120_lasts_half_a_second(self):
        timeline = Timeline(METERS["4/4"], 120.0, 8, 0.25)
        self.assertAlmostEqual(timeline.seconds(6.0), 3.25)

    def test_a_beat_of_six_eight_is_a_dotted_quarter(self):
        timeline = Timeline(METERS["6/8"], 60.0, 6, 0.0)
        self.assertAlmostEqual(timeline.seconds(3.0), 2.0)

    def test_swung_eighths_stand_at_their_share_and_beats_stay(self):
        timeline = Timeline(METERS["4/4"], 60.0, 8, 0.0, swing=2.0 / 3.0)
        self.assertAlmostEqual(timeline.seconds(1.5), 1.0 + 2.0 / 3.0)
        self.assertAlmostEqual(timeline.seconds(2.0), 2.0)

    def test_a_ritardando_keeps_its_begin_and_slows_its_end(self):
        timeline = Timeline(METERS["4/4"], 60.0, 10, 0.0, tempo_at=ritardando(0.5, 0.5))
        self.assertAlmostEqual(timeline.seconds(5.0), 5.0)
        # The mean of 1 / tempo while tempo falls from 1 to 1/2 is 2 ln 2.
        self.assertAlmostEqual(timeline.seconds(10.0), 5.0 + 5.0 * 1.386294, places=1)


class Scores(unittest.TestCase):
    def test_beats_and_notes_stand_together(self):
        for plan in SCORES[::24]:
            score = write_score(plan)
            starts = sorted(note.start_seconds for note in score.notes)
            for beat in score.downbeats:
                self.assertLess(min(abs(start - beat) for start in starts), 0.6, plan.name)
            self.assertLess(abs(starts[0] - score.beats[0]), 0.6)

    def test_nine_in_ten_notes_belong_to_the_key_or_its_leading_tone(self):
        for plan in SCORES[::24]:
            score, settings = write_score(plan), plan.settings
            tones = [note.pitch % 12 for note in score.notes if note.channel != DRUM_CHANNEL]
            tonic, mode = settings["tonic"], settings["mode"]
            scale = scale_for(tonic, mode, 1) + scale_for(tonic, mode, 5)
            self.assertGreater(sum(tone in scale for tone in tones), 0.9 * len(tones), plan.name)

    def test_steady_scores_have_the_tempo_of_their_plan(self):
        for plan in [plan for plan in SCORES if plan.settings["feel"] == "steady"][::20]:
            self.assertAlmostEqual(write_score(plan).tempo, plan.settings["bpm"], places=6)

    def test_no_key_of_a_channel_is_struck_while_it_sounds(self):
        for plan in SCORES[::40]:
            ends = {}
            for note in sorted(write_score(plan).notes, key=lambda note: note.start_seconds):
                key = (note.channel, note.pitch)
                self.assertGreaterEqual(note.start_seconds, ends.get(key, 0.0))
                ends[key] = note.end_seconds


if __name__ == "__main__":
    unittest.main()
