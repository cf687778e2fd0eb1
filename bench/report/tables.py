"""The figures as tables, in text and in Markdown."""

from bench.report import targets


# Columns that hold no numbers.
NAMES = ("keys", "ours", "peer", "target", "feature", "the same for all", "what differs",
         "what", "beside", "beyond it")


class Table:
    """A title, the names of columns, and rows of text."""

    def __init__(self, title, columns):
        self.title = title
        self.columns = columns
        self.rows = []

    def text(self):
        widths = [max(len(row[i]) for row in [self.columns, *self.rows])
                  for i in range(len(self.columns))]
        lines = [self.title, ""]
        for row in [self.columns, *self.rows]:
            cells = [cell.ljust(width) if column in NAMES else cell.rjust(width)
                     for cell, width, column in zip(row, widths, self.columns)]
            lines.append("  ".join(cells).rstrip())
        return "\n".join(lines)

    def markdown(self):
        rule = ["---" if column in NAMES else "---:" for column in self.columns]
        rows = [self.columns, rule, *self.rows]
        return "\n".join([f"**{self.title}**", ""] + ["| " + " | ".join(r) + " |" for r in rows])


def number(figures, name, digits=2, scale=1.0):
    """A figure as text, a dash where it was not measured."""
    return f"{scale * figures[name]['value']:.{digits}f}" if name in figures else "-"


def target(figures, name, scale=1.0):
    """The target of a figure and whether it is met."""
    limit = targets.limit_of(name)
    if limit is None:
        return ""
    verdict = ""
    if name in figures:
        verdict = " met" if targets.is_met(name, figures[name]["value"]) else " MISSED"
    return f"<= {scale * limit:g}{verdict}"


def cost_table(figures):
    table = Table("CPU time per minute of audio, by the floor",
                  ["keys", "seconds", "floor", "ratio", "target", "spread %"])
    for name in figures:
        if not name.startswith("ratio/"):
            continue
        subject = name.removeprefix("ratio/")
        cost = "cost/" + subject
        floor = figures[cost]["value"] / figures[name]["value"]
        table.rows.append([subject.split("/", 1)[1], number(figures, cost, 5), f"{floor:.5f}",
                           number(figures, name), target(figures, name),
                           f"{100 * figures[name]['spread']:.0f}"])
    return table


def setup_table(figures):
    table = Table("Setting up, allocations and memory",
                  ["keys", "initialize ms", "target", "reset ms", "reset : initialize", "target",
                   "allocations per block", "target"])
    for name in figures:
        if not name.startswith("initialize/"):
            continue
        key = name.removeprefix("initialize/")
        share = "reset share/" + key
        table.rows.append([key, number(figures, name, 3, 1e3), target(figures, name, 1e3),
                           number(figures, "reset/" + key, 3, 1e3), number(figures, share, 3),
                           target(figures, share), number(figures, "allocations/" + key, 3),
                           target(figures, "allocations/" + key)])
    return table


def stream_table(figures):
    lengths = sorted({int(name.rsplit("/", 1)[1]) for name in figures
                      if name.startswith("memory/")})
    columns = ["keys", "seconds at 1"]
    columns += [f"at {m} : at 1" for m in lengths if m > 1] + ["target"]
    columns += [f"MB per minute at {m}" for m in lengths] + ["target"]
    table = Table("Streams of some minutes: CPU time and memory per minute", columns)
    for name in figures:
        if not (name.startswith("stream/") and name.endswith("/1")):
            continue
        key = name.split("/")[1]
        longest = f"{key}/{targets.GROWTH_MINUTES}"
        row = [key, number(figures, name, 5)]
        row += [number(figures, f"growth/{key}/{m}") for m in lengths if m > 1]
        row.append(target(figures, "growth/" + longest) if "growth/" + longest in figures else "")
        row += [number(figures, f"memory/{key}/{m}") for m in lengths]
        row.append(target(figures, f"memory/{key}/{lengths[-1]}"))
        table.rows.append(row)
    return table


def peer_table(figures):
    table = Table("Peers on the same audio",
                  ["ours", "seconds", "peer", "peer's seconds", "ours : peer", "target"])
    for name in figures:
        if not name.startswith("against/"):
            continue
        ours, peer = name.removeprefix("against/").split(" by ")
        table.rows.append([ours.split("/", 1)[1], number(figures, "cost/" + ours, 5),
                           peer.removeprefix("peer/"), number(figures, "cost/" + peer, 5),
                           number(figures, name, 3), target(figures, name)])
    return table


def missed(figures):
    """One line per target that is missed."""
    return [f"{name}: {figures[name]['value']:.3g}, target <= {targets.limit_of(name):g}"
            for name in figures
            if targets.limit_of(name) is not None
            and not targets.is_met(name, figures[name]["value"])]


def all_tables(figures):
    """Those that have rows."""
    tables = (cost_table(figures), peer_table(figures), setup_table(figures),
              stream_table(figures))
    return [table for table in tables if table.rows]
