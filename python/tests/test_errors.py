import numpy as np
import pytest

import kestrune


def test_wrong_dtype_is_a_type_error():
    with pytest.raises(TypeError, match="int16, not float64"):
        kestrune.pcm_to_wtg(np.zeros(160))
    with pytest.raises(TypeError, match="int16"):
        kestrune.OpusEncoder().encode(np.zeros(160, dtype=np.int32))


def test_wrong_rate_is_a_value_error():
    with pytest.raises(ValueError, match="8000 Hz mono PCM, not 16000 Hz"):
        kestrune.pcm_to_wtg(np.zeros(160, dtype=np.int16), rate=16000)
    with pytest.raises(ValueError, match="opus_encoder_create error:invalid argument"):
        kestrune.OpusEncoder(rate=44100)
    with pytest.raises(ValueError, match="opus_decoder_create error:invalid argument"):
        kestrune.OpusDecoder(channels=3)


def test_broken_input_is_a_value_error(tmp_path):
    with pytest.raises(ValueError, match="25 bytes is not a whole number of 10-byte frames"):
        kestrune.wtg_to_pcm(bytes(25))
    with pytest.raises(ValueError, match="even number of bytes"):
        kestrune.pcm_to_wtg(bytes(3))
    with pytest.raises(ValueError, match="cannot be read"):
        kestrune.pcm2wtg(str(tmp_path / "missing.pcm"), str(tmp_path / "out.wtg"))
