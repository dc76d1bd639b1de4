#!/usr/bin/env python3
"""A cluster of two worker processes, one of which is killed on the way: every name once, with the
records that one machine gives.  usage: daskTest.py KIT PROGRAM SAMPLE-MAKER SOURCE"""

import os
import pathlib
import signal
import sys
import tempfile

kit, _, sampleMaker, source = sys.argv[1:]
sys.path[:0] = [source + "/tests/contract", source + "/python"]
os.environ["PYTHONPATH"] = source + "/python"  # for the workers
try:
    import dask.bag
    import distributed
except ImportError:
    # Debian's package serves Debian's Python, which need not be the first one on the path.
    debian = "/usr/bin/python3"
    if os.path.exists(debian) and os.path.realpath(sys.executable) != os.path.realpath(debian):
        os.execv(debian, [debian, "-B", *sys.argv])
    print("python3-distributed is missing")
    sys.exit(77)
import samples  # noqa: E402
import sondex.dask  # noqa: E402

# A test that is imported by the cluster's processes must not run in them.
if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        files = [folder / f for kind in samples.make(folder, sampleMaker).values() for f in kind]
        names = [str(folder / f"link{i}{files[i % len(files)].suffix}") for i in range(2000)]
        for i, name in enumerate(names):
            os.symlink(files[i % len(files)], name)
        options = {"program": kit, "decode": False}
        alone = {record.path: record.data for record in sondex.scan(names, **options)}
        assert len(alone) == len(names)

        with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None,
                                      host="127.0.0.1") as cluster, cluster.get_client() as client:
            workers = list(client.run(os.getpid).values())
            records = []
            for record in sondex.dask.scan(iter(names), client=client, partition_size=20, **options):
                records.append(record)
                if len(records) == 500:
                    os.kill(workers[0], signal.SIGKILL)
            assert workers[0] not in client.run(os.getpid).values()
            assert len(records) == len(names)
            assert {record.path: record.data for record in records} == alone

            bag = dask.bag.from_sequence(names[:100], npartitions=4)
            failed = sondex.dask.scan(bag, **options).filter(lambda record: record.error).compute()
            assert {r.path for r in failed} == {n for n in names[:100] if "error" in alone[n]}
            assert all(isinstance(r.error, sondex.Error) and r.error.code for r in failed)
    try:
        sondex.dask.partition([], program="echo")
        assert False
    except ValueError as failure:  # of a record that is only the program's words
        assert failure.doc.endswith("--jobs 1\n"), failure.doc
    