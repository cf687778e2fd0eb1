"""Names of files with every byte that a name can have."""

LONGEST = 255
BYTES = bytes(byte for byte in range(1, 256) if byte != ord("/"))
#: Names that a shell, a table, a pattern or a decoder could take for something else.
SPECIAL = [
    b"-", b"--", b"--help.wav", b"-o.wav", b"-rf", b"~", b"~root.wav", b"#1.wav", b"...", b".hidden.wav", b"..wav",
    b"*.wav", b"?", b"[a-z].wav", b"{a,b}.wav", b"a\\b.wav", b"\\xff.wav", b"\xff.wav", b"\\", b"%s%n%d.wav",
    b"song %03d.wav", b"$(true).wav", b"`true`.wav", b"$HOME.wav", b";true", b"a&b|c>d<e.wav", b"'", b'"',
    b"''\"\".wav", b"a'b\"c.wav", b"line\nbreak.wav", b"\n", b"\r\n.wav", b"tab\t.wav", b"\x1b[2J.wav", b"\x7f.wav",
    b" ", b" lead.wav", b"trail.wav ", b"a,b;c.csv.wav", b"null", b"NaN.wav", b"True", b"1e5.wav", b"pipe:0",
    b"pipe:0.wav", b"file:a.wav", b"http:a.wav", b"concat:a.wav|b.wav", b"data:,a.wav", b"cache:a.wav", b"C:a.wav",
    b"subfile,,start,0,end,9,,:a.wav",
    "Ünïcode ♫.wav".encode(), "e\u0301.wav".encode(), "\u00e9.wav".encode(), "\U0001f3b5.wav".encode(),
    "\u202ewav.a".encode(), "\ufeffbom.wav".encode(), b"\xed\xa0\x80.wav", b"\xc0\xaf.wav", b"\xf5\x80\x80\x80.wav",
    b"\xe2\x99.wav", b"caf\xe9.wav", b"sidecar.wav.tmp", b".qel-0.wav", b"dataset.sqlite", b"prefix=x0", b"id=1.wav",
    b"con.wav", b"a" * LONGEST, b"\xff" * LONGEST, b"\n" * LONGEST, ("ü" * 127).encode(), b"-" * 251 + b".wav",
]
FOLDERS = [b"", b"", b"", b"album 1", b"album 2", b"album 2/disc 1", b"-", b"a'b\"c", b"odd \xff\xfe", b"new\nline",
           b"*", "Ü".encode(), b"d" * LONGEST, b".hidden"]


def _random_name(rng, end):
    length = rng.choice((1, 2, 3, 8, 20, 60, LONGEST - len(end)))
    return bytes(rng.choices(BYTES, k=length)) + end


class Names:
    """Paths that are all different: special names, names of one byte, random and plain ones."""

    def __init__(self, rng, count):
        self._rng = rng
        self._taken = {b".", b"..", *FOLDERS}  # a folder's name is none for a file
        singles = [bytes([byte]) for byte in BYTES]
        self._special = [*rng.sample(SPECIAL, min(len(SPECIAL), count // 2)),
                         *rng.sample(singles, min(len(singles), count // 6))]

    def next(self, end):
        """A path, with this end where there is a choice."""
        while True:
            name = self._name(end)
            folder = self._rng.choice(FOLDERS)
            path = folder + b"/" + name if folder else name
            if name not in (b".", b"..") and path not in self._taken:
                self._taken.add(path)
                return path

    def _name(self, end):
        if self._special:
            return self._special.pop()
        if self._rng.random() < 0.4:
            return _random_name(self._rng, end)
        return f"song {self._rng.randrange(10**6)}".encode() + end
