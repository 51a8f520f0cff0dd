#!/usr/bin/env python3
"""Removes what the loudspeakers played from what the microphone heard, by the library's C interface.

    clean.py MICROPHONE REFERENCE CLEANED

The WAV files hold 16-bit samples at 16 kHz. HALLKORB_AUDIO names the library if it is not installed. Not for macOS:
the shared library is not built there.
"""

import array
import ctypes
import os
import sys
import tempfile
import wave

RATE = 16000
PIECE = 4800  # 0.3 s
CLEANED = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.POINTER(ctypes.c_float),
                           ctypes.POINTER(ctypes.c_uint8), ctypes.c_size_t)


class HallkorbError(Exception):
    """A call failed; the text is the library's."""


def library():
    lib = ctypes.CDLL(os.environ.get("HALLKORB_AUDIO", "libhallkorb-audio.so.0.1"))
    lib.hallkorb_error_text.restype = ctypes.c_char_p
    lib.hallkorb_echo_free.restype = None

    def check(status, _function, _arguments):
        if status:
            raise HallkorbError(f"{lib.hallkorb_error_text().decode()} ({status})")

    handle, samples = ctypes.c_void_p, ctypes.POINTER(ctypes.c_float)
    for name, arguments in (
            ("new", (ctypes.POINTER(handle), CLEANED, ctypes.c_void_p)),
            ("reference", (handle, samples, ctypes.c_size_t)),
            ("microphone", (handle, samples, ctypes.c_size_t)),
            ("finish", (handle,)),
            ("statistics", (handle, ctypes.POINTER(ctypes.c_char_p)))):
        function = getattr(lib, f"hallkorb_echo_{name}")
        function.argtypes = arguments
        function.errcheck = check
    lib.hallkorb_echo_free.argtypes = (handle,)
    return lib


class Echo:
    """The echo path. `cleaned` gets the microphone without the echo, as an array of floats, in pieces."""

    def __init__(self, cleaned):
        self._lib = library()
        self._fault = None

        def take(_user, samples, _speech, count):
            try:
                cleaned(array.array("f", samples[:count]))
            except BaseException as fault:  # it cannot pass through the library
                self._fault = self._fault or fault

        self._take = CLEANED(take)  # lives as long as the library may call it
        self._handle = ctypes.c_void_p()
        self._lib.hallkorb_echo_new(ctypes.byref(self._handle), self._take, None)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._lib.hallkorb_echo_free(self._handle)
        self._handle = ctypes.c_void_p()

    def reference(self, samples):
        self._feed(self._lib.hallkorb_echo_reference, samples)

    def microphone(self, samples):
        self._feed(self._lib.hallkorb_echo_microphone, samples)

    def finish(self):
        self._call(self._lib.hallkorb_echo_finish)

    def statistics(self):
        text = ctypes.c_char_p()
        self._lib.hallkorb_echo_statistics(self._handle, ctypes.byref(text))
        return text.value.decode()

    def _feed(self, function, samples):
        place = (ctypes.c_float * len(samples)).from_buffer(samples) if samples else None
        self._call(function, place, len(samples))

    def _call(self, function, *arguments):
        function(self._handle, *arguments)
        if self._fault:
            fault, self._fault = self._fault, None
            raise fault


def samples_of(file):
    """The next piece of the first channel, as floats."""
    pcm = array.array("h", file.readframes(PIECE))
    if sys.byteorder == "big":
        pcm.byteswap()
    return array.array("f", (value / 32768 for value in pcm[::file.getnchannels()]))


def pcm_of(samples):
    """16-bit samples as the recorder writes them: scaled by 32767 in single precision, cut off toward zero."""
    scaled = array.array("f", (max(-1.0, min(1.0, value)) * 32767 for value in samples))
    pcm = array.array("h", map(int, scaled))
    if sys.byteorder == "big":
        pcm.byteswap()
    return pcm.tobytes()


def main(microphone_path, reference_path, cleaned_path):
    with wave.open(microphone_path) as microphone, wave.open(reference_path) as reference:
        for file in (microphone, reference):
            if (file.getframerate(), file.getsampwidth()) != (RATE, 2):
                sys.exit("clean.py: both files must hold 16-bit samples at 16 kHz")
        # The result takes its place when it is complete, which may be that of the microphone's file.
        with tempfile.TemporaryDirectory(prefix=".clean-", dir=os.path.dirname(cleaned_path) or ".") as folder:
            part = os.path.join(folder, "part.wav")
            clean(microphone, reference, part)
            os.replace(part, cleaned_path)


def clean(microphone, reference, path):
    with wave.open(path, "wb") as cleaned:
        cleaned.setparams((1, 2, RATE, 0, "NONE", ""))
        with Echo(lambda samples: cleaned.writeframesraw(pcm_of(samples))) as echo:
            more = True
            while more:
                far, near = samples_of(reference), samples_of(microphone)
                echo.reference(far)
                echo.microphone(near)
                more = bool(far or near)
            echo.finish()
            print(echo.statistics())


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit("usage: clean.py MICROPHONE REFERENCE CLEANED")
    try:
        main(*sys.argv[1:])
    except (HallkorbError, OSError, EOFError, wave.Error) as fault:
        sys.exit(f"clean.py: {fault}")
