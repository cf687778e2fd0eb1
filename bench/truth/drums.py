"""Drum parts by meter and style. A stroke is (place, length, key, accent)."""

KICK, SNARE, STICK, CLOSED, OPEN, CRASH, RIDE, TOM_HIGH, TOM_LOW, PEDAL, SHAKER = \
    36, 38, 37, 42, 46, 49, 51, 50, 45, 44, 70
STROKE = 0.2


def every(step, length):
    return [index * step for index in range(int(round(length / step)))]


def rock(meter):
    bar = {CLOSED: every(0.5, meter.bar), KICK: [0.0], SNARE: []}
    if meter.name == "4/4":
        bar.update({KICK: [0.0, 2.0, 2.5], SNARE: [1.0, 3.0]})
    elif meter.name == "2/4":
        bar.update({KICK: [0.0], SNARE: [1.0]})
    elif meter.name == "3/4":
        bar.update({KICK: [0.0], SNARE: [2.0]})
    elif meter.name == "5/4":
        bar.update({KICK: [0.0, 3.0], SNARE: [1.0, 4.0]})
    elif meter.name == "6/8":
        bar.update({KICK: [0.0], SNARE: [1.5]})
    else:
        bar.update({KICK: [0.0, 2.0], SNARE: [1.0, 3.0]})
    return bar


def jazz(meter):
    """A ride pattern with the pedal on weak groups."""
    accents = meter.accents()
    ride = sorted(set(accents + [place + 0.5 for place in accents[1::2]]))
    return {RIDE: ride, PEDAL: accents[1::2], KICK: [0.0]}


def light(meter):
    """Shaker eighths, kick on the bar, stick on weak groups."""
    accents = meter.accents()
    return {SHAKER: every(0.5, meter.bar), KICK: [0.0], STICK: accents[2::2] or accents[1:]}


def dance(meter):
    """A kick on every group, hats after it."""
    accents = meter.accents()
    return {KICK: accents, OPEN: [place + 0.5 for place in accents], SNARE: accents[1::2]}


def half_time(meter):
    accents = meter.accents()
    return {KICK: [0.0], SNARE: [accents[(len(accents) + 1) // 2]], CLOSED: accents}


STYLES = {"rock": rock, "jazz": jazz, "light": light, "dance": dance, "half time": half_time}


def fill(draw, meter, start):
    """The last group of a phrase on snare and toms."""
    begin = meter.accents()[-1]
    places = every(0.25, meter.groups[-1]) if draw.chance(0.5) else every(0.5, meter.groups[-1])
    kit = (SNARE, TOM_HIGH, TOM_LOW)
    return [(start + begin + place, STROKE, kit[min(index, 2)], False) for index, place in enumerate(places)]


def drum_part(draw, style, meter, bars, first_bar=0):
    """Bars from first_bar on. Phrases of four begin with a crash now and then and may end with a fill."""
    pattern = STYLES[style](meter)
    strokes = []
    for bar in range(first_bar, bars - 1):
        start = bar * meter.bar
        with_fill = bar % 4 == 3 and draw.chance(0.6)
        end = meter.accents()[-1] if with_fill else meter.bar
        strokes += [(start + place, STROKE, key, place == 0.0) for key, places in pattern.items()
                    for place in places if place < end]
        if with_fill:
            strokes += fill(draw, meter, start)
        if bar % 4 == 0 and draw.chance(0.4):
            strokes.append((start, STROKE, CRASH, True))
    final = (bars - 1) * meter.bar
    return strokes + [(final, STROKE, KICK, True), (final, STROKE, CRASH, True)]
