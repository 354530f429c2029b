import numpy as np
import pytest

import kestrune

I16 = np.zeros(160, dtype=np.int16)


@pytest.mark.parametrize("call, error, message", [
    (lambda: kestrune.pcm_to_wtg(np.zeros(160)), TypeError, "int16, not float64"),
    (lambda: kestrune.OpusEncoder().encode(I16.astype(np.int32)), TypeError, "int16"),
    (lambda: kestrune.pcm_to_wtg(I16, rate=16000), ValueError, "8000 Hz mono PCM, not 16000 Hz"),
    (lambda: kestrune.OpusEncoder(rate=44100), ValueError,
     "opus_encoder_create error:invalid argument"),
    (lambda: kestrune.OpusDecoder(channels=3), ValueError,
     "opus_decoder_create error:invalid argument"),
    (lambda: kestrune.wtg_to_pcm(bytes(25)), ValueError,
     "25 bytes is not a whole number of 10-byte frames"),
    (lambda: kestrune.pcm_to_wtg(bytes(3)), ValueError, "even number of bytes"),
    (lambda: kestrune.pcm2wtg("missing.pcm", "out.wtg"), ValueError, "cannot be read"),
])
def test_errors_map_to_python_exceptions(call, error, message):
    with pytest.raises(error, match=message):
        call()
