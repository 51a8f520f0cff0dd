#!/usr/bin/env python3
"""A small host for hallkorb: records, has every chunk transcribed, writes one transcript.

    host.py --recorder PATH --folder DIR --transcriber CMD [--seconds N] [--patience N] [--restarts N]
            [--limit N] [-- options of the recorder...]

See ../README.md. Exit status: 0 recorded, 1 something was lost, 2 nothing could be recorded.
"""

import argparse
import contextlib
import html
import os
import queue
import signal
import subprocess
import sys
import threading

import lines

RECORDED, LOST, REFUSED = 0, 1, 2
LONGEST = 1e6  # seconds that an option may name; timers take no more than some weeks


def say(text):
    print(f"[host] {text}", file=sys.stderr, flush=True)


class Transcript:
    """What was said, by wall clock: a recording that was begun again has another time zero. The files are
    those of the last answer whatever happens: each is replaced when the next one is complete."""

    def __init__(self, folder):
        self._folder = folder
        self._zero = None  # of the first recording, milliseconds since 1970
        self._said = []  # (begin, end, channel, text), seconds
        self._complained = False

    def offset(self, null_unix_ms):
        """Seconds from the first recording's time zero to this one."""
        if self._zero is None:
            self._zero = null_unix_ms
        return (null_unix_ms - self._zero) / 1000.0

    def add(self, offset, chunk, text):
        self._said.append((offset + chunk.t0, offset + chunk.t1, chunk.channel, text))
        with contextlib.suppress(OSError):  # nobody may be reading any more
            print(f"{clock(offset + chunk.t0)} {chunk.channel}: {text}", flush=True)
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
        with open(path + ".part", "w", encoding="utf-8") as file:
            file.write(content)
        os.replace(path + ".part", path)


def clock(seconds):
    ms = round(seconds * 1000)
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


