# The speech codec keeps process-wide memory that carries from one coding to the next, so a
# process's codings are compared with the tool coding the same files in one run, each in a
# fresh interpreter.
import shutil
import subprocess
import sys
import textwrap

import pytest

from conftest import DATA


@pytest.fixture
def folder(tool, tmp_path):
    """Three copies of the speech and the tool's WTG files of them, coded in one run, and its
    decoding of the first."""
    for name in "abc":
        shutil.copy(DATA / "speech-8k.pcm", tmp_path / f"{name}.pcm")
    (tmp_path / "tool").mkdir()
    for command in (["pcm2wtg", "a.pcm", "b.pcm", "c.pcm", "tool/"],
                    ["wtg2pcm", "tool/a.wtg", "tool/a.pcm"]):
        subprocess.run([tool, "--quiet", *command], cwd=tmp_path, check=True, capture_output=True)
    return tmp_path


def run_fresh(script, folder):
    subprocess.run([sys.executable, "-c", textwrap.dedent(script)], cwd=folder, check=True)


def test_arrays_bytes_and_files_code_as_the_tool_does(folder):
    run_fresh("""
        import numpy as np, kestrune
        frames = kestrune.pcm_to_wtg(np.fromfile("a.pcm", dtype=np.int16))
        open("a.wtg", "wb").write(frames)
        open("b.wtg", "wb").write(kestrune.pcm_to_wtg(open("b.pcm", "rb").read()))
        assert kestrune.pcm2wtg("c.pcm", "c.wtg") == 1033
        kestrune.wtg_to_pcm(frames).tofile("a-back.pcm")
    """, folder)
    for name in ("a.wtg", "b.wtg", "c.wtg"):
        assert (folder / name).read_bytes() == (folder / "tool" / name).read_bytes()
    assert (folder / "a-back.pcm").read_bytes() == (folder / "tool/a.pcm").read_bytes()


def test_two_threads_coding_at_once_take_turns(folder):
    # Each thread codes a strided view (no copy is possible) while the other codes; without
    # the guard their frames would interleave in the codec's shared memory.
    run_fresh("""
        import threading, numpy as np, kestrune
        stereo = np.repeat(np.fromfile("a.pcm", dtype=np.int16), 2).reshape(-1, 2)
        results = []
        threads = [threading.Thread(target=lambda: results.append(kestrune.pcm_to_wtg(stereo[:, 0])))
                   for _ in range(2)]
        for thread in threads: thread.start()
        for thread in threads: thread.join()
        assert sorted(results) == sorted([open(f"tool/{n}.wtg", "rb").read() for n in "ab"])
    """, folder)
