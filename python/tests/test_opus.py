import struct

import numpy as np

import kestrune


def test_a_callback_based_stream_encodes_and_decodes():
    packets, pcm = [], []
    encoder = kestrune.OpusEncoder(callback=packets.append)
    decoder = kestrune.OpusDecoder(callback=pcm.append)
    tone = (8000 * np.sin(np.arange(160 * 6) * 2 * np.pi * 440 / 16000)).astype(np.int16)

    encoder.encode(tone)  # six chunks of 160 samples (the format's 320 bytes)
    assert encoder.flush() == packets and len(packets) == 6
    # Records of the default framing: 4-byte big-endian length, 4 reserved bytes, the packet.
    decoder.decode(b"".join(struct.pack(">I4x", len(p)) + p for p in packets))
    assert decoder.flush() == pcm and len(pcm) == 6
    assert all(len(chunk) == 640 for chunk in pcm)  # 320 samples of 16 kHz mono
    assert np.abs(np.frombuffer(b"".join(pcm), dtype=np.int16)).max() > 1000
    encoder.close()
    decoder.close()


def test_speex_frames_reach_the_callback(tmp_path):
    from conftest import DATA

    frames = []
    decoder = kestrune.SpeexDecoder(callback=frames.append)
    decoder.feed((DATA / "speech-16k.spx-framed").read_bytes())
    delivered = decoder.flush()
    assert delivered == frames and len(frames) > 0 and len(frames) % 5 == 0
    assert all(len(frame) == 640 for frame in frames)
