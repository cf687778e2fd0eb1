"""Makes the recordings of a half and the truth of each, in the cache."""

import json
from dataclasses import dataclass

import numpy as np

from bench.truth import synth
from bench.truth.calibrate import Calibration
from bench.truth.degrade import CODINGS, NOISE_LEVELS_DB, through_codec, with_noise
from bench.truth.draw import Draw
from bench.truth.paths import cache, write_whole
from bench.truth.plans import FONTS, Plan
from bench.truth.render import RATE, at_peak, render, write_audio
from bench.truth.written import written
from bench.truth.truth import merged_onsets, pitch_frames

MATERIAL_VERSION = "1"


@dataclass(frozen=True)
class Item:
    """One recording: a plan in one variant."""

    plan: Plan
    variant: str          # base, other font, noise or codec
    detail: str = ""      # the noise's level or the coding

    @property
    def name(self):
        return f"{self.plan.name}-{(self.variant + self.detail).replace(' ', '-')}"

    @property
    def wav(self):
        return cache() / f"material-{MATERIAL_VERSION}" / f"{self.name}.wav"

    @property
    def truth_path(self):
        return self.wav.with_suffix(".json")

    def truth(self):
        return json.loads(self.truth_path.read_text())


def items_of(plan):
    """Every plan as it is; scores also with another font, one level of noise and one coding."""
    items = [Item(plan, "base")]
    if plan.kind == "score":
        draw = Draw(plan.seed + " variants")
        items.append(Item(plan, "noise", str(draw.pick(NOISE_LEVELS_DB))))
        items.append(Item(plan, "codec", draw.pick(tuple(CODINGS))))
        items.append(Item(plan, "other font"))
    return items


class Workshop:
    """Makes recordings that are not there yet."""

    def __init__(self):
        self._calibration = None

    @property
    def calibration(self):
        if self._calibration is None:
            self._calibration = Calibration.kept_or_measured()
        return self._calibration

    def make(self, plan, variants):
        """The missing recordings of a plan; those that share a sound share its rendering."""
        sounds = {}
        for item in items_of(plan):
            if item.variant in variants and not item.truth_path.exists():
                other_font = item.variant == "other font"
                if other_font not in sounds:
                    sounds[other_font] = self.sound(plan, other_font)
                self.finish(item, *sounds[other_font])

    def sound(self, plan, other_font):
        """(audio, truth) before noise and coding."""
        font = FONTS[1 - FONTS.index(plan.font)] if other_font else plan.font
        reverb = plan.reverb != other_font
        score = written(plan)
        if plan.kind == "notes" and score is None:
            return self.click_sound(plan)
        if score is None:
            audio = synth.NEGATIVE_SOUNDS[plan.settings["what"]](plan.seed)
            return at_peak(audio), {}
        if plan.settings.get("sound") == "own":
            audio = synth.line_audio(score, plan.settings["vibrato_cents"], plan.settings["brightness"])
            return at_peak(audio), self.truth_of(plan, score, None, audio)
        audio = at_peak(render(score.notes, score.programs, score.volumes, font, reverb, score.end_seconds))
        return audio, {**self.truth_of(plan, score, font, audio), "font": font, "reverb": reverb}

    def click_sound(self, plan):
        draw, places, now = Draw(plan.seed), [], 0.4
        while now < 20.0:
            places.append(int(now * RATE))
            now += draw.uniform(0.3, 1.1)
        audio = synth.clicks_at(places, int(21.0 * RATE))
        return at_peak(audio), {"onsets": [place / RATE for place in places]}

    def note_begins(self, score, font):
        """When each note begins to sound."""
        if font is None:
            return [note.start_seconds for note in score.notes]
        return [note.start_seconds + self.calibration.begin_seconds(font, note, score.programs.get(note.channel))
                for note in score.notes]

    def truth_of(self, plan, score, font, audio):
        delay = self.calibration.click_seconds(font) if font else 0.0
        if plan.kind == "negative":
            return {}
        truth = {"onsets": merged_onsets(self.note_begins(score, font))}
        if plan.kind == "score":
            truth.update(tempo=score.tempo, beats_per_bar=score.beats_per_bar, key=score.key,
                         beats=[beat + delay for beat in score.beats],
                         downbeats=[beat + delay for beat in score.downbeats])
        if plan.kind == "line":
            begins = self.note_begins(score, font)
            truth["f0"] = pitch_frames(score.notes, begins, plan.settings.get("vibrato_cents", 0.0),
                                       audio.size / RATE)
        return truth

    def finish(self, item, audio, truth):
        plan, delay = item.plan, None
        if item.variant == "noise":
            audio = at_peak(with_noise(audio, int(item.detail), plan.seed + " noise"))
        elif item.variant == "codec":
            audio, delay = through_codec(audio, item.detail)
            audio = np.clip(audio, -1.0, 1.0)
        write_audio(item.wav, audio)
        record = {"piece": plan.name, "kind": plan.kind, "stratum": plan.stratum, "variant": item.variant,
                  "detail": item.detail, "settings": plan.settings, "seconds": audio.size / RATE,
                  "codec_delay_samples": delay, **truth}
        write_whole(item.truth_path, json.dumps(record))


def material(plans, variants, say=lambda text: None):
    """The items of these plans, base first; those that are missing are made."""
    workshop = Workshop()
    for count, plan in enumerate(plans):
        missing = [item for item in items_of(plan) if item.variant in variants and not item.truth_path.exists()]
        if missing:
            say(f"making {plan.name} ({count + 1} of {len(plans)})")
            workshop.make(plan, variants)
    items = [item for plan in plans for item in items_of(plan) if item.variant in variants]
    return sorted(items, key=lambda item: (variants.index(item.variant), item.name))
