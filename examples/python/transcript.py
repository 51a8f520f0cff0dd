"""What a recording leaves: its lines, the answers of the user's command about each chunk, and the transcript
that is made of them. Nothing of it ever stops the host: what cannot be done is reported."""

import contextlib
import html
import os
import queue
import signal
import subprocess
import sys
import threading


_putting = threading.Lock()


def say(text):
    put(f"[host] {text}\n".encode("utf-8", "replace"))


def put(line):
    """Writes a line to standard error, whole: the recorder's diagnostics go there, too."""
    with _putting:
        write(sys.stderr, line)


def write(stream, line):
    """Whoever reads it may be gone. Past Python's buffers: they would keep what was refused, and fail with it
    at the end."""
    with contextlib.suppress(OSError):
        while stream and line:
            line = line[os.write(stream.fileno(), line):]


class Kept:
    """The recorder's lines as they came. What the disk refuses waits until there is room again."""

    def __init__(self, path):
        self._path = path
        self._file = None
        self._waiting = b""
        self._complained = False

    def add(self, line):
        self._waiting += line
        try:
            self._file = self._file or open(self._path, "wb", buffering=0)
            while self._waiting:
                self._waiting = self._waiting[self._file.write(self._waiting):]
        except OSError as error:
            if not self._complained:
                say(f"the lines cannot be kept: {error.strerror}")
            self._complained = True

    def close(self):
        """Returns whether all of them are in the file."""
        self.add(b"")
        if self._file:
            self._file.close()
        return not self._waiting


class Transcript:
    """What was said, by wall clock: a recording that was begun again has another time zero. The files are
    those of the last answer whatever happens: each is replaced when the next one is complete."""

    def __init__(self, folder):
        self._folder = folder
        self._zero = None  # of the first recording, milliseconds since 1970
        self._end = 0.0  # of the chunks so far, seconds
        self._said = []  # (begin, end, channel, text), milliseconds
        self._complained = False

    def offset(self, null_unix_ms):
        """Seconds from the first recording's time zero to this one. If the clock was set back in between, this
        one follows the one before."""
        if self._zero is None:
            self._zero = null_unix_ms
        return max((null_unix_ms - self._zero) / 1000.0, self._end)

    def announced(self, offset, chunk):
        self._end = max(self._end, offset + chunk.t1)

    def add(self, offset, chunk, text):
        begin = round((offset + chunk.t0) * 1000)
        end = max(round((offset + chunk.t1) * 1000), begin + 1)  # WebVTT wants it later
        self._said.append((begin, end, chunk.channel, text))
        write(sys.stdout, f"{clock(begin)} {chunk.channel}: {text}\n".encode("utf-8", "replace"))
        self.write()

    def write(self):
        """Returns whether both files are there."""
        said = sorted(self._said)
        text = "".join(f"{clock(begin)} {channel}: {text}\n" for begin, _, channel, text in said)
        cues = "".join(f"\n{clock(begin)} --> {clock(end)}\n<v {channel}>{html.escape(text, False)}\n"
                       for begin, end, channel, text in said)
        try:
            self._replace("transcript.txt", text)
            self._replace("transcript.vtt", "WEBVTT\n" + cues)
        except OSError as error:
            if not self._complained:
                say(f"the transcript cannot be written: {error.strerror}")
            self._complained = True
            return False
        return True

    def _replace(self, name, content):
        path = os.path.join(self._folder, name)
        with open(path + ".part", "w", encoding="utf-8", errors="replace") as file:
            file.write(content)
        os.replace(path + ".part", path)


def clock(ms):
    return f"{ms // 3600000:02}:{ms // 60000 % 60:02}:{ms // 1000 % 60:02}.{ms % 1000:03}"


class Transcriber(threading.Thread):
    """Asks the command for each chunk, one after the other, beside the recording."""

    def __init__(self, command, limit, transcript):
        super().__init__()
        self._call = ["/bin/sh", "-c", f'{command} "$1"', "sh"]
        self._limit = limit
        self._transcript = transcript
        self._jobs = queue.Queue()
        self._child = None
        self._given_up = False
        self._left_out = 0

    def take(self, offset, chunk):
        self._jobs.put((offset, chunk))

    def finish(self):
        """Returns when every chunk has its answer."""
        self._jobs.put(None)
        self.join()
        if self._left_out:
            say(f"{self._left_out} chunks were not waited for")

    def give_up(self):
        """The chunks that have no answer yet get none."""
        self._given_up = True
        self._kill(self._child)

    def run(self):
        while (job := self._jobs.get()) is not None:
            offset, chunk = job
            try:
                if text := "" if self._given_up else self._ask(chunk):
                    self._transcript.add(offset, chunk, text)
                elif self._given_up:
                    self._left_out += 1
            except (OSError, ValueError) as error:  # no process left, or no name of a file
                say(f"transcriber: {error} for {chunk.path[:100]!r}")

    def _ask(self, chunk):
        # In a group of its own: Ctrl-C in a terminal goes to every program in it and must not cost the
        # last answers, and what the command has started is killed with it.
        self._child = child = subprocess.Popen([*self._call, chunk.path], stdin=subprocess.DEVNULL,
                                               stdout=subprocess.PIPE, start_new_session=True)
        if self._given_up:
            self._kill(child)
        with child.stdout:
            try:
                answer = child.communicate(timeout=self._limit)[0]
            except subprocess.TimeoutExpired:
                say(f"transcriber: no answer within {self._limit:g} s for {chunk.path}")
                self._kill(child)
                child.wait()
                return ""
        if child.returncode == 0:
            return " ".join(answer.decode("utf-8", "replace").split())
        if not self._given_up:
            say(f"transcriber: status {child.returncode} for {chunk.path}")
        return ""

    @staticmethod
    def _kill(child):
        if child and child.returncode is None:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(child.pid, signal.SIGKILL)
