"""Any number of files, on any number of machines.

`run` divides a corpus into shards. Dask distributes them, ``qel batch`` analyzes each in a process of its
own, and the result is a Parquet dataset. ``python -m qelaudio.corpus`` does the same.
"""

from qelaudio.corpus._run import Corpus, run

__all__ = ["Corpus", "run"]
