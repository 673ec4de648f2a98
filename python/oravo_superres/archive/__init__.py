"""Whole archives of recordings, each enhanced by the program ``oravo-superres`` in a process of its own.

::

    python3 -m oravo_superres.archive RECORDINGS/ -o RESULTS/ -- --pipeline float

or :func:`run_archive`. Recordings are spread over the processors of this machine, or over those of a cluster, by
dask.distributed (Debian's ``python3-distributed``; ``pip install oravo-superres[archive]``). A run that was ended goes on by
the same call: what a receipt beside its image proves finished is left as it is.
"""

from ._items import Item, Outcome
from ._plan import Duplicates
from ._run import Summary, run_archive
from ._workers import ArchiveError

__all__ = ["ArchiveError", "Duplicates", "Item", "Outcome", "Summary", "run_archive"]
