# Several Python threads use the module at once: each checks its own results exactly while the
# others code, flush (which runs every object's deliveries) and drop objects whose deliveries
# still wait.
import struct
import threading

import numpy as np

import kestrune
from conftest import DATA

SPEECH = np.fromfile(DATA / "speech-16k.pcm", dtype=np.int16)
SPEECH_8K = np.fromfile(DATA / "speech-8k.pcm", dtype=np.int16)
BLOCKS = (DATA / "speech-16k.spx-framed").read_bytes()
BLOCK = 216  # marker, length, five 42-byte frames


def opus_round_trip():
    packets, pcm = [], []
    encoder = kestrune.OpusEncoder(callback=packets.append)
    decoder = kestrune.OpusDecoder(callback=pcm.append)
    encoder.encode(SPEECH[: 160 * 6])  # six chunks of 160 samples (the format's 320 bytes)
    assert encoder.flush() == packets and len(packets) == 6
    # Records of the default framing: 4-byte big-endian length, 4 reserved bytes, the packet.
    records = b"".join(struct.pack(">I4x", len(p)) + p for p in packets)
    decoder.decode(records)
    assert decoder.flush() == pcm and len(pcm) == 6
    assert all(len(chunk) == 640 for chunk in pcm)  # 320 samples of 16 kHz mono
    assert np.abs(np.frombuffer(b"".join(pcm), dtype=np.int16)).max() > 1000
    kestrune.OpusDecoder().decode(records)  # dropped at once, its PCM maybe on its way
    encoder.close()
    decoder.close()


def speex_stream():
    frames = []
    decoder = kestrune.SpeexDecoder(callback=frames.append)
    decoder.feed(BLOCKS[: 3 * BLOCK])
    assert decoder.flush() == frames and len(frames) == 15
    assert all(len(frame) == 640 for frame in frames)
    kestrune.SpeexDecoder().feed(BLOCKS)  # dropped at once, its frames on their way


def speech_codec():
    frames = kestrune.pcm_to_wtg(SPEECH_8K[:8000])
    assert len(frames) == 100 * 10
    assert len(kestrune.wtg_to_pcm(frames)) == 8000


def test_threads_use_the_module_at_once():
    failures = []

    def repeat(job):
        try:
            for _ in range(15):
                job()
        except BaseException as failure:  # reported by the test's own thread
            failures.append(failure)

    jobs = [opus_round_trip, opus_round_trip, speex_stream, speex_stream, speech_codec]
    threads = [threading.Thread(target=repeat, args=(job,)) for job in jobs]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert failures == []