class Host:
    def __init__(self, options):
        self._options = options
        self._transcript = Transcript(options.folder)
        self._transcriber = Transcriber(options.transcriber, options.limit, self._transcript)
        self._recorder = None
        self._stopping = threading.Event()
        self._killed = False
        self._all_kept = True

    def run(self):
        os.makedirs(self._options.folder, mode=0o700, exist_ok=True)
        self._watch_signals()
        self._transcriber.start()
        try:
            for left in range(self._options.restarts, -1, -1):
                outcome = self._record(self._new_folder())
                if outcome != LOST or self._stopping.is_set() or left == 0:
                    break
                say("beginning again")
        finally:
            self._transcriber.finish()
            written = self._transcript.write()
        return LOST if outcome == RECORDED and not (written and self._all_kept) else outcome

    def _watch_signals(self):
        """A thread answers them: a handler would run in the middle of anything."""
        watched, noted = os.pipe()
        os.set_blocking(noted, False)
        signal.set_wakeup_fd(noted)
        for number in (signal.SIGINT, signal.SIGTERM):
            signal.signal(number, lambda *_: None)

        def answer():
            while os.read(watched, 1):
                self._signalled()

        threading.Thread(target=answer, daemon=True).start()

    def _signalled(self):
        """The first one stops the recording; whoever sends another does not want to wait for answers."""
        if self._stopping.is_set():
            self._transcriber.give_up()
        else:
            self.stop()

    def stop(self):
        """The orderly stop, with a limit. A second one changes nothing."""
        if self._stopping.is_set():
            return
        self._stopping.set()
        say("stopping")
        self._interrupt()

    def _interrupt(self):
        if self._recorder:
            self._recorder.send_signal(signal.SIGINT)
            self._after(self._options.patience, self._kill)

    def _kill(self):
        if self._recorder.poll() is None:
            say("it does not stop: killed")
            self._killed = True
            self._recorder.kill()

    def _count_seconds(self):
        """Once, from the first "started" on."""
        if self._options.seconds:
            self._after(self._options.seconds, self.stop)
            self._options.seconds = 0.0

    @staticmethod
    def _after(seconds, call):
        timer = threading.Timer(seconds, call)
        timer.daemon = True
        timer.start()

    def _new_folder(self):
        """A folder for each recording, so that none writes over another's files."""
        number = 1
        while True:
            folder = os.path.join(self._options.folder, str(number))
            try:
                os.mkdir(folder, mode=0o700)
                return folder
            except FileExistsError:
                number += 1

    def _record(self, folder):
        """One run of the recorder; returns how it ended."""
        command = [self._options.recorder, "--out", folder, *self._options.recorder_options]
        try:
            self._recorder = subprocess.Popen(command, stdin=subprocess.DEVNULL,
                                              stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        except OSError as error:
            say(f"cannot start {self._options.recorder}: {error.strerror}")
            return REFUSED
        if self._stopping.is_set():  # between two recordings
            self._interrupt()
        diagnostics = threading.Thread(target=self._pass_on, args=(self._recorder.stderr,))
        diagnostics.start()
        done = self._read_lines(self._recorder.stdout, folder)
        status = self._recorder.wait()
        diagnostics.join()
        return self._outcome(status, done)

    @staticmethod
    def _pass_on(stream):
        for line in stream:
            sys.stderr.buffer.write(line)
            sys.stderr.buffer.flush()

    def _read_lines(self, stream, folder):
        """Reads standard output to its end, and keeps it; returns whether "done" came."""
        offset, done = 0.0, False
        kept = Kept(os.path.join(folder, "ereignisse.jsonl"))
        for raw in stream:
            if not raw.endswith(b"\n"):  # the recorder was killed in the middle of a line
                break
            kept.add(raw)
            text = raw.decode("utf-8", "replace").rstrip("\n")
            try:
                line = lines.parse(text)
            except ValueError as error:
                say(f"not understood: {text} ({error})")
                continue
            if isinstance(line, lines.Started):
                offset = self._transcript.offset(line.null_unix_ms)
                self._count_seconds()
            elif isinstance(line, lines.Chunk):
                self._transcriber.take(offset, line)
            done = done or isinstance(line, lines.Done)
            self._show(line, folder)
        self._all_kept = kept.close() and self._all_kept
        return done

    @staticmethod
    def _show(line, folder):
        match line:
            case lines.Started():
                parts = [("me", line.mic), ("them", line.system), ("echo path", line.echo)]
                say(f"recording into {folder}: {', '.join(name for name, there in parts if there)}")
            case lines.Degraded():
                say(f"without {line.channel}: {line.message}")
            case lines.Error():
                say(f"nothing is recorded: {line.message}")
            case lines.VideoStart():
                say(f"picture: {line.quelle}")
            case lines.VideoNone() | lines.VideoPause():
                say(f"no picture: {line.message}")
            case lines.Video():
                say(f"video: {line.path}, {line.frames} pictures")
            case lines.Zeitachse():
                say(f"gaps: me {line.me.luecken_ms} ms, them {line.them.luecken_ms} ms")
            case lines.Unknown():
                say(f"skipped: {line.text}")

    def _outcome(self, status, done):
        if status == 0 and done:
            say("recorded")
            return RECORDED
        if status == 2:
            say("the recorder refused: status 2")
            return REFUSED
        if self._killed:
            say("killed at the stop")
        elif status < 0:
            say(f"the recorder crashed: signal {-status}")
        else:
            say(f"the recorder ended early: status {status}")
        return LOST


def seconds(text):
    value = float(text)
    if not 0.0 <= value <= LONGEST:
        raise ValueError
    return value


def times(text):
    value = int(text)
    if value < 0:
        raise ValueError
    return value


class Parser(argparse.ArgumentParser):
    def error(self, message):  # with a status of its own: 2 means that nothing could be recorded
        say(message)
        sys.exit(64)


def main():
    parser = Parser(prog="host.py", description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("--recorder", required=True)
    parser.add_argument("--folder", required=True)
    parser.add_argument("--transcriber", required=True)
    parser.add_argument("--seconds", type=seconds, default=0.0, help="of recording, then stop")
    parser.add_argument("--patience", type=seconds, default=150.0, help="how long a stop may take")
    parser.add_argument("--restarts", type=times, default=3, help="after crashes, at most")
    parser.add_argument("--limit", type=seconds, default=120.0, help="for the transcriber's answer")
    parser.add_argument("recorder_options", nargs="*")
    try:
        return Host(parser.parse_args()).run()
    except OSError as error:  # the folder cannot be made
        say(error)
        return 64


if __name__ == "__main__":
    sys.exit(main())
