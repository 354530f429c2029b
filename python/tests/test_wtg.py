# The speech codec keeps process-wide memory that carries from one coding to the next, so a
# process's codings are compared with the tool coding the same files in one run, each in a
# fresh interpreter.
import shutil
import subprocess
import sys
import textwrap

import pytest


@pytest.fixture
def two_files(tool, speech_8k, tmp_path):
    """Two copies of the speech and the tool's WTG files of both, coded in one run."""
    for name in ("a", "b"):
        shutil.copy(speech_8k, tmp_path / f"{name}.pcm")
    (tmp_path / "tool").mkdir()
    subprocess.run([tool, "--quiet", "pcm2wtg", str(tmp_path / "a.pcm"), str(tmp_path / "b.pcm"),
                    f"{tmp_path}/tool/"], check=True, capture_output=True)
    return tmp_path


def run_fresh(script, folder):
    subprocess.run([sys.executable, "-c", textwrap.dedent(script)], cwd=folder, check=True)


def test_round_trip_equals_the_tools_output(tool, two_files):
    subprocess.run([tool, "--quiet", "wtg2pcm", "tool/a.wtg", "tool/a.pcm"], cwd=two_files,
                   check=True, capture_output=True)
    run_fresh("""
        import numpy as np, kestrune
        frames = kestrune.pcm_to_wtg(np.fromfile("a.pcm", dtype=np.int16))
        open("a.wtg", "wb").write(frames)
        open("b.wtg", "wb").write(kestrune.pcm_to_wtg(open("b.pcm", "rb").read()))
        kestrune.wtg_to_pcm(frames).tofile("a-back.pcm")
    """, two_files)
    for name in ("a.wtg", "b.wtg"):
        assert (two_files / name).read_bytes() == (two_files / "tool" / name).read_bytes()
    assert (two_files / "a-back.pcm").read_bytes() == (two_files / "tool/a.pcm").read_bytes()


def test_file_helpers_write_what_the_tool_writes(two_files):
    run_fresh("""
        import kestrune
        assert kestrune.pcm2wtg("a.pcm", "a.wtg") == 1033
        assert kestrune.pcm2wtg("b.pcm", "b.wtg") == 1033
    """, two_files)
    for name in ("a.wtg", "b.wtg"):
        assert (two_files / name).read_bytes() == (two_files / "tool" / name).read_bytes()


def test_two_threads_coding_at_once_take_turns(two_files):
    # Each thread codes a strided view (no copy is possible) while the other codes; without
    # the guard their frames would interleave in the codec's shared memory.
    run_fresh("""
        import threading, numpy as np, kestrune
        pcm = np.fromfile("a.pcm", dtype=np.int16)
        stereo = np.repeat(pcm, 2).reshape(-1, 2)
        results = []
        threads = [threading.Thread(target=lambda: results.append(kestrune.pcm_to_wtg(stereo[:, 0])))
                   for _ in range(2)]
        for thread in threads: thread.start()
        for thread in threads: thread.join()
        expected = sorted([open("tool/a.wtg", "rb").read(), open("tool/b.wtg", "rb").read()])
        assert sorted(results) == expected
    """, two_files)
