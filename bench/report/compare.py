"""What moved from one run to another beyond the noise of their repetitions."""

# Smaller differences are not reported: as a share, and of memory in MB per minute, as a few pages
# come and go from run to run.
LEAST_CHANGE = 0.01
LEAST_MEMORY_CHANGE = 0.1
# Figures in seconds of the machine. They tell nothing about a run on another one.
_OF_THE_MACHINE = ("cost/", "initialize/", "reset/", "stream/")
# Measured beside ours so that ours can be judged, and not ours to change.
_NOT_OURS = ("cost/floor/", "cost/peer/")


def moved(name, old, new):
    """Whether a figure differs by more than the greater one of its two spreads."""
    if name.startswith("memory/") and abs(new["value"] - old["value"]) < LEAST_MEMORY_CHANGE:
        return False
    less, more = sorted((old["value"], new["value"]))
    noise = max(old["spread"], new["spread"], LEAST_CHANGE)
    return more > less * (1 + noise)


def comparable(name, same_machine):
    return not name.startswith(_NOT_OURS) and (
        same_machine or not name.startswith(_OF_THE_MACHINE))


def compare(old, new):
    """(lines, whether anything moved) of two documents."""
    same = old["machine"] == new["machine"]
    lines = [] if same else ["Another machine than that of the stored run: seconds are left out."]
    common = [name for name in new["figures"]
              if name in old["figures"] and comparable(name, same)]
    changes = []
    for name in common:
        before, after = old["figures"][name], new["figures"][name]
        if moved(name, before, after):
            changes.append((name, before, after))
    for name, before, after in changes:
        verdict = "worse" if after["value"] > before["value"] else "better"
        noise = max(before["spread"], after["spread"])
        lines.append(f"{verdict:6}  {name}: {before['value']:.4g} -> {after['value']:.4g}"
                     f"{percent(before, after)}, noise {100 * noise:.1f} %")
    lines.append(f"{len(changes)} of {len(common)} figures moved beyond the noise")
    return lines, bool(changes)


def percent(before, after):
    """How far it moved, where that can be said."""
    if before["value"] == 0:
        return ""
    return f", {100 * (after['value'] / before['value'] - 1):+.1f} %"
