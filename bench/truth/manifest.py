"""The split into halves: once, by piece, the same for all variants of a piece.

The manifest has hashes of the parameters of every piece and of its notes. Within a stratum (meter, mode,
drums or none of a score; the kind of sound of others) pieces are ordered by a hash of their name and
handed out in turn, so that both halves have the same mix.

    python3 -m bench.truth.manifest     writes it anew: only when the material gets a new version
"""

import hashlib
import json
from collections import defaultdict
from pathlib import Path

from bench.truth.plans import all_plans
from bench.truth.written import score_digest

SPLIT_SEED = "halves 1"
HALVES = ("develop", "measure")
MANIFEST = Path(__file__).with_name("manifest.json")


def rank(text):
    return hashlib.sha256(f"{SPLIT_SEED} {text}".encode()).hexdigest()


def split(plans):
    """The half of each plan, by name."""
    strata = defaultdict(list)
    for plan in plans:
        strata[plan.stratum].append(plan)
    halves, turn = {}, 0
    for stratum in sorted(strata):
        for plan in sorted(strata[stratum], key=lambda plan: rank(plan.name)):
            halves[plan.name] = HALVES[turn % 2]
            turn += 1
    return halves


def manifest_of(plans):
    halves = split(plans)
    return {plan.name: {"half": halves[plan.name], "parameters": plan.digest(), "score": score_digest(plan)}
            for plan in plans}


def write():
    lines = [f'  "{name}": {json.dumps(entry)}' for name, entry in manifest_of(all_plans()).items()]
    MANIFEST.write_text("{\n" + ",\n".join(lines) + "\n}\n")


def committed():
    return json.loads(MANIFEST.read_text())


def plans_of(half):
    """The plans of a half, as the committed manifest has them. A plan that differs from it is a fault."""
    entries = committed()
    plans = all_plans()
    for plan in plans:
        if entries.get(plan.name, {}).get("parameters") != plan.digest():
            raise SystemExit(f"bench/truth/manifest.json: {plan.name} is not what the generator makes now; "
                             "restore the generator, or give the material a new seed and a new manifest")
    return [plan for plan in plans if entries[plan.name]["half"] == half]


if __name__ == "__main__":
    write()
