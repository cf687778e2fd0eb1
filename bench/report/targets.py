"""How good a figure has to be."""

import re

PEER_SHARE = 0.5
GROWTH_MINUTES = 60
GROWTH_LIMIT = 1.15
# Blocks and payloads stay where they are from block to block; whole-stream keys may let what they
# keep grow now and then.
ALLOCATION_LIMIT = 0.01
# A push by the median of those that complete a frame, and of a block's duration.
PUSH_LIMIT = 3.0
PUSH_SHARE_LIMIT = 0.5

_PER_FRAME_KEYS = (
    # descriptors, phases, mel coefficients, partials, cepstrum, instantaneous frequencies
    "temporal properties", "generic spectrum properties", "spectrum histogram properties",
    "spectrum flux properties", "spectrum", "phase properties",
    "mel frequency cepstral coefficients", "mel spectrum", "partials", "fundamental frequency",
    "inharmonicity", "cepstrum", "instantaneous frequency", "gamma tome spectrum", "audio range",
)

# Of each figure by name the most that it may be.
_LIMITS = {
    **{f"ratio/key/{key}": 4 for key in _PER_FRAME_KEYS},
    "ratio/key/spectrum peak properties": 3,
    "ratio/key/tempo": 3,
    "ratio/key/constant q spectrum": 0.3,
    "ratio/key/reasigned spectrum": 3.5,
    # At least five times as fast as its filters in a scalar loop.
    "ratio/key/onset data": 0.2,
    "ratio/group/all keys": 0.65,
    "ratio/group/pitch classes and keys": 1.5,
    "ratio/group/tempo and beats": 2.0,
    "ratio/group/tempo, beats and meter, three minutes": 3.0,
    "against/key/onset data by peer/libaubio: onsets": 0.25,
    "initialize/constant q spectrum": 0.015,
    "reset share/constant q spectrum": 0.05,
    "memory/all keys but reasigned spectrum/60": 45.0,
    # Whole ways of audio, by the names that road.py gives them.
    "road/all keys, first minute of a process": 1.15,
    'road/"reasigned spectrum", first minute of a process': 1.3,
    'road memory/"reasigned spectrum", first minute of a process': 90.0,
    "road/qel read, MP3 of 4 minutes": 2.0,
    "road/qel analyze --all --format csv, 1 minute": 1.5,
    "road/qel read, samples of 1 s, per file": 1.3,
    "road/qel analyze, samples of 1 s, per file": 1.3,
    "road/all keys, two minutes in two threads": 0.53,
}

_PATTERNS = (
    # A peer that works on decimated audio and gives one figure where ours gives many is shown, and
    # no target.
    (re.compile(r"against/key/global key by peer/libqm-dsp: key$"), None),
    (re.compile(r"against/"), PEER_SHARE),
    (re.compile(r"memory/onset data/"), 4.0),
    (re.compile(r"allocations/"), ALLOCATION_LIMIT),
    (re.compile(r"push ratio/all per-frame keys/"), None),
    (re.compile(r"push ratio/"), PUSH_LIMIT),
    (re.compile(r"road share/"), PUSH_SHARE_LIMIT),
    (re.compile(r"push share/all per-frame keys/"), PUSH_SHARE_LIMIT),
    (re.compile(rf"growth/.*/{GROWTH_MINUTES}$"), GROWTH_LIMIT),
)


def limit_of(name):
    """The most that the figure of this name may be, None if there is no target."""
    if name in _LIMITS:
        return _LIMITS[name]
    for pattern, limit in _PATTERNS:
        if pattern.match(name):
            return limit
    return None


def is_met(name, value):
    """Whether a figure with a target is good enough."""
    return value <= limit_of(name)


def names():
    """The figures that have targets of their own."""
    return tuple(_LIMITS)
