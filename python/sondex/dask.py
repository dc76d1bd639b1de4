"""The same on a Dask cluster: every worker runs sondexkit on its share of the names."""

from __future__ import annotations

import collections
import itertools
from typing import Any, Iterable, Iterator, List, Optional, Union

import distributed

from . import _program
from ._records import Path, Record

__all__ = ["partition", "scan"]


def partition(names: Iterable[Path], **options: Any) -> List[Record]:
    """The records of one partition, for an engine's own way to map partitions. Depends on nothing
    but the files, so it may run again elsewhere."""
    options.setdefault("jobs", 1)
    return list(_program.scan(list(names), **options))


def scan(names: Any, *, client: Optional[distributed.Client] = None, partition_size: int = 256,
         retries: int = 3, **options: Any) -> Union[Iterator[Record], Any]:
    """One record for each name. A dask.bag gives a bag of records, partition by partition; any other
    iterable an iterator over records, as partitions get ready, without holding all names at once.

    The files have to be there under these names, and sondexkit to be installed, on every worker.
    `options` are those of sondex.scan; `jobs` is 1, since the cluster spreads the work itself.
    """
    if hasattr(names, "map_partitions"):
        return names.map_partitions(partition, **options)
    return _scan(iter(names), client or distributed.get_client(), partition_size, retries, options)


def _scan(names: Iterator[Path], client: distributed.Client, size: int, retries: int,
          options: Any) -> Iterator[Record]:
    def submit() -> Optional[distributed.Future]:
        share = list(itertools.islice(names, size))
        # Not pure: the same names may have other contents by now.
        return client.submit(partition, share, retries=retries, pure=False, **options) if share else None

    most = 2 * max(1, sum(client.nthreads().values()))
    first = [future for future in (submit() for _ in range(most)) if future]
    ready = distributed.as_completed(first)
    for future in ready:
        records: "collections.deque[Record]" = collections.deque(future.result())
        following = submit()
        if following:
            ready.add(following)
        yield from records
