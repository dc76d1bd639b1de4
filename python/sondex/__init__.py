"""Facts of the movies and stills of a dual-lens 360-degree camera, read by the program sondexkit.

`facts` answers for one file and raises `Error`; `scan` gives one `Record` for each of any number of
files, read in worker processes, so that no file can harm the caller.
"""

from ._program import ScanFailed, facts, scan
from ._records import Error, Extent, Movie, Path, Record, Still

__all__ = ["Error", "Extent", "Movie", "Path", "Record", "ScanFailed", "Still", "facts", "scan"]
